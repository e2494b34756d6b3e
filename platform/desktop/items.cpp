// Items of dialogs and scroll bars, as native widgets under their numbers, and
// the keys that dialogs hand on to them.
#include "platform/desktop/items.h"

#include "platform/controls.h"

#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardItemModel>
#include <QStyle>

#include <algorithm>
#include <deque>
#include <vector>

// ---- user items ------------------------------------------------------------

ItemUser::ItemUser(be_win window, QWidget *parent)
    : QWidget(parent), win(window)
{
    setMouseTracking(true);
}

void ItemUser::paintEvent(QPaintEvent *)
{
    DeskWindow *w = desk_window(win);
    if (!w)
        return;
    QPainter painter(this);
    painter.translate(-pos());
    window_paint_canvas(w, &painter, geometry());
}

// The place says which item it is, so no up_item_hit follows.
void ItemUser::mousePressEvent(QMouseEvent *event)
{
    window_button(win, event, true);
}

void ItemUser::mouseReleaseEvent(QMouseEvent *event)
{
    window_button(win, event, false);
}

void ItemUser::mouseDoubleClickEvent(QMouseEvent *event)
{
    mousePressEvent(event);
}

void ItemUser::mouseMoveEvent(QMouseEvent *event)
{
    desk_note_mouse(event->globalPosition().toPoint(),
                    event->buttons() & Qt::LeftButton, event->modifiers());
}

// ---- scroll bars -----------------------------------------------------------

ItemScrollBar::ItemScrollBar(be_win window, int number, QWidget *parent)
    : QScrollBar(Qt::Vertical, parent), win(window), item(number)
{
    setFocusPolicy(Qt::NoFocus);
    QObject::connect(this, &QAbstractSlider::actionTriggered,
                     [this](int action) { step(action); });
}

// The program moves by arrows and pages itself and then sets the value, so the
// bar's own step is taken back. Only the thumb moves under the pointer.
void ItemScrollBar::step(int action)
{
    int part = 0;

    switch (action) {
    case SliderSingleStepSub:
        part = inUpButton;
        break;
    case SliderSingleStepAdd:
        part = inDownButton;
        break;
    case SliderPageStepSub:
        part = inPageUp;
        break;
    case SliderPageStepAdd:
        part = inPageDown;
        break;
    case SliderToMinimum:
    case SliderToMaximum:
    case SliderMove:
        up<up_scroll>(win, item, int(inThumb), sliderPosition());
        return;
    default:
        return;
    }
    setSliderPosition(value());
    up<up_scroll>(win, item, part, value());
}

void ItemScrollBar::mouseReleaseEvent(QMouseEvent *event)
{
    QScrollBar::mouseReleaseEvent(event);
    desk_note_mouse(event->globalPosition().toPoint(), false,
                    event->modifiers());
    up<up_scroll>(win, item, 0, value());
}

void ItemScrollBar::wheelEvent(QWheelEvent *event)
{
    if (DeskWindow *w = desk_window(win))
        window_wheel(w, event);
}

// The toolkit's own menu would hold up the loop until it is closed.
void ItemScrollBar::contextMenuEvent(QContextMenuEvent *event)
{
    event->accept();
}

// ---- making items ----------------------------------------------------------

static QString plain_text(const char *text)
{
    return QString::fromUtf8(text ? text : "")
        .replace(QLatin1Char('\r'), QLatin1Char('\n'));
}

static QWidget *make_edit(be_win win, int number, const be_item_info *info,
                          QWidget *parent)
{
    if (info->multiline) {
        auto *edit = new QPlainTextEdit(parent);
        edit->setTabChangesFocus(true);
        QObject::connect(edit, &QPlainTextEdit::textChanged,
                         [win, number, edit] {
                             QByteArray text = edit->toPlainText().toUtf8();
                             up<up_item_text>(win, number, text.constData());
                         });
        return edit;
    }
    auto *edit = new QLineEdit(parent);
    if (info->kind == BE_PASSWORD)
        edit->setEchoMode(QLineEdit::Password);
    QObject::connect(edit, &QLineEdit::textEdited,
                     [win, number](const QString &now) {
                         QByteArray text = now.toUtf8();
                         up<up_item_text>(win, number, text.constData());
                     });
    return edit;
}

static QWidget *make_popup(be_win win, int number, QWidget *parent)
{
    auto *box = new QComboBox(parent);

    QObject::connect(box, &QComboBox::activated, [win, number](int index) {
        up<up_item_value>(win, number, index + 1);
        up<up_item_hit>(win, number);
    });
    return box;
}

