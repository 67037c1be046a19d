#!/usr/bin/env bash
# Fails when the library exports anything else than the list. usage: symbols.sh LIBRARY LIST
# To take a change over, copy the lines of the difference into the list.
set -euo pipefail
export LC_ALL=C
nm -D --defined-only -P "$1" | cut -d' ' -f1 | sort |
    diff -U 0 --label "listed in $2" "$2" --label "exported by $1" -
