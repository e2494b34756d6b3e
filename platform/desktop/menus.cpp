// The menu bar and pop-up menus. A menu that is open stops nothing: it is a
// window like others, and the program runs on behind it.
#include "platform/desktop/desktop.h"

#include <QActionGroup>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QStyleOptionMenuItem>

#include <memory>

// ---- state ------------------------------------------------------------------

// One menu of the program. Items are counted from 1, so actions[0] is item 1.
struct DeskMenu {
    int32_t id = 0;
    QString title;
    bool enabled = true;
    std::unique_ptr<QMenu> menu;
    std::vector<DeskMenuItem> items;
    std::vector<QAction *> actions;
};

static std::map<int32_t, DeskMenu> menus;
static std::vector<int32_t> barIds;
static QPointer<QMenuBar> menuBar;
static int32_t hilited;

// The pop-up that is open, 0 for none, and whether an item of it (or of a menu
// beside it) has been chosen. A menu closes before it reports the choice.
static int32_t popup;
static bool popupClosed;

static const std::vector<DeskMenuItem> noItems;

// ---- the bar ----------------------------------------------------------------

// Shows the hilited title as pressed: the sign that a command still runs.
class MenuBar : public QMenuBar {
public:
    using QMenuBar::QMenuBar;

protected:
    void paintEvent(QPaintEvent *event) override
    {
        QMenuBar::paintEvent(event);
        auto found = menus.find(hilited);
        if (found == menus.end() || !found->second.menu)
            return;
        QAction *action = found->second.menu->menuAction();
        if (!actions().contains(action))
            return;
        QStyleOptionMenuItem option;
        initStyleOption(&option, action);
        option.rect = actionGeometry(action);
        option.state |= QStyle::State_Selected | QStyle::State_Sunken |
                        QStyle::State_Enabled | QStyle::State_Active;
        QPainter painter(this);
        style()->drawControl(QStyle::CE_MenuBarItem, &option, &painter, this);
    }
};

QMenuBar *menus_new_bar(QWidget *parent)
{
    auto *bar = new MenuBar(parent);

    bar->setNativeMenuBar(false);
    bar->setFocusPolicy(Qt::NoFocus);
    return bar;
}

static void fill_bar()
{
    if (!menuBar)
        return;
    menuBar->clear();
    for (int32_t id : barIds) {
        auto found = menus.find(id);
        if (found != menus.end() && found->second.menu)
            menuBar->addAction(found->second.menu->menuAction());
    }
}

void menus_attach(QMenuBar *bar)
{
    menuBar = bar;
    fill_bar();
}

// ---- choices ----------------------------------------------------------------

static void chosen(int32_t id, int item)
{
    uint16_t held =
        desk_mouse_modifiers(QGuiApplication::queryKeyboardModifiers());

    if (popup != 0) {
        popup = 0;
        popupClosed = false;
        up<up_popup_done>(id, item);
    } else {
        up<up_menu>(id, item, held);
    }
}

void menus_settle()
{
    if (!popupClosed)
        return;
    int32_t id = popup;

    popupClosed = false;
    popup = 0;
    up<up_popup_done>(id, 0);
}

void menus_dismiss()
{
    auto found = menus.find(popup);

    if (popup != 0 && found != menus.end())
        found->second.menu->close();
}

// ---- content ----------------------------------------------------------------

static DeskMenu &menu_of(int32_t id)
{
    DeskMenu &m = menus[id];

    if (!m.menu) {
        m.id = id;
        m.menu = std::make_unique<QMenu>();
        QObject::connect(m.menu.get(), &QMenu::aboutToShow, [id] {
            bool inBar = false;
            for (int32_t other : barIds)
                inBar |= other == id;
            if (inBar)
                up_menu_will_open();
        });
        QObject::connect(m.menu.get(), &QMenu::aboutToHide, [id] {
            if (popup == id)
                popupClosed = true;
        });
    }
    return m;
}

// Text and Command key stand in two columns; the key is only shown, as it
// comes to the program like any other key.
static QString item_text(const be_menu_item &item)
{
    QString text = desk_label(item.text);

    if (item.command != 0)
        text += QStringLiteral("\tAlt+") +
                QChar::fromLatin1(item.command).toUpper();
    return text;
}

