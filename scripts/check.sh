#!/usr/bin/env bash
# Checks what no compiler and no test sees: format, lint, shell scripts, drawings and tables of the pages, the reference.
# Changes nothing but build.
#   scripts/check.sh             all of it
#   scripts/check.sh --format    the format only; to mend it: clang-format -i FILE
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
find benchmarks companions distributed docs examples fuzz include python src tests \( -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 clang-format --dry-run -Werror
[ "${1:-}" != --format ] || exit 0

for script in .ci/run scripts/*.sh tests/packaging/*/*.sh; do
    bash -n "$script"
done
sh -n examples/data/make.sh

docs/figures/numbering.py --check
scripts/docs.sh

[ -f build/release/compile_commands.json ] || cmake --preset release >/dev/null
find src companions distributed/src -name '*.cpp' -print0 | xargs -0 -P 2 -n 2 clang-tidy -p build/release --quiet \
    2> >(grep -v 'warnings\? generated' >&2)
cppcheck --project=build/release/compile_commands.json --file-filter='src/*' --file-filter='companions/*' --file-filter='distributed/src/*' \
    --enable=warning,performance,portability,style --suppressions-list=.cppcheck-suppressions --inline-suppr \
    --error-exitcode=1 --quiet -j 2
