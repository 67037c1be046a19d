#!/bin/sh
# A header as Doxygen reads it: its first comment is about the file, and what a docstring says of errors,
# ownership and threads are paragraphs of their own. No line is added. usage: docs/header.sh HEADER
sed -E \
    -e '1{s#^/\*\* (.*) \*/$#/** \1 @file */#;s#^/\*\*$#/** @file#;}' \
    -e 's#(^ *\* |^ +|\. )(Errors|Ownership|Threads)(, [^:"]*)?: #\1<p><b>\2\3:</b> #g' \
    "$1"
