#!/bin/sh
# A catalog as Doxygen reads it: each MSG line as the documented declaration that it stands for.
# usage: docs/messages.sh FOLDER/Log_normal.msg
sed -n \
    -e '1s|^/\* \(Messages[^:]*\): .*|/** \1, with their formats and codes. @file */|p' \
    -e 's|^MSG(0x\([0-9A-F]*\), \([A-Za-z0-9_]*\), \(".*"\)).*|/** `\3`, code 0x2\1. */ extern const struct ZOVLogMessage \2;|p' \
    "$1"
