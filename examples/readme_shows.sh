#!/bin/sh
# SPDX-License-Identifier: MIT
# usage: readme_shows.sh PAGE EXAMPLE
# The code block of the page that is marked with the example's ending must be the example that is compiled, to the
# letter.
cd "$(dirname "$0")" || exit 1
sed -n "/^\`\`\`${2##*.}\$/,/^\`\`\`\$/{/^\`\`\`/!p}" "$1" | diff -u "$2" - || { echo "$1 does not show $2"; exit 1; }
