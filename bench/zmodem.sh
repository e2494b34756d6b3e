#!/usr/bin/env bash
# Transfers by ZMODEM, beside lrzsz over the same relay. Parts as arguments
# behind the first: free line delay flips flips4 slowflips slowflips4.
set -eu
exec python3 "$(dirname "$0")/zmodem.py" "$@"
