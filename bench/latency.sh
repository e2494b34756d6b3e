# Byte to screen model, on a fresh account and the offscreen platform.
set -eu
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data \
    XDG_STATE_HOME=$home/state QT_QPA_PLATFORM=offscreen "$1/bench_latency"
