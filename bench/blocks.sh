#!/usr/bin/env bash
# Transfers by the block protocols, beside lrzsz over the same relay. Parts as
# arguments behind the first: line delay free idle.
set -eu
exec python3 "$(dirname "$0")/blocks.py" "$@"
