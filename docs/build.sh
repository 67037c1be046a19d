#!/usr/bin/env bash
# Builds the reference into OUTPUT/html. Fails on any warning; status 77 where it cannot be built.
# usage: docs/build.sh OUTPUT
set -euo pipefail
if ! command -v doxygen >/dev/null; then
    echo "docs: doxygen is not installed: ./dev docs installs it"
    exit 77
fi
mkdir -p "$1"
output=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."
if [[ $PWD == *[[:space:]]* ]]; then
    echo "docs: Doxygen does not resolve links between pages below a path with blanks: $PWD"
    exit 77
fi

# A page for every source of an example there is.
find examples -name '*.c' -o -name '*.cpp' -o -name '*.java' | LC_ALL=C sort |
    sed 's|^examples/\(.*\)$|/** @example \1 */|' >"$output/examples.dox"

rm -rf "$output/html"
{
    cat docs/Doxyfile
    echo "OUTPUT_DIRECTORY = \"$output\""
    echo "INPUT += \"$output/examples.dox\""
} | doxygen -
echo "$output/html/index.html"
