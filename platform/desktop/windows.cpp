// Windows, what is shown in them, and what the user does to them.
#include "platform/desktop/qtwindows.h"

#include "platform/desktop/keys.h"
#include "platform/events.h"

#include <QApplication>
#include <QCloseEvent>
#include <QCursor>
#include <QInputMethod>
#include <QInputMethodEvent>
#include <QLoggingCategory>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QScreen>
#include <QUrl>
#include <QWindow>

#include <memory>

// ---- state ------------------------------------------------------------------

static std::map<be_win, std::unique_ptr<DeskWindow>> windows;

// Widgets out of use. None is deleted while a wait is inside another: an event
// handler of the widget may then still be on the stack.
static std::vector<QPointer<QWidget>> graveyard;

// Where the pointer was when we last heard of it, and what was held then.
static QPoint mouseAt;
static bool mouseDown_;
static Qt::KeyboardModifiers held;
static bool heardOfKeys; // from an event, or by a look while active

// A native move or resize counts as finished after this rest: the desktop
// reports every step but no end.
constexpr int kStill = 120; // ms

// What a start costs is measured from outside; see bench/start.py.
Q_LOGGING_CATEGORY(startLog, "quillon.start", QtWarningMsg)

// ---- the registry ----------------------------------------------------------

DeskWindow *desk_window(be_win w)
{
    auto found = windows.find(w);
    return found == windows.end() ? nullptr : found->second.get();
}

DeskWindow *desk_window_of(const QWidget *widget)
{
    const QWidget *top = widget->window();

    for (auto &[id, w] : windows)
        if (w->top == top)
            return w.get();
    return nullptr;
}

DeskWindow *desk_document()
{
    for (auto &[id, w] : windows)
        if (w->kind == BE_DOCUMENT)
            return w.get();
    return nullptr;
}

QWidget *desk_dialog_parent()
{
    if (QWidget *active = QApplication::activeWindow())
        if (desk_window_of(active))
            return active;
    DeskWindow *w = desk_document();
    return w ? w->top : nullptr;
}

void desk_bury(QWidget *widget)
{
    if (!widget)
        return;
    widget->hide();
    graveyard.push_back(widget);
}

void desk_bury_all()
{
    if (graveyard.empty())
        return;
    auto dead = std::move(graveyard);
    graveyard.clear();
    for (const QPointer<QWidget> &widget : dead)
        delete widget;
}

// ---- places ----------------------------------------------------------------

QPoint desk_origin()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry().topLeft() : QPoint();
}

be_rect desk_rect(const QRect &global)
{
    QRect r = global.translated(-desk_origin());
    return {r.left(), r.top(), r.left() + r.width(), r.top() + r.height()};
}

static QRect native_rect(const be_rect &r)
{
    return QRect(r.left, r.top, r.right - r.left, r.bottom - r.top)
        .translated(desk_origin());
}

// ---- pointer and keys ------------------------------------------------------

// Command-click is Ctrl+click, as window managers keep Alt+click for
// themselves; where they don't, both do.
uint16_t desk_mouse_modifiers(Qt::KeyboardModifiers modifiers)
{
    uint16_t bits = keys_modifiers(modifiers);

    if (bits & controlKey)
        bits = uint16_t((bits & ~controlKey) | cmdKey);
    return bits;
}

void desk_note_mouse(QPoint global, bool down, Qt::KeyboardModifiers modifiers)
{
    mouseAt = global;
    mouseDown_ = down;
    held = modifiers;
}

void desk_note_keys(Qt::KeyboardModifiers modifiers)
{
    held = modifiers;
    heardOfKeys = true;
}

void window_button(be_win w, QMouseEvent *event, bool down)
{
    QPoint at = event->globalPosition().toPoint();

    if (event->button() != Qt::LeftButton)
        return;
    desk_note_mouse(at, down, event->modifiers());
    at -= desk_origin();
    up<up_mouse>(w, at.x(), at.y(), desk_mouse_modifiers(event->modifiers()),
                 down);
}