template <class Button>
static QWidget *make_button(be_win win, int number, QWidget *parent)
{
    auto *button = new Button(parent);

    QObject::connect(button, &QAbstractButton::clicked,
                     [win, number] { up<up_item_hit>(win, number); });
    return button;
}

static QWidget *make_item(be_win win, int number, const be_item_info *info,
                          QWidget *parent)
{
    switch (info->kind) {
    case BE_BUTTON: {
        QWidget *button = make_button<QPushButton>(win, number, parent);
        static_cast<QPushButton *>(button)->setAutoDefault(false);
        return button;
    }
    case BE_CHECKBOX:
        return make_button<ItemCheckBox>(win, number, parent);
    case BE_RADIO: {
        QWidget *radio = make_button<ItemRadio>(win, number, parent);
        static_cast<ItemRadio *>(radio)->setAutoExclusive(false);
        return radio;
    }
    case BE_STATIC: {
        auto *label = new QLabel(parent);
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        return label;
    }
    case BE_EDIT:
    case BE_PASSWORD:
        return make_edit(win, number, info, parent);
    case BE_POPUP:
        return make_popup(win, number, parent);
    case BE_PROGRESS: {
        auto *bar = new QProgressBar(parent);
        bar->setTextVisible(false);
        return bar;
    }
    case BE_ICON:
        return new QLabel(parent);
    case BE_USER:
        return new ItemUser(win, parent);
    case BE_SCROLLBAR:
        return new ItemScrollBar(win, number, parent);
    case BE_GROUP: {
        // Only a frame: the items inside are its neighbours, not its children.
        auto *group = new QGroupBox(parent);
        group->setAttribute(Qt::WA_TransparentForMouseEvents);
        group->lower();
        return group;
    }
    }
    return nullptr;
}

// ---- showing what an item holds --------------------------------------------

static void fill_popup(QComboBox *box, int32_t menu, int value)
{
    const auto &items = menus_items(menu);
    auto *model = qobject_cast<QStandardItemModel *>(box->model());

    box->clear();
    for (size_t i = 0; i < items.size(); i++) {
        if (items[i].separator) {
            box->insertSeparator(int(i));
            continue;
        }
        box->addItem(items[i].text);
        if (model && !items[i].enabled)
            model->item(int(i))->setEnabled(false);
    }
    box->setCurrentIndex(value - 1);
}

void items_menu_changed(int32_t id)
{
    for (QWidget *top : QApplication::topLevelWidgets()) {
        DeskWindow *w = desk_window_of(top);
        if (!w)
            continue;
        for (auto &[number, item] : w->items)
            if (item.kind == BE_POPUP && item.menu == id && item.widget)
                fill_popup(static_cast<QComboBox *>(item.widget.data()), id,
                           item.value);
    }
}

static void show_icon(QLabel *label, int value)
{
    QStyle *style = label->style();
    int size = qMin(label->width(), label->height());
    QIcon icon;

    switch (value) {
    case 0:
        icon = style->standardIcon(QStyle::SP_MessageBoxCritical);
        break;
    case 1:
        icon = style->standardIcon(QStyle::SP_MessageBoxInformation);
        break;
    case 2:
        icon = style->standardIcon(QStyle::SP_MessageBoxWarning);
        break;
    default:
        icon = QApplication::windowIcon();
        break;
    }
    label->setPixmap(icon.pixmap(QSize(size, size)));
}

static void set_value(DeskItem *item, int value)
{
    item->value = value;
    QWidget *widget = item->widget;
    if (!widget)
        return;
    switch (item->kind) {
    case BE_CHECKBOX:
    case BE_RADIO:
        static_cast<QAbstractButton *>(widget)->setChecked(value != 0);
        break;
    case BE_POPUP:
        static_cast<QComboBox *>(widget)->setCurrentIndex(value - 1);
        break;
    case BE_PROGRESS:
        static_cast<QProgressBar *>(widget)->setValue(value);
        break;
    case BE_ICON:
        show_icon(static_cast<QLabel *>(widget), value);
        break;
    case BE_SCROLLBAR:
        static_cast<QScrollBar *>(widget)->setValue(value);
        break;
    default:
        break;
    }
}

