#!/usr/bin/env bash
# Fails when a program fails, or does not print what is expected. It runs in a directory of its own,
# with the name of a file to write. usage: check_output.sh EXPECTED PROGRAM
set -euo pipefail
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"
"$2" file.txt >output 2>&1 || { status=$?; cat output; exit "$status"; }
# How much of a stack a thread uses is the compiler's affair.
sed 's/stack usage: [1-9][0-9]*/stack usage: N/' output | diff "$1" -
