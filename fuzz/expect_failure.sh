#!/bin/sh
# SPDX-License-Identifier: MIT
# usage: expect_failure.sh PATTERN PROGRAM ARGUMENT...
# The program must fail, and what it says must match the pattern, which may go over several lines. It runs in a
# directory of its own, which is removed with the inputs that it writes; paths must be whole.
pattern=$1
shift
place=$(mktemp -d) || exit 1
trap 'rm -rf "$place"' EXIT
cd "$place" || exit 1
if told=$("$@" 2>&1); then
    echo "passed, and should fail: $*"
    exit 1
fi
printf '%s\n' "$told"
printf '%s\n' "$told" | grep -qPz -e "$pattern" || { echo "failed, but otherwise than by: $pattern"; exit 1; }