void window_wheel(DeskWindow *w, QWheelEvent *event)
{
    int lines = qMax(1, QApplication::wheelScrollLines());
    int step = 120 / lines; // a notch of a wheel is 120

    w->wheel += event->angleDelta().y();
    for (; w->wheel >= step; w->wheel -= step)
        up<up_wheel>(w->id, 1);
    for (; w->wheel <= -step; w->wheel += step)
        up<up_wheel>(w->id, -1);
    event->accept();
}

// ---- the framed widget -----------------------------------------------------

TopWidget::TopWidget(DeskWindow *w, Qt::WindowFlags flags)
    : QWidget(nullptr, flags), window(w)
{
    scale = qMax(1, qRound(devicePixelRatio()));
    still.setSingleShot(true);
    still.setInterval(kStill);
    QObject::connect(&still, &QTimer::timeout, [this] { settled(); });
}

void TopWidget::lay_out()
{
    if (!window || !window->content)
        return;
    int barHeight = 0;
    if (window->bar) {
        barHeight = window->bar->sizeHint().height();
        window->bar->setGeometry(0, 0, width(), barHeight);
    }
    window->content->setGeometry(0, barHeight, width(), height() - barHeight);
}

void TopWidget::settle_soon()
{
    still.start();
}

// Reports what has become of the window. A zoom carries its place, so no
// resize follows; a place that the program asked for is no news.
void TopWidget::settled()
{
    if (!window || !isVisible())
        return;
    bool collapsed = isMinimized();
    bool zoomed = isMaximized() || isFullScreen();
    QRect now = window->content->global();
    be_rect r = desk_rect(now);

    if (collapsed != window->wasCollapsed) {
        window->wasCollapsed = collapsed;
        up<up_collapsed>(window->id, collapsed);
    }
    if (collapsed)
        return;
    if (zoomed != window->wasZoomed) {
        window->wasZoomed = zoomed;
        window->asked = now;
        up<up_zoom>(window->id, zoomed, &r);
        return;
    }
    if (now.size() != window->asked.size()) {
        window->asked = now;
        up<up_resized>(window->id, &r, true);
    } else if (now != window->asked) {
        window->asked = now;
        up<up_moved>(window->id, &r);
    }
}

bool TopWidget::event(QEvent *event)
{
    bool done = QWidget::event(event);

    if (!window)
        return done;
    switch (event->type()) {
    case QEvent::WindowActivate:
        up<up_active>(window->id, true);
        break;
    case QEvent::WindowDeactivate:
        up<up_active>(window->id, false);
        break;
    case QEvent::Show:
        window->placed = true;
        break;
    case QEvent::LayoutRequest: // the bar may need another height
        lay_out();
        break;
    case QEvent::ScreenChangeInternal:
        if (be_window_scale(window->id) != scale) {
            scale = be_window_scale(window->id);
            up<up_scale>(window->id);
        }
        break;
    default:
        break;
    }
    return done;
}

void TopWidget::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (window && event->type() == QEvent::WindowStateChange)
        settle_soon();
}

// The terminal's window has no close box of its own in the program: closing it
// ends the program, as everywhere on this desktop.
void TopWidget::closeEvent(QCloseEvent *event)
{
    event->ignore();
    if (!window)
        return;
    if (window->kind == BE_DOCUMENT)
        up<up_quit>();
    else if (window->closable || window->kind == BE_MODAL)
        up<up_close>(window->id);
}

void TopWidget::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    if (window && window->placed)
        settle_soon();
}

void TopWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    lay_out();
    if (window && window->placed)
        settle_soon();
}

// ---- the content -----------------------------------------------------------

