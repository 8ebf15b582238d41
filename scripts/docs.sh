#!/usr/bin/env bash
# Makes the pages and the reference of all functions, build/docs/html/index.html, and fails at the first warning: a link
# without an end, an argument that a function does not have, a function without a comment.
#   scripts/docs.sh              the site, from the pictures and programs that are committed
#   scripts/docs.sh --figures    draws all pictures again before, and copies programs and tables into the pages
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh docs
if [ "${1:-}" = --figures ]; then
    scripts/demo.sh
    examples/distributed/run.sh
    export PYTHONPATH=build/demo/python PYTHONPYCACHEPREFIX=build/demo/pycache
    for script in gallery numbering orders operations; do
        /usr/bin/python3 docs/figures/$script.py
    done
    dot -Tsvg docs/figures/call_flow.dot -o docs/figures/call_flow.svg
    docs/shown.py
fi

docs/shown.py --check
rm -rf build/docs
mkdir -p build/docs
doxygen docs/reference/Doxyfile
docs/reference/exports.py tests/packaging/shared_library/symbols.txt build/docs/meldra3d.tag
echo "wrote build/docs/html/index.html"
