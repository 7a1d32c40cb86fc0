#!/bin/sh
# SPDX-License-Identifier: MIT
# usage: readme_shows.sh PAGE EXAMPLE [NUMBER]
# Of the page's code blocks that are marked with the example's ending, the first, or the one of that number, must be the
# example that is compiled, to the letter.
cd "$(dirname "$0")" || exit 1
awk -v mark="\`\`\`${2##*.}" -v number="${3:-1}" '
    /^```/ { shown = $0 == mark && ++blocks == number; next }
    shown' "$1" | diff -u "$2" - || { echo "$1 does not show $2"; exit 1; }