// Text that the user is just editing is left alone where it is the same, so
// that the insertion point stays.
static void set_text(DeskItem *item, const char *text)
{
    QWidget *widget = item->widget;
    if (!widget)
        return;
    switch (item->kind) {
    case BE_BUTTON:
    case BE_CHECKBOX:
    case BE_RADIO:
        static_cast<QAbstractButton *>(widget)->setText(desk_label(text));
        break;
    case BE_STATIC:
        static_cast<QLabel *>(widget)->setText(plain_text(text));
        break;
    case BE_GROUP:
        static_cast<QGroupBox *>(widget)->setTitle(desk_label(text));
        break;
    case BE_EDIT:
    case BE_PASSWORD:
        if (item->multiline) {
            auto *edit = static_cast<QPlainTextEdit *>(widget);
            QSignalBlocker quiet(edit);
            if (edit->toPlainText() != plain_text(text))
                edit->setPlainText(plain_text(text));
        } else {
            auto *edit = static_cast<QLineEdit *>(widget);
            if (edit->text() != QString::fromUtf8(text ? text : ""))
                edit->setText(QString::fromUtf8(text ? text : ""));
        }
        break;
    default:
        break;
    }
}

static void set_range(DeskItem *item, const be_item_info *info)
{
    QWidget *widget = item->widget;

    if (item->kind == BE_PROGRESS) {
        // A range of nothing would show a bar that runs to and fro forever.
        static_cast<QProgressBar *>(widget)->setRange(
            info->min, qMax(info->max, info->min + 1));
    } else if (item->kind == BE_SCROLLBAR) {
        auto *bar = static_cast<QScrollBar *>(widget);
        bar->setRange(info->min, info->max);
        bar->setPageStep(qMax(1, info->page));
        bar->setSingleStep(1);
    }
}

// ---- the calls down --------------------------------------------------------

static DeskItem *find_item(be_win win, int number)
{
    DeskWindow *w = desk_window(win);
    if (!w)
        return nullptr;
    auto found = w->items.find(number);
    return found == w->items.end() ? nullptr : &found->second;
}

void be_item_set(be_win win, int number, const be_item_info *info)
{
    DeskWindow *w = desk_window(win);
    if (!w)
        return;
    DeskItem &item = w->items[number];

    if (!item.widget || item.kind != info->kind ||
        item.multiline != info->multiline) {
        desk_bury(item.widget);
        item.kind = info->kind;
        item.multiline = info->multiline;
        item.widget = make_item(win, number, info, w->content);
    }
    QWidget *widget = item.widget;
    if (!widget)
        return;
    widget->setGeometry(info->box.left, info->box.top,
                        info->box.right - info->box.left,
                        info->box.bottom - info->box.top);
    if (info->name)
        widget->setAccessibleName(QString::fromUtf8(info->name));
    if (item.kind == BE_POPUP && (item.menu != info->menu)) {
        item.menu = info->menu;
        fill_popup(static_cast<QComboBox *>(widget), info->menu, info->value);
    }
    if (item.kind == BE_BUTTON)
        static_cast<QPushButton *>(widget)->setDefault(info->is_default);
    if (auto *edit = qobject_cast<QLineEdit *>(widget))
        edit->setMaxLength(info->max > 0 ? info->max : 255);
    set_range(&item, info);
    set_text(&item, info->text);
    set_value(&item, info->value);
    widget->setEnabled(info->enabled);
    widget->setVisible(info->visible);
}

void be_item_value(be_win win, int number, int value)
{
    if (DeskItem *item = find_item(win, number))
        set_value(item, value);
}

void be_item_text(be_win win, int number, const char *text)
{
    if (DeskItem *item = find_item(win, number))
        set_text(item, text);
}

void be_item_focus(be_win win, int number, int start, int end)
{
    DeskItem *item = find_item(win, number);
    if (!item || !item->widget)
        return;
    item->widget->setFocus(Qt::OtherFocusReason);
    if (item->kind != BE_EDIT && item->kind != BE_PASSWORD)
        return;
    if (item->multiline) {
        auto *edit = static_cast<QPlainTextEdit *>(item->widget.data());
        int length = int(edit->toPlainText().size());
        QTextCursor cursor = edit->textCursor();
        cursor.setPosition(qBound(0, start, length));
        cursor.setPosition(qBound(0, end, length), QTextCursor::KeepAnchor);
        edit->setTextCursor(cursor);
    } else {
        auto *edit = static_cast<QLineEdit *>(item->widget.data());
        int length = int(edit->text().size());
        start = qBound(0, start, length);
        edit->setSelection(start, qBound(start, end, length) - start);
    }
}