ContentWidget::ContentWidget(DeskWindow *w, QWidget *parent)
    : QWidget(parent), window(w)
{
    bool terminal = w->kind == BE_DOCUMENT;

    setMouseTracking(true);
    if (!terminal)
        return;
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_InputMethodEnabled);
    setFocusPolicy(Qt::StrongFocus);
    setAcceptDrops(true);
    setAccessibleName(QStringLiteral("Terminal"));
}

QRect ContentWidget::global() const
{
    return QRect(mapToGlobal(QPoint(0, 0)), size());
}

void window_paint_canvas(DeskWindow *w, QPainter *painter, const QRect &part)
{
    if (w->image.isNull())
        return;
    qreal scale = w->image.devicePixelRatio();
    QRectF source(part.x() * scale, part.y() * scale, part.width() * scale,
                  part.height() * scale);
    painter->drawImage(QRectF(part), w->image, source);
}

static void log_first_paint()
{
    static bool logged;

    if (logged)
        return;
    logged = true;
    qCDebug(startLog, "first paint at %lld us of the monotonic clock",
            (long long)be_now_us());
}

// While a resize goes on the old pixels stay, and what they don't reach takes
// the colour of their corner, which is the terminal's background.
void ContentWidget::paintEvent(QPaintEvent *event)
{
    if (!window || !window->canvas)
        return;
    // In a dialog only what the program draws itself comes from the canvas, and
    // those items paint themselves.
    if (window->kind != BE_DOCUMENT)
        return;
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    if (window->image.isNull()) {
        painter.fillRect(event->rect(), Qt::white);
        return;
    }
    QSize covered = window->image.deviceIndependentSize().toSize();
    QRegion rest = event->region() - QRect(QPoint(0, 0), covered);

    for (const QRect &r : rest)
        painter.fillRect(r, QColor::fromRgb(window->image.pixel(0, 0)));
    QRegion shown = event->region() & QRect(QPoint(0, 0), covered);
    for (const QRect &r : shown)
        window_paint_canvas(window, &painter, r);
    log_first_paint();
}

static void apply_cursor(DeskWindow *w)
{
    static const std::map<be_cursor, Qt::CursorShape> shapes = {
        {BE_ARROW, Qt::ArrowCursor},  {BE_TEXT, Qt::IBeamCursor},
        {BE_WAIT, Qt::WaitCursor},    {BE_POSITION, Qt::CrossCursor},
        {BE_HIDDEN, Qt::BlankCursor},
    };
    auto found = shapes.find(w->obscured ? BE_HIDDEN : w->cursor);

    if (found != shapes.end() && w->content->cursor().shape() != found->second)
        w->content->setCursor(found->second);
}

void ContentWidget::mousePressEvent(QMouseEvent *event)
{
    if (!window)
        return;
    if (event->button() == Qt::MiddleButton)
        up<up_middle_click>(window->id);
    else
        window_button(window->id, event, true);
}

void ContentWidget::mouseDoubleClickEvent(QMouseEvent *event)
{
    mousePressEvent(event); // the program counts clicks itself
}

void ContentWidget::mouseReleaseEvent(QMouseEvent *event)
{
    if (window)
        window_button(window->id, event, false);
}

void ContentWidget::mouseMoveEvent(QMouseEvent *event)
{
    desk_note_mouse(event->globalPosition().toPoint(),
                    event->buttons() & Qt::LeftButton, event->modifiers());
    if (window && window->obscured) {
        window->obscured = false;
        apply_cursor(window);
    }
}

void ContentWidget::wheelEvent(QWheelEvent *event)
{
    if (window)
        window_wheel(window, event);
}

void ContentWidget::enterEvent(QEnterEvent *event)
{
    desk_note_mouse(event->globalPosition().toPoint(), mouseDown_, held);
}

// Outside of the window no move is reported, so this is the last place known;
// it lies outside of the content, which is all that the program asks about.
void ContentWidget::leaveEvent(QEvent *)
{
    mouseAt = QCursor::pos();
}

// ---- dropping --------------------------------------------------------------

