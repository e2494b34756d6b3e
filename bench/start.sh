# From start to first paint, offscreen and on an X server with a session's bus.
# The server stays up between the starts, as a desktop's does.
set -eu
here=$(dirname "$0")
QT_QPA_PLATFORM=offscreen python3 "$here/start.py" "$1"
QT_QPA_PLATFORM=xcb dbus-run-session -- \
    xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" \
    python3 "$here/start.py" "$1"