void be_item_edit(be_win win, be_edit what)
{
    DeskWindow *w = desk_window(win);
    if (!w)
        return;
    QWidget *focus = w->top->focusWidget();

    if (auto *line = qobject_cast<QLineEdit *>(focus)) {
        switch (what) {
        case BE_CUT:
            line->cut();
            break;
        case BE_COPY:
            line->copy();
            break;
        case BE_PASTE:
            line->paste();
            break;
        case BE_CLEAR:
            line->del();
            break;
        }
    } else if (auto *text = qobject_cast<QPlainTextEdit *>(focus)) {
        switch (what) {
        case BE_CUT:
            text->cut();
            break;
        case BE_COPY:
            text->copy();
            break;
        case BE_PASTE:
            text->paste();
            break;
        case BE_CLEAR:
            text->textCursor().removeSelectedText();
            break;
        }
    }
}

// ---- keys of dialogs -------------------------------------------------------

// Presses that went up and wait for the program's leave, oldest first.
struct StoredKey {
    uint32_t token;
    QPointer<QWidget> target;
    std::unique_ptr<QKeyEvent> event;
};
static std::deque<StoredKey> stored;
static uint32_t lastToken;
static bool forwarding;

constexpr uint32_t kTokens = 0x0FFFFFFF; // the core keeps the high bits
constexpr size_t kMostStored = 64;       // more can't be waiting in the core

uint32_t items_store_key(QWidget *target, const QKeyEvent &event)
{
    lastToken = lastToken % kTokens + 1;
    if (stored.size() == kMostStored)
        stored.pop_front();
    stored.push_back(
        {lastToken, target, std::unique_ptr<QKeyEvent>(event.clone())});
    return lastToken;
}

bool items_forwarding()
{
    return forwarding;
}

// A button clicks at the release of the space bar, which has gone by when the
// press comes back; so the press clicks.
static void hand_on(QWidget *target, QKeyEvent *event)
{
    auto *button = qobject_cast<QAbstractButton *>(target);

    if (button &&
        (event->key() == Qt::Key_Space || event->key() == Qt::Key_Select)) {
        button->click();
        return;
    }
    forwarding = true;
    QCoreApplication::sendEvent(target, event);
    forwarding = false;
}

void be_key_forward(uint32_t token)
{
    while (!stored.empty() && stored.front().token != token)
        stored.pop_front();
    if (stored.empty())
        return;
    StoredKey key = std::move(stored.front());
    stored.pop_front();
    if (key.target && desk_window_of(key.target))
        hand_on(key.target, key.event.get());
}

// Tab goes through the items as they are read, whatever their numbers: row by
// row, from left to right.
static void order_by_place(DeskWindow *w)
{
    std::vector<QWidget *> order;

    for (auto &[number, item] : w->items)
        if (item.widget && item.widget->focusPolicy() & Qt::TabFocus)
            order.push_back(item.widget);
    std::stable_sort(order.begin(), order.end(), [](QWidget *a, QWidget *b) {
        const QPoint left = a->geometry().center();
        const QPoint right = b->geometry().center();
        return left.y() != right.y() ? left.y() < right.y()
                                     : left.x() < right.x();
    });
    for (size_t i = 1; i < order.size(); i++)
        QWidget::setTabOrder(order[i - 1], order[i]);
}

void items_first_focus(DeskWindow *w)
{
    QWidget *field = nullptr;
    QWidget *button = nullptr;

    order_by_place(w);
    if (w->top->focusWidget())
        return;
    for (auto &[number, item] : w->items) {
        QWidget *widget = item.widget;
        if (!widget || !widget->isEnabled() || widget->isHidden() ||
            !(widget->focusPolicy() & Qt::TabFocus))
            continue;
        auto *push = qobject_cast<QPushButton *>(widget);
        if (!push && !field)
            field = widget;
        if (push && (!button || push->isDefault()))
            button = push;
    }
    if (QWidget *first = field ? field : button)
        first->setFocus(Qt::OtherFocusReason);
}

void items_focus_changed(QWidget *now)
{
    DeskWindow *w = now ? desk_window_of(now) : nullptr;
    if (!w)
        return;
    for (auto &[number, item] : w->items)
        if (item.widget == now)
            up<up_item_focus>(w->id, number);
}
