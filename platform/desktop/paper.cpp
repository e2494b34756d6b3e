// Paper: two small dialogs of ours (page setup, print) and the printer's pages.
// Where there is no printer, pages go into a PDF file.
#include "platform/desktop/desktop.h"
#include "platform/desktop/qtasking.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPageSize>
#include <QPainter>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QStandardPaths>
#include <QVBoxLayout>

#include <memory>

// ---- state ------------------------------------------------------------------

static be_page chosen;      // what the last dialog settled
static QString printerName; // empty: into pdfPath
static QString pdfPath;
static QPointer<QDialog> open_;

static std::unique_ptr<QPrinter> printer; // while a document is printed
static std::unique_ptr<QPainter> painter;
static bool firstPage;
static be_page printed; // the page of the document being printed

// No printer prints to the paper's very edge.
constexpr int kEdge = 18; // points

constexpr int kMostPages = 9999;

static const QPageSize::PageSizeId sizes[] = {
    QPageSize::A4,    QPageSize::A3, QPageSize::A5,        QPageSize::Letter,
    QPageSize::Legal, QPageSize::B5, QPageSize::Executive,
};

// ---- page setup ------------------------------------------------------------

static QSize upright_size(const be_page &page)
{
    return QSize(qMin(page.paperW, page.paperH),
                 qMax(page.paperW, page.paperH));
}

static int nearest_size(const be_page &page)
{
    QSize want = upright_size(page);
    int best = 0, bestDistance = INT32_MAX;

    for (int i = 0; i < int(std::size(sizes)); i++) {
        QSize have = QPageSize::sizePoints(sizes[i]);
        int distance = qAbs(have.width() - want.width()) +
                       qAbs(have.height() - want.height());
        if (distance < bestDistance) {
            bestDistance = distance;
            best = i;
        }
    }
    return best;
}

static void take_size(QPageSize::PageSizeId id, bool landscape)
{
    QSize size = QPageSize::sizePoints(id);

    if (landscape)
        size.transpose();
    chosen.paperW = size.width();
    chosen.paperH = size.height();
    chosen.landscape = landscape;
    chosen.left = chosen.top = kEdge;
    chosen.right = chosen.paperW - kEdge;
    chosen.bottom = chosen.paperH - kEdge;
}

static void answer(bool ok)
{
    up<up_answer>(ok, 0u, static_cast<const char *const *>(nullptr), 0);
}

// Opens a dialog made here; its acceptance has been dealt with by then.
static void run(QDialog *dialog)
{
    open_ = dialog;
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog](int result) {
        open_ = nullptr;
        desk_bury(dialog);
        answer(result == QDialog::Accepted);
    });
    dialog->open();
}

static QDialogButtonBox *buttons_for(QDialog *dialog, const QString &agree)
{
    auto *box = new QDialogButtonBox(QDialogButtonBox::Cancel, dialog);

    box->addButton(agree, QDialogButtonBox::AcceptRole)->setDefault(true);
    QObject::connect(box, &QDialogButtonBox::rejected, dialog,
                     &QDialog::reject);
    return box;
}

static void ask_setup()
{
    auto *dialog = new QDialog(desk_dialog_parent());
    auto *form = new QFormLayout;
    auto *paper = new QComboBox(dialog);
    auto *upright = new QRadioButton(QStringLiteral("Portrait"), dialog);
    auto *sideways = new QRadioButton(QStringLiteral("Landscape"), dialog);
    auto *ways = new QHBoxLayout;
    auto *all = new QVBoxLayout(dialog);
    auto *buttons = buttons_for(dialog, QStringLiteral("OK"));

    dialog->setWindowTitle(QStringLiteral("Page Setup"));
    for (QPageSize::PageSizeId id : sizes)
        paper->addItem(QPageSize::name(id));
    paper->setCurrentIndex(nearest_size(chosen));
    upright->setChecked(!chosen.landscape);
    sideways->setChecked(chosen.landscape);
    ways->addWidget(upright);
    ways->addWidget(sideways);
    ways->addStretch();
    form->addRow(QStringLiteral("Paper:"), paper);
    form->addRow(QStringLiteral("Orientation:"), ways);
    all->addLayout(form);
    all->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, [=] {
        take_size(sizes[paper->currentIndex()], sideways->isChecked());
        dialog->accept();
    });
    run(dialog);
}

// ---- print -----------------------------------------------------------------

static QString default_pdf()
{
    QString folder =
        QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);

    if (!QDir(folder).exists())
        folder = QDir::homePath();
    return QDir(folder).filePath(QStringLiteral("quillon.pdf"));
}

// The parts of the print dialog that its slots share.
struct PrintParts {
    QComboBox *where;
    QLineEdit *file;
    QPushButton *browse;
    QSpinBox *first, *last, *copies;
};

static void make_destination(QDialog *dialog, QFormLayout *form, PrintParts *p)
{
    auto *row = new QHBoxLayout;

    p->where = new QComboBox(dialog);
    p->where->addItems(QPrinterInfo::availablePrinterNames());
    p->where->addItem(QStringLiteral("PDF file"));
    QString usual = printerName.isEmpty() ? QPrinterInfo::defaultPrinterName()
                                          : printerName;
    int at = p->where->findText(usual);
    p->where->setCurrentIndex(at >= 0 ? at : p->where->count() - 1);
    p->file =
        new QLineEdit(pdfPath.isEmpty() ? default_pdf() : pdfPath, dialog);
    p->file->setMinimumWidth(280);
    p->browse = new QPushButton(QStringLiteral("Choose\u2026"), dialog);
    row->addWidget(p->file);
    row->addWidget(p->browse);
    form->addRow(QStringLiteral("Print to:"), p->where);
    form->addRow(QStringLiteral("File:"), row);

    QComboBox *where = p->where;
    QLineEdit *file = p->file;
    QPushButton *browse = p->browse;
    auto show = [where, file, browse] {
        bool pdf = where->currentIndex() == where->count() - 1;
        file->setEnabled(pdf);
        browse->setEnabled(pdf);
    };
    show();
    QObject::connect(where, &QComboBox::currentIndexChanged, dialog, show);
    QObject::connect(browse, &QPushButton::clicked, dialog, [dialog, file] {
        auto *ask = new FileAsk(
            dialog, FileAsk::Save, QStringLiteral("Print to PDF file"),
            QFileInfo(file->text()).path(), QFileInfo(file->text()).fileName(),
            [file](const QStringList &files) {
                if (!files.isEmpty())
                    file->setText(files.first());
            });
        ask->setAttribute(Qt::WA_DeleteOnClose);
        ask->open();
    });
}

