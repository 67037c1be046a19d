#!/usr/bin/env bash
# Fails when the library exports anything else than the list, or needs the C++ runtime.
# usage: symbols.sh LIBRARY LIST. To take a change over, copy the difference into the list.
set -euo pipefail
export LC_ALL=C
nm -D --defined-only -P "$1" | cut -d' ' -f1 | sort |
    diff -U 0 --label "listed in $2" "$2" --label "exported by $1" -

if readelf -d "$1" | grep 'NEEDED.*libstdc++'; then
    nm -D -C --undefined-only "$1" | grep 'std::'
    echo "a program in C would need the C++ runtime"
    exit 1
fi
