#!/usr/bin/env bash
# Checks that the library of collective functions exports its interface and nothing besides, and has its right name.
#   exports.sh LIBRARY
set -euo pipefail
library=$1

exports=$(nm --dynamic --demangle --defined-only "$library" | cut -d' ' -f3-)
unwanted=$(grep -vE '^(quorl::meldra3d_mpi::[a-zA-Z0-9_]+\(|SCOTCH_errorPrintW?$)' <<<"$exports" || true)
if [ -n "$unwanted" ] || ! grep -q '^quorl::meldra3d_mpi::partition(' <<<"$exports"; then
    printf 'Exported:\n%s\nOf this unwanted:\n%s\n' "$exports" "$unwanted"
    exit 1
fi

soname=$(objdump -p "$library" | awk '$1 == "SONAME" { print $2 }')
if [ "$soname" != libmeldra3d_mpi.so.5 ]; then
    echo "The SONAME is $soname."
    exit 1
fi
