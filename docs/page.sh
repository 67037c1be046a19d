#!/bin/sh
# A page as Doxygen reads it: links that leave docs/ lead nowhere in the reference, and become text.
# usage: docs/page.sh PAGE.md
sed -E 's#\[([^]]*)\]\(\.\./(README|dev|examples|tests|\.\./)[^)]*\)#\1#g' "$1"
