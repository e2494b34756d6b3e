// Opening the display, time, and the one place that waits.
#include "platform/desktop/desktop.h"
#include "platform/desktop/keys.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QBasicTimer>
#include <QIcon>
#include <QKeyEvent>
#include <QPixmap>
#include <QPushButton>
#include <QSessionManager>
#include <QSocketNotifier>
#include <QStyleHints>
#include <QTimer>
#include <QTimerEvent>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

bool gHeard;

// ---- state ------------------------------------------------------------------

static QApplication *app;
static bool starting; // the display isn't open yet: a fatal error is "none"

// How long the display may go unasked while bytes pour in.
constexpr int64_t kAskEvery = 2000; // us

static int64_t lastAsked; // when native events were last taken
static int waitDepth;     // be_wait calls that run inside each other

// ---- the display ------------------------------------------------------------

// The toolkit's remarks don't help a user at a terminal, so only what stops the
// program is shown. Without a usable display the toolkit aborts, so the message
// is written, and the program left, from here.
static void on_message(QtMsgType type, const QMessageLogContext &,
                       const QString &text)
{
    if (type == QtFatalMsg && starting) {
        fprintf(stderr, "quillon: no display: %s can't be used\n",
                getenv("DISPLAY")           ? "the one in DISPLAY"
                : getenv("WAYLAND_DISPLAY") ? "the one in WAYLAND_DISPLAY"
                                            : "the platform asked for");
        _exit(1);
    }
    if (type == QtCriticalMsg || type == QtFatalMsg ||
        qEnvironmentVariableIsSet("QUILLON_QT_MESSAGES"))
        fprintf(stderr, "quillon: %s\n", text.toLocal8Bit().constData());
}

static bool platform_chosen(int argc, char **argv)
{
    for (int i = 1; i < argc; i++)
        if (!strcmp(argv[i], "-platform") || !strcmp(argv[i], "--platform"))
            return true;
    return qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
}

// Watches the keys and the focus of all our windows. Every key press of a
// window goes up first; one in a dialog is stored with its target, and comes
// back by be_key_forward if the program leaves it to the widget.
class KeyWatch : public QObject {
protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::ShortcutOverride:
            break;
        default:
            return false;
        }
        auto *key = static_cast<QKeyEvent *>(event);

        if (event->type() != QEvent::ShortcutOverride) {
            keys_follow(*key);
            desk_note_keys(key->modifiers());
        }
        if (!object->isWidgetType() || QApplication::activePopupWidget())
            return false;
        auto *widget = static_cast<QWidget *>(object);
        DeskWindow *w = desk_window_of(widget);
        if (!w)
            return false;
        if (event->type() == QEvent::ShortcutOverride) {
            event->accept(); // no key is the desktop's own
            return true;
        }
        if (event->type() == QEvent::KeyRelease)
            return w->kind == BE_DOCUMENT;
        return press(w, widget, *key);
    }

private:
    static bool press(DeskWindow *w, QWidget *widget, const QKeyEvent &key)
    {
        if (items_forwarding())
            return false;
        KeyStroke stroke = keys_translate(key);
        if (stroke.pastesPrimary) {
            up<up_middle_click>(w->id);
            return true;
        }
        if (stroke.text.isEmpty() && stroke.character == 0)
            return w->kind == BE_DOCUMENT;
        // Return belongs to the default button, but on a button that has the
        // keys everybody expects that one to be pressed.
        auto *button = qobject_cast<QPushButton *>(widget);
        if (button && (stroke.character == 13 || stroke.character == 3) &&
            stroke.modifiers == 0) {
            button->click();
            return true;
        }
        uint32_t token =
            w->kind == BE_DOCUMENT ? 0 : items_store_key(widget, key);
        QByteArray text = stroke.text.toUtf8();
        up<up_key>(w->id, text.constData(), stroke.character, stroke.code,
                   stroke.modifiers, key.isAutoRepeat(), token);
        return true;
    }
};

static KeyWatch *keyWatch;

// ---- signals ----------------------------------------------------------------

// A signal asks for the end of the program. A second one soon after it finds
// the default action, for a program that doesn't answer.
constexpr int kAnswerTime = 5000; // ms

static int signalPipe[2] = {-1, -1};
static QSocketNotifier *signalNotifier;

static void on_signal(int number)
{
    int saved = errno;

    signal(number, SIG_DFL);
    (void)!write(signalPipe[1], "", 1); // a full pipe says it already
    errno = saved;
}

static void take_signals()
{
    for (int number : {SIGTERM, SIGINT, SIGHUP})
        signal(number, on_signal);
}

