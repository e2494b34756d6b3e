# From start to first paint, offscreen and on an X server with a session's bus.
set -eu
here=$(dirname "$0")
QT_QPA_PLATFORM=offscreen python3 "$here/start.py" "$1"
QT_QPA_PLATFORM=xcb dbus-run-session -- xvfb-run -a python3 "$here/start.py" "$1"
