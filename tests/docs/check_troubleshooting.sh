#!/usr/bin/env bash
# Fails when docs/troubleshooting.md lacks a text that the launcher can print: those of its catalog, and
# those that its sources hand over as they are. What differs from run to run matches anything.
# usage: check_troubleshooting.sh TREE
cd "$1" || exit 2

catalog() { sed -n 's/^MSG([^"]*"\(.*\)\\n").*/\1/p' launcher/Log_normal.msg; }

texts() {
    cat launcher/*.cpp | tr -s '\n ' ' ' |
        grep -oE '(\bfail\( ?|ZOV_LOG_ANY_ss?, ?)"[^"]*"|"[^"%]* too long"' | cut -d '"' -f 2
    sed -n 's/.*LOG_OS_FAILURE_AS([^,]*, "\([a-z]*\)".*/OS \1() failure/p' launcher/*.cpp
}

count=0
missing=0
while IFS= read -r text; do
    count=$((count + 1))
    pattern=$(sed -E 's/[][().*+?{}|^$\\]/\\&/g; s/%[a-z]+/.+/g' <<<"$text")
    if ! grep -qE -- "\`$pattern" docs/troubleshooting.md; then
        echo "docs/troubleshooting.md does not explain: $text"
        missing=1
    fi
done < <(catalog; texts)
echo "$count texts"
[ "$count" -gt 20 ] && [ $missing -eq 0 ]