static void catch_signals()
{
    if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    signalNotifier =
        new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, app);
    QObject::connect(signalNotifier, &QSocketNotifier::activated, [] {
        char drop[16];
        while (read(signalPipe[0], drop, sizeof drop) > 0)
            ;
        // The user may have been asked, and have refused.
        QTimer::singleShot(kAnswerTime, app, take_signals);
        up<up_quit>();
    });
    take_signals();
}

// ---- the session's end -----------------------------------------------------

// The session waits for its call to return before it goes on, and may end
// everything then, so the saving has to happen within it.
static QSessionManager *session; // during the call

// Asks the session only when there is something to ask the user: it lets one
// program at a time do so.
static bool may_ask()
{
    return session->allowsInteraction();
}

static void session_ends(QSessionManager &manager)
{
    session = &manager;
    be_session_answer answer = up<up_session_end>(may_ask);
    session = nullptr;
    if (answer == BE_SESSION_REFUSED) {
        manager.cancel();
        return;
    }
    // In the middle of a dialog or a transfer. That is being put away now, and
    // there is a second round after all other programs have saved.
    if (answer == BE_SESSION_LATER && !manager.isPhase2())
        manager.requestPhase2();
    manager.release();
}

// The desktop's own request to end, by other ways than the session's.
class QuitWatch : public QObject {
protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (object != app || event->type() != QEvent::Quit)
            return false;
        up<up_quit>();
        return true;
    }
};
static QuitWatch *quitWatch;

// ---- the wait's own notifiers and timer ------------------------------------

// Wakes the event loop at the deadline and does nothing else.
class Alarm : public QObject {
public:
    QBasicTimer timer;

protected:
    void timerEvent(QTimerEvent *) override { timer.stop(); }
};

static Alarm *alarm_;

// One-shot: each switches itself off when it fires, and only a wait that is
// asked to watch switches it on. One left on at a line that has hung up would
// fire without end. What hasn't fired stays on between waits, where nobody
// looks at it: switching costs more than a look.
static QSocketNotifier *readNotifier;
static QSocketNotifier *writeNotifier;
static int watchedFd = -1;
static unsigned fired; // BE_READ, BE_WRITE: since the wait began

static void unwatch()
{
    delete readNotifier;
    delete writeNotifier;
    readNotifier = writeNotifier = nullptr;
    watchedFd = -1;
}

static void make_notifiers(int fd)
{
    unwatch();
    watchedFd = fd;
    readNotifier = new QSocketNotifier(fd, QSocketNotifier::Read);
    writeNotifier = new QSocketNotifier(fd, QSocketNotifier::Write);
    for (QSocketNotifier *n : {readNotifier, writeNotifier}) {
        unsigned what = n == readNotifier ? BE_READ : BE_WRITE;
        n->setEnabled(false);
        QObject::connect(n, &QSocketNotifier::activated, [n, what] {
            n->setEnabled(false);
            fired |= what;
        });
    }
}

static void watch(int fd, bool read, bool write)
{
    if (fd >= 0 && fd != watchedFd)
        make_notifiers(fd);
    if (!readNotifier)
        return;
    readNotifier->setEnabled(fd >= 0 && read);
    writeNotifier->setEnabled(fd >= 0 && write);
}

static unsigned port_state(int fd, bool read, bool write)
{
    if (fd < 0 || !(read || write))
        return 0;
    pollfd p = {fd, short((read ? POLLIN : 0) | (write ? POLLOUT : 0)), 0};
    if (poll(&p, 1, 0) <= 0)
        return 0;
    unsigned state = 0;
    // A hang-up shows at a read, so it counts as something to be read.
    if (read && (p.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)))
        state |= BE_READ;
    if (write && (p.revents & (POLLOUT | POLLHUP | POLLERR | POLLNVAL)))
        state |= BE_WRITE;
    return state;
}

// ---- start and time --------------------------------------------------------

