#!/bin/sh
# A page as Doxygen reads it: links that leave docs/ lead nowhere in the reference, and become text.
# usage: docs/page.sh PAGE.md
case $1 in
    */reference/*) up='\.\./\.\./' ;;
    *) up='\.\./' ;;
esac
sed -E "s#\[([^]]*)\]\(${up}[^)]*\)#\1#g" "$1"
