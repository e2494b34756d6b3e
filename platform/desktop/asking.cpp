// Questions by the desktop's own dialogs: files, folders, saving, colours.
#include "platform/desktop/qtasking.h"

#include "platform/desktop/desktop.h"

#include <QColorDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>

// The dialog that is open; one question is asked at a time.
static QPointer<QDialog> open_;

// ---- boxes on top of a dialog ----------------------------------------------

void ask_yes(QWidget *parent, const QString &question, const QString &yesLabel,
             const std::function<void()> &yes)
{
    auto *box =
        new QMessageBox(QMessageBox::Question, QStringLiteral("Quillon"),
                        question, QMessageBox::Cancel, parent);
    QPushButton *agree = box->addButton(yesLabel, QMessageBox::AcceptRole);

    box->setTextFormat(Qt::PlainText);
    box->setDefaultButton(QMessageBox::Cancel);
    box->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(box, &QDialog::finished, [box, agree, yes] {
        if (box->clickedButton() == agree)
            yes();
    });
    box->open();
}

static void tell(QWidget *parent, const QString &text)
{
    auto *box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Quillon"),
                                text, QMessageBox::Ok, parent);

    box->setTextFormat(Qt::PlainText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

// ---- files ------------------------------------------------------------------

FileAsk::FileAsk(QWidget *parent, Manner how, const QString &title,
                 const QString &folder, const QString &name,
                 const std::function<void(const QStringList &)> &done)
    : QFileDialog(parent, title, folder), manner(how)
{
    setOption(DontUseNativeDialog);
    setOption(DontConfirmOverwrite);
    // Where nothing is written, nothing is to be renamed or deleted either.
    if (manner != Save)
        setOption(ReadOnly);
    switch (manner) {
    case Open:
        setFileMode(ExistingFile);
        break;
    case OpenMany:
        setFileMode(ExistingFiles);
        break;
    case Save:
        setAcceptMode(AcceptSave);
        setFileMode(AnyFile);
        break;
    case Folder:
        setFileMode(Directory);
        setOption(ShowDirsOnly);
        break;
    }
    if (!name.isEmpty())
        selectFile(name);
    QObject::connect(this, &QDialog::finished, [this, done](int result) {
        done(result == Accepted ? selectedFiles() : QStringList());
    });
}

void FileAsk::accept()
{
    QStringList files = selectedFiles();

    if (manner == Save && files.size() == 1) {
        QFileInfo info(files.first());
        if (info.exists() && !info.isDir()) {
            ask_yes(this,
                    QStringLiteral("A file named \u201c%1\u201d exists. Do you "
                                   "want to replace it?")
                        .arg(info.fileName()),
                    QStringLiteral("Replace"),
                    [this] { QFileDialog::accept(); });
            return;
        }
    }
    if (manner == Open || manner == OpenMany)
        for (const QString &file : files)
            if (!QFileInfo::exists(file)) {
                tell(this,
                     QStringLiteral("There is no file named \u201c%1\u201d.")
                         .arg(QFileInfo(file).fileName()));
                return;
            }
    QFileDialog::accept();
}

static void answer_paths(const QStringList &files)
{
    std::vector<QByteArray> paths;
    std::vector<const char *> pointers;

    for (const QString &file : files)
        paths.push_back(file.toLocal8Bit());
    for (const QByteArray &path : paths)
        pointers.push_back(path.constData());
    up<up_answer>(!paths.empty(), 0u, pointers.data(), int(pointers.size()));
}

static void answer_value(bool ok, uint32_t value)
{
    up<up_answer>(ok, value, static_cast<const char *const *>(nullptr), 0);
}

static FileAsk::Manner manner_of(be_ask_kind kind)
{
    switch (kind) {
    case BE_ASK_OPEN_MANY:
        return FileAsk::OpenMany;
    case BE_ASK_SAVE:
        return FileAsk::Save;
    case BE_ASK_FOLDER:
        return FileAsk::Folder;
    default:
        return FileAsk::Open;
    }
}

static QString text_of(const char *text)
{
    return QString::fromUtf8(text ? text : "");
}

// ---- the other questions ---------------------------------------------------

static QDialog *ask_save_changes(const be_ask_info *info, QWidget *parent)
{
    auto *box = new QMessageBox(
        QMessageBox::Question, QStringLiteral("Quillon"),
        QStringLiteral("Save the changes to \u201c%1\u201d?")
            .arg(text_of(info->name)),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, parent);

    box->setTextFormat(Qt::PlainText);
    box->setDefaultButton(QMessageBox::Save);
    QObject::connect(box, &QDialog::finished, [box] {
        QMessageBox::StandardButton button =
            box->standardButton(box->clickedButton());
        uint32_t value = button == QMessageBox::Save      ? 1
                         : button == QMessageBox::Discard ? 2
                                                          : 3;
        answer_value(value != 3, value);
    });
    return box;
}

static QDialog *ask_color(const be_ask_info *info, QWidget *parent)
{
    auto *dialog = new QColorDialog(QColor::fromRgb(info->value), parent);

    dialog->setOption(QColorDialog::DontUseNativeDialog);
    QObject::connect(dialog, &QDialog::finished, [dialog](int result) {
        answer_value(result == QDialog::Accepted,
                     dialog->currentColor().rgb() & 0xFFFFFF);
    });
    return dialog;
}

void be_ask(const be_ask_info *info)
{
    QWidget *parent = desk_dialog_parent();

    if (open_)
        open_->reject();
    switch (info->kind) {
    case BE_ASK_SAVE_CHANGES:
        open_ = ask_save_changes(info, parent);
        break;
    case BE_ASK_COLOR:
        open_ = ask_color(info, parent);
        break;
    default:
        open_ = new FileAsk(
            parent, manner_of(info->kind), text_of(info->prompt),
            info->folder ? QFile::decodeName(info->folder) : QString(),
            info->name ? QFile::decodeName(info->name) : QString(),
            answer_paths);
        break;
    }
    if (info->kind == BE_ASK_COLOR && info->prompt)
        open_->setWindowTitle(text_of(info->prompt));
    QDialog *dialog = open_;
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog] {
        open_ = nullptr;
        desk_bury(dialog);
    });
    dialog->open();
}

void be_dismiss()
{
    if (open_)
        open_->reject();
    paper_dismiss();
    menus_dismiss();
}

void asking_stop()
{
    delete open_;
}
