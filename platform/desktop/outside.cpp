// Clipboard, dragging text out, sounds, and files for other programs.
#include "platform/desktop/qtwindows.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QDrag>
#include <QFile>
#include <QMimeData>
#include <QProcess>
#include <QUrl>

#ifdef HAVE_CANBERRA
#include <canberra.h>
#endif

// ---- clipboard -------------------------------------------------------------

// A look at another program's clipboard is a trip to that program, which may
// be slow to answer; so a text is kept until the desktop reports a change.
struct Kept {
    bool known = false, any = false;
    QByteArray text;
};
static Kept kept[2]; // clipboard, primary selection

static QClipboard::Mode mode_of(bool primary)
{
    return primary ? QClipboard::Selection : QClipboard::Clipboard;
}

void outside_start()
{
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::changed,
                     [](QClipboard::Mode mode) {
                         kept[mode == QClipboard::Selection].known = false;
                     });
}

void be_clip_set(const char *text, bool primary)
{
    QClipboard *board = QGuiApplication::clipboard();

    if (primary && !board->supportsSelection())
        return;
    board->setText(QString::fromUtf8(text), mode_of(primary));
}

const char *be_clip_get(bool primary)
{
    QClipboard *board = QGuiApplication::clipboard();
    Kept &k = kept[primary];

    if (primary && !board->supportsSelection())
        return nullptr;
    if (!k.known) {
        const QMimeData *data = board->mimeData(mode_of(primary));
        k.any = data && data->hasText();
        k.text = k.any ? data->text().toUtf8() : QByteArray();
        k.known = true;
    }
    return k.any ? k.text.constData() : nullptr;
}

// ---- dragging out ----------------------------------------------------------

// The one act of the toolkit's that keeps the loop to itself until it ends: it
// holds the pointer. Nothing of ours runs in it but handlers, which enqueue.
void be_drag_text(be_win id, const char *text)
{
    DeskWindow *w = desk_window(id);
    bool taken = false;

    if (w) {
        auto *drag = new QDrag(w->content);
        auto *data = new QMimeData;
        data->setText(QString::fromUtf8(text));
        drag->setMimeData(data);
        taken = drag->exec(Qt::CopyAction) != Qt::IgnoreAction;
        be_mouse now;
        be_mouse_state(&now);
        desk_note_mouse(QPoint(now.h, now.v) + desk_origin(), false,
                        QGuiApplication::queryKeyboardModifiers());
    }
    up<up_drag_done>(taken);
}

// ---- sounds ----------------------------------------------------------------

// A host may ring thousands of times in a row; ten a second are heard as one
// sound anyway. In the background the window asks for attention, too.
void be_beep()
{
    constexpr int64_t kBetween = 100000; // us
    static int64_t lastBeep = -kBetween;
    int64_t now = be_now_us();

    if (now - lastBeep < kBetween)
        return;
    lastBeep = now;
    if (!be_sound_named("bell"))
        QApplication::beep();
    DeskWindow *w = desk_document();
    if (w && QGuiApplication::applicationState() != Qt::ApplicationActive)
        QApplication::alert(w->top);
}

#ifdef HAVE_CANBERRA
static ca_context *sounds; // made at the first sound: most sessions make none
static bool soundsTried;

// False when it can't be played. Without a sound server every further try
// would only cost time, so there is none.
static bool play(const char *property, const char *value)
{
    if (!soundsTried && ca_context_create(&sounds) != CA_SUCCESS)
        sounds = nullptr;
    soundsTried = true;
    if (!sounds)
        return false;
    int result = ca_context_play(sounds, 0, property, value, nullptr);
    if (result == CA_ERROR_NODRIVER || result == CA_ERROR_NOTAVAILABLE) {
        ca_context_destroy(sounds);
        sounds = nullptr;
    }
    return result == CA_SUCCESS;
}

#else
#define CA_PROP_MEDIA_FILENAME nullptr
#define CA_PROP_EVENT_ID nullptr
static bool play(const char *, const char *)
{
    return false;
}
#endif

bool be_sound_file(const char *path)
{
    return play(CA_PROP_MEDIA_FILENAME, path);
}

bool be_sound_named(const char *name)
{
    return play(CA_PROP_EVENT_ID, name);
}

// ---- other programs --------------------------------------------------------

// The command of a desktop entry with the file in its place. Field codes other
// than that of the file are dropped, as the entry's standard allows.
static QStringList entry_command(const QString &entry, const QString &path)
{
    QFile file(entry);
    QString exec;
    bool inside = false;

    if (!file.open(QIODevice::ReadOnly))
        return {};
    while (!file.atEnd()) {
        QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inside = line == QLatin1String("[Desktop Entry]");
        else if (inside && line.startsWith(QLatin1String("Exec=")))
            exec = line.mid(5);
    }
    QStringList command;
    bool placed = false;

    for (const QString &word : QProcess::splitCommand(exec)) {
        if (word == QLatin1String("%f") || word == QLatin1String("%F")) {
            command += path;
            placed = true;
        } else if (word == QLatin1String("%u") || word == QLatin1String("%U")) {
            command += QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
            placed = true;
        } else if (word.size() != 2 || word[0] != QLatin1Char('%')) {
            command += word;
        }
    }
    if (!placed && !command.isEmpty())
        command += path;
    return command;
}

bool be_open_with(const char *program, const char *path)
{
    QString file = QFile::decodeName(path);

    if (!program)
        return QDesktopServices::openUrl(QUrl::fromLocalFile(file));
    QString name = QFile::decodeName(program);
    QStringList command = name.endsWith(QLatin1String(".desktop"))
                              ? entry_command(name, file)
                              : QStringList{name, file};
    if (command.isEmpty())
        return false;
    QString first = command.takeFirst();
    return QProcess::startDetached(first, command);
}

void outside_stop()
{
#ifdef HAVE_CANBERRA
    if (sounds)
        ca_context_destroy(sounds);
    sounds = nullptr;
#endif
    kept[0] = kept[1] = Kept();
}
