#!/usr/bin/env bash
# Compiles every installed header alone, as C++17 and without a warning.
#   run.sh INCLUDE_FOLDER COMPILER [OPTION...]
set -euo pipefail
folder=$1 compiler=$2
shift 2
command -v "$compiler" >/dev/null || exit 77 # skipped

cd "$folder"
headers=0
while read -r header; do
    headers=$((headers + 1))
    printf '#include <%s>\n#include <%s>\n' "$header" "$header" |
        "$compiler" -std=c++17 -fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Werror -I. "$@" -x c++ - || {
        echo "$header does not compile alone."
        exit 1
    }
done < <(find . -name '*.h' -printf '%P\n')
if [ ! -f meldra3d/meldra3d.h ]; then
    echo "meldra3d/meldra3d.h was not installed."
    exit 1
fi
echo "$headers headers"
