# What an idle window costs: CPU share, wake-ups a second, memory. Runs the
# program itself, offscreen, on a fresh account with the demo host as its line.
set -eu
bin=$1
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data
export XDG_STATE_HOME=$home/state QT_QPA_PLATFORM=offscreen

"$bin/quillon" &
pid=$!
sleep 7  # the four seconds behind data are busier
hz=$(getconf CLK_TCK)
sample() { awk '{print $14 + $15}' "/proc/$pid/stat"; }
switches() { awk '/^voluntary_ctxt/{print $2}' "/proc/$pid/status"; }
cpu=$(sample); wake=$(switches)
sleep 20
cpu2=$(sample); wake2=$(switches)
rss=$(awk '/^VmRSS/{print $2}' "/proc/$pid/status")
kill "$pid"
wait "$pid" 2>/dev/null || true
awk -v c=$((cpu2 - cpu)) -v hz="$hz" -v w=$((wake2 - wake)) -v r="$rss" \
    'BEGIN { printf "idle: CPU %.2f %%, %.1f wake-ups a second, resident %.1f MB\n",
             100 * c / hz / 20, w / 20, r / 1024 }'
