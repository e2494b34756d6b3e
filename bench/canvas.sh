#!/usr/bin/env bash
# Drawing alone: lines that scroll, beside libvterm parsing the same lines.
set -eu
exec "$1/bench_canvas"
