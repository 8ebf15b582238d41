#!/usr/bin/env bash
# Builds and runs the outside program by what pkg-config says of an installed library.
#   run.sh PREFIX OUTPUT COMPILER [FLAG...]
set -euo pipefail
prefix=$1 output=$2
shift 2

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name meldra3d.pc)")
export PKG_CONFIG_PATH
version=$(pkg-config --modversion meldra3d)
libraries=$(pkg-config --variable=libdir meldra3d)

# shellcheck disable=SC2046 # the flags are words
"$@" -std=c++17 "-DPACKAGE_VERSION=\"$version\"" "$(dirname "$0")/../outside.cpp" -o "$output" \
    $(pkg-config --cflags --libs meldra3d)
LD_LIBRARY_PATH=$libraries "$output"