static QSpinBox *spin(QDialog *dialog, int value)
{
    auto *box = new QSpinBox(dialog);

    box->setRange(1, kMostPages);
    box->setValue(qBound(1, value, kMostPages));
    return box;
}

static void make_pages(QDialog *dialog, QFormLayout *form, PrintParts *p)
{
    auto *row = new QHBoxLayout;

    p->first = spin(dialog, chosen.first);
    p->last = spin(dialog, chosen.last);
    p->copies = spin(dialog, chosen.copies);
    p->copies->setMaximum(99);
    row->addWidget(p->first);
    row->addWidget(new QLabel(QStringLiteral("to"), dialog));
    row->addWidget(p->last);
    row->addStretch();
    form->addRow(QStringLiteral("Pages:"), row);
    form->addRow(QStringLiteral("Copies:"), p->copies);
}

static void print_agreed(QDialog *dialog, const PrintParts &p)
{
    bool pdf = p.where->currentIndex() == p.where->count() - 1;

    printerName = pdf ? QString() : p.where->currentText();
    pdfPath = p.file->text();
    chosen.first = p.first->value();
    chosen.last = qMax(p.first->value(), p.last->value());
    chosen.copies = p.copies->value();
    if (pdf && QFileInfo::exists(pdfPath)) {
        ask_yes(dialog,
                QStringLiteral("A file named \u201c%1\u201d exists. Do you "
                               "want to replace it?")
                    .arg(QFileInfo(pdfPath).fileName()),
                QStringLiteral("Replace"), [dialog] { dialog->accept(); });
        return;
    }
    dialog->accept();
}

static void ask_print()
{
    auto *dialog = new QDialog(desk_dialog_parent());
    auto *form = new QFormLayout;
    auto *all = new QVBoxLayout(dialog);
    auto *buttons = buttons_for(dialog, QStringLiteral("Print"));
    PrintParts p;

    dialog->setWindowTitle(QStringLiteral("Print"));
    make_destination(dialog, form, &p);
    make_pages(dialog, form, &p);
    all->addLayout(form);
    all->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog,
                     [dialog, p] { print_agreed(dialog, p); });
    run(dialog);
}

// ---- the calls down --------------------------------------------------------

void be_page_ask(bool setup, const be_page *start)
{
    if (open_)
        open_->reject();
    chosen = *start;
    if (setup)
        ask_setup();
    else
        ask_print();
}

// Before any dialog the paper is that of the user's country.
void be_page_get(be_page *out)
{
    if (chosen.paperW <= 0 || chosen.paperH <= 0) {
        bool letter =
            QLocale::system().measurementSystem() == QLocale::ImperialUSSystem;
        take_size(letter ? QPageSize::Letter : QPageSize::A4, false);
        chosen.first = 1;
        chosen.last = kMostPages;
        chosen.copies = 1;
    }
    *out = chosen;
}

bool be_print_begin(const be_page *page, const char *title)
{
    printed = *page;
    printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
    if (printerName.isEmpty()) {
        printer->setOutputFormat(QPrinter::PdfFormat);
        printer->setOutputFileName(pdfPath.isEmpty() ? default_pdf() : pdfPath);
    } else {
        printer->setPrinterName(printerName);
        printer->setCopyCount(qMax(1, page->copies));
    }
    printer->setDocName(QString::fromUtf8(title));
    printer->setCreator(QStringLiteral("Quillon"));
    printer->setPageSize(QPageSize(upright_size(*page), QPageSize::Point,
                                   QString(), QPageSize::FuzzyMatch));
    printer->setPageOrientation(page->landscape ? QPageLayout::Landscape
                                                : QPageLayout::Portrait);
    printer->setFullPage(true);
    painter = std::make_unique<QPainter>();
    firstPage = true;
    if (painter->begin(printer.get()))
        return true;
    painter.reset();
    printer.reset();
    return false;
}

// The pixels are those of the printable part.
bool be_print_page(const uint32_t *pixels, int width, int height, int dpi)
{
    if (!painter || dpi <= 0)
        return false;
    if (!firstPage && !printer->newPage())
        return false;
    firstPage = false;
    qreal unit = printer->resolution() / 72.0;
    QImage image(reinterpret_cast<const uchar *>(pixels), width, height,
                 qsizetype(width) * 4, QImage::Format_RGB32);
    painter->drawImage(QRectF(printed.left * unit, printed.top * unit,
                              width * 72.0 / dpi * unit,
                              height * 72.0 / dpi * unit),
                       image);
    return true;
}

bool be_print_end()
{
    if (!painter)
        return false;
    bool ok = painter->end() && printer->printerState() != QPrinter::Error;

    painter.reset();
    printer.reset();
    return ok;
}

void paper_dismiss()
{
    if (open_)
        open_->reject();
}

void paper_stop()
{
    delete open_;
    painter.reset();
    printer.reset();
}
