#!/bin/sh
# SPDX-License-Identifier: MIT
# usage: log_texts.sh SOURCE-DIRECTORY [--refresh]
# Compares the messages in the library's sources, flag and text, with the list checked in beside this script, or writes that
# list anew. Each message stands once per place where it is made.
list=$(dirname "$0")/log_texts.txt
texts=$(find "$1" -name '*.[ch]pp' -exec cat {} + | tr '\n' ' ' | sed 's/"  *"//g' |
    grep -oE '(fail|elog_die)\( *[01], *"([^"\\]|\\.)*"' | sed -E 's/^[a-z_]+\( *([01]), */\1, /' | LC_ALL=C sort)
[ -n "$texts" ] || { echo "no message found below $1"; exit 1; }
if [ "$2" = --refresh ]; then
    printf '%s\n' "$texts" >"$list"
    exit
fi
if ! printf '%s\n' "$texts" | diff -u "$list" -; then
    echo "The messages differ from the list. If that is meant: tests/log_texts.sh $1 --refresh"
    exit 1
fi
