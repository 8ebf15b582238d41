#!/usr/bin/env bash
# Fails when an object file holds writable data: the library keeps no state between calls.
#   no_state.sh OBJECT...
set -euo pipefail

[ $# -gt 0 ] || { echo "no object files given"; exit 1; }
# Two things are no state: addresses in constant tables (.data.rel.ro), read-only once the loader has written them, and
# the compiler's own reference to the routine that unwinds the stack.
state=$(objdump --syms --demangle "$@" |
    awk '/file format/ { file = $1 } / O \.(data|bss)|  \.t(data|bss)/ && !/ d  / && !/ \.data\.rel\.ro/ && !/ DW\.ref\.__gxx_personality_v0$/ { print file, $0 }')
if [ -n "$state" ]; then
    printf 'Writable data:\n%s\n' "$state"
    exit 1
fi
