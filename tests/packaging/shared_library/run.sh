#!/usr/bin/env bash
# Compares what the shared library exports with the list beside this script, and checks its name and what it needs.
# After a wanted change of the interface: run.sh LIBRARY --list > symbols.txt
set -euo pipefail
library=$1

# Demangled names of the defined dynamic symbols. Their types are left out: compilers differ on which are weak.
exports() {
    nm --dynamic --demangle --defined-only "$library" | cut -d' ' -f3- | LC_ALL=C sort -u
}
if [ "${2:-}" = --list ]; then
    exports
    exit
fi

exports | diff -u "$(dirname "$0")/symbols.txt" - || {
    echo "The exported symbols differ from symbols.txt."
    exit 1
}

soname=$(objdump -p "$library" | awk '$1 == "SONAME" { print $2 }')
if [ "$soname" != libmeldra3d.so.5 ]; then
    echo "The SONAME is $soname."
    exit 1
fi

needed=$(objdump -p "$library" | awk '$1 == "NEEDED" { print $2 }' | grep -vE '^(libstdc\+\+|libm|libgcc_s|libc|liblapack)\.so\.' || true)
if [ -n "$needed" ]; then
    echo "The library needs more than the standard libraries and LAPACK: $needed"
    exit 1
fi
