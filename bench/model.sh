# The screen model and its store alone, beside libvterm on the same bytes.
set -eu
"$1/bench_model"