bool ContentWidget::offered(const QMimeData *mime, QPoint local)
{
    if (!window)
        return false;
    QPoint at = mapToGlobal(local) - desk_origin();
    return up<up_drag_over>(window->id, at.x(), at.y(), mime->hasText(),
                            mime->hasUrls());
}

// A drag that is refused as it enters isn't offered again, but whether it may
// be dropped depends on the place.
void ContentWidget::dragEnterEvent(QDragEnterEvent *event)
{
    const QMimeData *mime = event->mimeData();

    if (window && (mime->hasText() || mime->hasUrls())) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    }
}

void ContentWidget::dragMoveEvent(QDragMoveEvent *event)
{
    if (offered(event->mimeData(), event->position().toPoint())) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void ContentWidget::dropEvent(QDropEvent *event)
{
    const QMimeData *mime = event->mimeData();

    if (!offered(mime, event->position().toPoint())) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();

    std::vector<QByteArray> paths;
    std::vector<const char *> pointers;
    for (const QUrl &url : mime->urls())
        if (url.isLocalFile())
            paths.push_back(url.toLocalFile().toLocal8Bit());
    for (const QByteArray &path : paths)
        pointers.push_back(path.constData());
    // A file manager offers its files as text, too: files are files.
    QByteArray text =
        mime->hasText() && !mime->hasUrls() ? mime->text().toUtf8() : "";
    QPoint at = mapToGlobal(event->position().toPoint()) - desk_origin();

    up<up_drop>(window->id, at.x(), at.y(),
                desk_mouse_modifiers(event->modifiers()),
                text.isEmpty() ? nullptr : text.constData(), pointers.data(),
                int(pointers.size()));
}

// ---- input methods ---------------------------------------------------------

void ContentWidget::inputMethodEvent(QInputMethodEvent *event)
{
    if (window && !event->commitString().isEmpty()) {
        QByteArray text = event->commitString().toUtf8();
        up<up_key>(window->id, text.constData(), uint8_t(0), uint8_t(0),
                   uint16_t(0), false, 0u);
    }
    event->accept();
}

QVariant ContentWidget::inputMethodQuery(Qt::InputMethodQuery query) const
{
    if (window && query == Qt::ImCursorRectangle)
        return window->caret;
    if (query == Qt::ImHints)
        return int(Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
    return QWidget::inputMethodQuery(query);
}

bool ContentWidget::focusNextPrevChild(bool)
{
    return false; // Tab is a key of the terminal
}

// ---- windows ---------------------------------------------------------------

static Qt::WindowFlags flags_for(const be_window_info &info)
{
    switch (info.kind) {
    case BE_DOCUMENT:
        return Qt::Window;
    case BE_PLAIN:
        return Qt::SplashScreen | Qt::FramelessWindowHint |
               Qt::WindowDoesNotAcceptFocus;
    default:
        break;
    }
    Qt::WindowFlags flags = Qt::Dialog | Qt::CustomizeWindowHint |
                            Qt::WindowTitleHint | Qt::WindowSystemMenuHint;
    if (info.closable || info.kind == BE_MODAL)
        flags |= Qt::WindowCloseButtonHint;
    if (info.zoomable)
        flags |= Qt::WindowMaximizeButtonHint;
    return flags;
}

static int bar_height(const DeskWindow *w)
{
    return w->bar ? w->bar->sizeHint().height() : 0;
}

static void set_limits(DeskWindow *w)
{
    int bar = bar_height(w);

    if (!w->resizable) {
        w->top->setFixedSize(w->asked.width(), w->asked.height() + bar);
        return;
    }
    if (!w->least.isEmpty())
        w->top->setMinimumSize(w->least.width(), w->least.height() + bar);
    if (!w->most.isEmpty())
        w->top->setMaximumSize(w->most.width(), w->most.height() + bar);
}

// The items' boxes were laid out for letters of this height, whatever the
// desktop's own size is.
constexpr int kDialogLetters = 13; // pixels

// What a new window stands in front of: a dialog that must be answered, else
// the terminal, else the splash.
static DeskWindow *opened_over(const DeskWindow *opening)
{
    DeskWindow *found = nullptr;
    auto rank = [](const DeskWindow *w) {
        return w->kind == BE_MODAL ? 3 : w->kind == BE_DOCUMENT ? 2 : 1;
    };

    for (auto &[id, w] : windows)
        if (w.get() != opening && w->kind != BE_MODELESS &&
            w->top->isVisible() && (!found || rank(w.get()) >= rank(found)))
            found = w.get();
    return found;
}

void be_window_new(be_win id, const be_window_info *info)
{
    auto made = std::make_unique<DeskWindow>();
    DeskWindow *w = made.get();

    be_window_dispose(id);
    w->id = id;
    w->kind = info->kind;
    w->resizable = info->resizable;
    w->closable = info->closable;
    w->canvas = info->canvas;
    w->asked = native_rect(info->content);
    w->top = new TopWidget(w, flags_for(*info));
    if (w->kind == BE_DOCUMENT)
        w->bar = menus_new_bar(w->top);
    else {
        QFont font = w->top->font();
        font.setPixelSize(kDialogLetters);
        w->top->setFont(font);
    }
    if (w->kind == BE_PLAIN)
        w->top->setAttribute(Qt::WA_ShowWithoutActivating);
    w->content = new ContentWidget(w, w->top);
    w->top->setWindowTitle(QString::fromUtf8(info->title ? info->title : ""));
    if (w->kind == BE_MODAL)
        w->top->setWindowModality(Qt::ApplicationModal);
    windows[id] = std::move(made);

    if (w->bar)
        menus_attach(w->bar);
    set_limits(w);
    w->top->setGeometry(w->asked.adjusted(0, -bar_height(w), 0, 0));
    w->top->lay_out();

    // It stays in front of what it was opened over, but isn't its child: the
    // program may dispose of either first.
    DeskWindow *under = opened_over(w);
    if (under && under->top->windowHandle()) {
        w->top->winId();
        w->top->windowHandle()->setTransientParent(under->top->windowHandle());
    }
}

void be_window_dispose(be_win id)
{
    auto found = windows.find(id);
    if (found == windows.end())
        return;
    DeskWindow *w = found->second.get();

    w->top->forget();
    w->content->forget();
    w->image = QImage();
    desk_bury(w->top);
    windows.erase(found);
}

void windows_stop()
{
    while (!windows.empty())
        be_window_dispose(windows.begin()->first);
    desk_bury_all();
    heardOfKeys = mouseDown_ = false;
}

void be_window_show(be_win id, bool show)
{
    DeskWindow *w = desk_window(id);
    if (!w || w->top->isVisible() == show)
        return;
    if (show && w->kind != BE_DOCUMENT)
        items_first_focus(w);
    w->top->setVisible(show);
    if (show && w->kind == BE_DOCUMENT)
        w->content->setFocus();
}

void be_window_front(be_win id)
{
    DeskWindow *w = desk_window(id);
    if (!w)
        return;
    w->top->raise();
    if (w->kind != BE_PLAIN)
        w->top->activateWindow();
}

void be_window_title(be_win id, const char *title)
{
    if (DeskWindow *w = desk_window(id))
        w->top->setWindowTitle(QString::fromUtf8(title));
}

// A zoomed window has its size from the desktop. A request for another one is
// followed by a report of the true size, as after a resize.
void be_window_bounds(be_win id, const be_rect *content)
{
    DeskWindow *w = desk_window(id);
    if (!w)
        return;
    QRect r = native_rect(*content);

    w->asked = r;
    if (w->top->isVisible() &&
        (w->top->isMaximized() || w->top->isFullScreen())) {
        w->top->settle_soon();
        return;
    }
    set_limits(w);
    w->top->setGeometry(r.adjusted(0, -bar_height(w), 0, 0));
}

void be_window_limits(be_win id, int minW, int minH, int maxW, int maxH)
{
    DeskWindow *w = desk_window(id);
    if (!w)
        return;
    w->least = QSize(minW, minH);
    w->most = QSize(maxW, maxH);
    set_limits(w);
}

void be_window_state(be_win id, bool zoomed, bool collapsed)
{
    DeskWindow *w = desk_window(id);
    if (!w)
        return;
    w->wasZoomed = zoomed;
    w->wasCollapsed = collapsed;
    Qt::WindowStates states = w->top->windowState();
    states.setFlag(Qt::WindowMaximized, zoomed);
    states.setFlag(Qt::WindowMinimized, collapsed);
    w->top->setWindowState(states);
}

int be_window_scale(be_win id)
{
    DeskWindow *w = desk_window(id);
    qreal scale = w ? w->top->devicePixelRatio() : qApp->devicePixelRatio();

    return qMax(1, qRound(scale));
}

void be_screen(be_rect *bounds)
{
    QRect all;

    for (const QScreen *screen : QGuiApplication::screens())
        all |= screen->availableGeometry();
    *bounds = desk_rect(all);
}

// ---- pixels ----------------------------------------------------------------

void be_present(be_win id, const uint32_t *pixels, int width, int height,
                int stride, const be_rect *dirty, int count)
{
    DeskWindow *w = desk_window(id);
    if (!w)
        return;
    auto bytes = reinterpret_cast<const uchar *>(pixels);

    if (w->image.constBits() != bytes || w->image.width() != width ||
        w->image.height() != height ||
        w->image.bytesPerLine() != qsizetype(stride) * 4) {
        w->image = QImage(bytes, width, height, qsizetype(stride) * 4,
                          QImage::Format_RGB32);
        w->image.setDevicePixelRatio(be_window_scale(id));
    }
    QRegion region;
    for (int i = 0; i < count; i++) {
        const be_rect &d = dirty[i];
        region += QRect(d.left, d.top, d.right - d.left, d.bottom - d.top);
    }
    // Shown at once: the toolkit's own update would wake an idle program again
    // some milliseconds later for every blink of the cursor.
    if (w->kind == BE_DOCUMENT) {
        w->content->repaint(region);
        return;
    }
    for (auto &[number, item] : w->items)
        if (item.kind == BE_USER && item.widget &&
            region.intersects(item.widget->geometry()))
            item.widget->repaint();
}

void be_set_cursor(be_win id, be_cursor cursor)
{
    DeskWindow *w = desk_window(id);
    if (!w)
        return;
    if (cursor == BE_HIDDEN)
        w->obscured = true;
    else
        w->cursor = cursor;
    apply_cursor(w);
}

void be_caret_at(be_win id, const be_rect *local)
{
    DeskWindow *w = desk_window(id);
    if (!w)
        return;
    QRect r(local->left, local->top, local->right - local->left,
            local->bottom - local->top);
    if (r == w->caret)
        return;
    w->caret = r;
    if (w->content->hasFocus())
        QGuiApplication::inputMethod()->update(Qt::ImCursorRectangle);
}

// The events keep these up to date while one of our windows is active, so that
// the many questions of an idle program cost no trip to the display. Only
// before the first event (keys held at the start) has the display to be asked.
void be_mouse_state(be_mouse *out)
{
    if (!heardOfKeys) {
        held = QGuiApplication::queryKeyboardModifiers();
        heardOfKeys =
            QGuiApplication::applicationState() == Qt::ApplicationActive;
    }
    QPoint at = mouseAt - desk_origin();

    out->h = at.x();
    out->v = at.y();
    out->down = mouseDown_;
    out->modifiers =
        mouseDown_ ? desk_mouse_modifiers(held) : keys_modifiers(held);
}
