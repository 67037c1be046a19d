#!/usr/bin/env bash
# Fails when a folder includes one to its right in: log osapi koba xml dds launcher. usage: check_layers.sh TREE
cd "$1" || exit 2
later=""
bad=0
for folder in launcher dds xml koba osapi log; do
    if [ -n "$later" ] && [ -d "$folder" ] && grep -nE "#include \"($later)/" -r "$folder"; then
        bad=1
    fi
    later="${later:+$later|}$folder"
done
[ $bad -eq 0 ] || echo "these includes point the wrong way: log < osapi < koba < xml < dds < launcher"
exit $bad
