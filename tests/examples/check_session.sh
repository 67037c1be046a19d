#!/usr/bin/env bash
# Runs the commands of a session, the lines that begin with "$ ", and fails when they do not print
# what stands there. It runs in a directory of its own. usage: check_session.sh SESSION PROGRAM
set -uo pipefail
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cp -R "$(dirname "$1")/documents/." "$directory"
cd "$directory" || exit
PATH=$(dirname "$2"):$PATH
while read -r prompt command; do
    [ "$prompt" = '$' ] || continue
    echo "$prompt $command"
    eval "$command" 2>&1 || echo "(status $?)"
done <"$1" | diff "$1" -