static void set_action(QAction *action, const be_menu_item &item)
{
    QString text = item_text(item);

    if (action->text() != text)
        action->setText(text);
    if (action->isEnabled() != item.enabled)
        action->setEnabled(item.enabled);
    // An item without a mark has no box for one either.
    if (action->isCheckable() != item.checked)
        action->setCheckable(item.checked);
    if (action->isChecked() != item.checked)
        action->setChecked(item.checked);
    // An outlined item is the one in force by itself: bold is how this desktop
    // shows that.
    if (action->font().bold() != item.outlined) {
        QFont font = action->font();
        font.setBold(item.outlined);
        action->setFont(font);
    }
    QMenu *sub = item.submenu ? menu_of(item.submenu).menu.get() : nullptr;
    if (action->menu<QMenu *>() != sub)
        action->setMenu(sub);
}

static void add_action(DeskMenu *m, const be_menu_item &item)
{
    int32_t id = m->id;
    int number = int(m->actions.size()) + 1;
    bool separator = !strcmp(item.text, "-");
    QAction *action =
        separator ? m->menu->addSeparator() : m->menu->addAction(QString());

    m->actions.push_back(action);
    if (separator)
        return;
    QObject::connect(action, &QAction::triggered, [id, number, action] {
        // The toolkit has toggled its mark; the program sets marks itself.
        if (action->isCheckable())
            action->setChecked(!action->isChecked());
        chosen(id, number);
    });
}

static bool same_shape(const DeskMenu &m, const be_menu_item *items, int count)
{
    if (m.actions.size() != size_t(count))
        return false;
    for (int i = 0; i < count; i++)
        if (m.items[size_t(i)].separator != !strcmp(items[i].text, "-"))
            return false;
    return true;
}

// A menu is brought up to date while it opens, and sometimes while it is open,
// so actions are changed in place where the shape allows.
void be_menu_set(int32_t id, const char *title, bool enabled,
                 const be_menu_item *items, int count)
{
    DeskMenu &m = menu_of(id);
    QString label = desk_label(title);

    if (!same_shape(m, items, count)) {
        m.menu->clear();
        m.actions.clear();
        for (int i = 0; i < count; i++)
            add_action(&m, items[i]);
    }
    m.items.clear();
    for (int i = 0; i < count; i++) {
        bool separator = !strcmp(items[i].text, "-");

        if (!separator)
            set_action(m.actions[size_t(i)], items[i]);
        m.items.push_back(
            {QString::fromUtf8(items[i].text), separator, items[i].enabled});
    }
    m.enabled = enabled;
    if (m.menu->title() != label)
        m.menu->setTitle(label);
    m.menu->menuAction()->setEnabled(enabled);
    items_menu_changed(id);
}

void be_menu_bar(const int32_t *ids, int count)
{
    barIds.assign(ids, ids + count);
    for (int32_t id : barIds)
        (void)menu_of(id);
    fill_bar();
}

void be_menu_hilite(int32_t id)
{
    if (id == hilited)
        return;
    hilited = id;
    if (menuBar)
        menuBar->update();
}

void be_menu_popup(int32_t id, int h, int v, int item)
{
    DeskMenu &m = menu_of(id);
    QAction *at = nullptr;

    if (item >= 1 && item <= int(m.actions.size()))
        at = m.actions[size_t(item) - 1];
    popup = id;
    popupClosed = m.actions.empty();
    if (popupClosed)
        return;
    m.menu->popup(QPoint(h, v) + desk_origin(), at);
    if (at)
        m.menu->setActiveAction(at); // where the arrow keys begin
}

const std::vector<DeskMenuItem> &menus_items(int32_t id)
{
    auto found = menus.find(id);

    return found == menus.end() ? noItems : found->second.items;
}

void menus_stop()
{
    if (menuBar)
        menuBar->clear();
    menus.clear();
    barIds.clear();
    hilited = popup = 0;
    popupClosed = false;
}

QString desk_label(const char *text)
{
    return QString::fromUtf8(text ? text : "")
        .replace(QLatin1Char('&'), QLatin1String("&&"));
}
