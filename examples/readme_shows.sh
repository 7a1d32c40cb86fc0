#!/bin/sh
# SPDX-License-Identifier: MIT
# usage: readme_shows.sh README EXAMPLE
# The code block of the README that is marked c must be the example that is compiled, to the letter.
cd "$(dirname "$0")" || exit 1
sed -n '/^```c$/,/^```$/{/^```/!p}' "$1" | diff -u "$2" - || { echo "$1 does not show $2"; exit 1; }
