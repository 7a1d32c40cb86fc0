#!/bin/sh
# SPDX-License-Identifier: MIT
# usage: exported_symbols.sh LIBRARY [--refresh]
# Compares the names that LIBRARY exports with the list checked in beside this script, or writes that list anew.
list=$(dirname "$0")/exported_symbols.txt
exported=$(nm -D --defined-only "$1" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | LC_ALL=C sort)
[ -n "$exported" ] || { echo "$1 exports nothing"; exit 1; }
if [ "$2" = --refresh ]; then
    echo "$exported" >"$list"
    exit
fi
if ! echo "$exported" | diff -u "$list" -; then
    echo "The exported names differ from the list. If that is meant: tests/exported_symbols.sh $1 --refresh"
    exit 1
fi