bool be_start(int *argc, char **argv, const char **why)
{
    if (!platform_chosen(*argc, argv) && !getenv("DISPLAY") &&
        !getenv("WAYLAND_DISPLAY")) {
        *why = "no display: neither DISPLAY nor WAYLAND_DISPLAY is set";
        return false;
    }
    qInstallMessageHandler(on_message);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::Round);
    QApplication::setApplicationName(QStringLiteral("quillon"));
    QApplication::setApplicationDisplayName(QStringLiteral("Quillon"));
    QApplication::setDesktopFileName(QStringLiteral("quillon"));
    QApplication::setAttribute(Qt::AA_DontUseNativeMenuBar);
    QApplication::setQuitOnLastWindowClosed(false);

    // The toolkit puts the locale's number format in force; scripts, numbers
    // on the line and our own texts are all written the C way.
    starting = true;
    // The toolkit's own dispatcher waits with fewer calls than GLib's, and no
    // part of ours needs that. Programs that we start decide for themselves.
    bool mayUnset = !qEnvironmentVariableIsSet("QT_NO_GLIB");
    qputenv("QT_NO_GLIB", "1");
    app = new QApplication(*argc, argv);
    if (mayUnset)
        qunsetenv("QT_NO_GLIB");
    starting = false;
    setlocale(LC_NUMERIC, "C");

    QImage icon(desk_icon, kIconSize, kIconSize, QImage::Format_RGBA8888);
    QApplication::setWindowIcon(QIcon(QPixmap::fromImage(icon)));

    keyWatch = new KeyWatch;
    app->installEventFilter(keyWatch);
    alarm_ = new Alarm;
    QObject::connect(app, &QApplication::focusChanged,
                     [](QWidget *, QWidget *now) { items_focus_changed(now); });
    QObject::connect(app, &QGuiApplication::applicationStateChanged,
                     [](Qt::ApplicationState state) {
                         bool active = state == Qt::ApplicationActive;
                         if (!active)
                             keys_forget();
                         else
                             desk_note_keys(
                                 QGuiApplication::queryKeyboardModifiers());
                         up<up_app_active>(active);
                     });
    QObject::connect(app, &QGuiApplication::commitDataRequest, session_ends);
    quitWatch = new QuitWatch;
    app->installEventFilter(quitWatch);
    catch_signals();
    outside_start();
    return true;
}

void be_stop()
{
    if (!app)
        return;
    asking_stop();
    paper_stop();
    outside_stop();
    menus_stop();
    windows_stop();
    unwatch();
    delete alarm_;
    alarm_ = nullptr;
    for (int number : {SIGTERM, SIGINT, SIGHUP})
        signal(number, SIG_DFL);
    fonts_stop();
    delete app;
    app = nullptr;
    delete keyWatch;
    keyWatch = nullptr;
    delete quitWatch;
    quitWatch = nullptr;
    for (int &end : signalPipe) {
        if (end >= 0)
            close(end);
        end = -1;
    }
}

int64_t be_now_us()
{
    timespec t;

    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t(t.tv_sec) * 1000000 + t.tv_nsec / 1000;
}

int64_t be_wall_clock()
{
    time_t now = time(nullptr);
    tm local;

    localtime_r(&now, &local);
    return int64_t(now) + local.tm_gmtoff;
}

// The desktop gives the time of a whole blink, 0 where nothing shall blink;
// the program has its own setting for that.
int32_t be_caret_ticks()
{
    int flash = QGuiApplication::styleHints()->cursorFlashTime();

    return flash > 0 ? flash * 60 / 2000 : 30;
}

int32_t be_double_click_ticks()
{
    return QGuiApplication::styleHints()->mouseDoubleClickInterval() * 60 /
           1000;
}

// ---- waiting ---------------------------------------------------------------

static void ask_display(QEventLoop::ProcessEventsFlags flags)
{
    QCoreApplication::processEvents(flags);
    menus_settle();
    lastAsked = be_now_us();
}

unsigned be_wait(int64_t deadline, int fd, bool read, bool write)
{
    unsigned state = port_state(fd, read, write);
    int64_t now = be_now_us();

    if ((state & BE_READ) && now - lastAsked < kAskEvery)
        return state;

    waitDepth++;
    if (waitDepth == 1)
        desk_bury_all();
    ask_display(QEventLoop::AllEvents);
    while (!gHeard && !state) {
        now = be_now_us();
        if (now >= deadline)
            break;
        watch(fd, read, write);
        fired = 0;
        // The toolkit counts in milliseconds: rounding up keeps a short rest
        // from turning the loop.
        int64_t rest = (deadline - now + 999) / 1000;
        alarm_->timer.start(int(rest < 3600000 ? rest : 3600000),
                            Qt::PreciseTimer, alarm_);
        ask_display(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        alarm_->timer.stop();
        state = fired;
        // What woke us is often only taken by the next look, and one that may
        // sleep would take it and sleep on.
        if (!gHeard && !state && be_now_us() < deadline)
            ask_display(QEventLoop::AllEvents);
    }
    waitDepth--;
    if (gHeard)
        state |= BE_INPUT;
    gHeard = false;
    return state;
}

void be_empty_read() {}
