#!/bin/sh
# Makes flange.msh and wing.msh again from the .geo scripts beside this file.
# Needs the mesher gmsh (Debian package gmsh) and nothing else. The same gmsh
# gives the same files, byte for byte, however often this is run.
set -eu
cd "$(dirname "$0")"

if ! command -v gmsh >/dev/null 2>&1; then
    echo "make.sh: gmsh not found; on Debian: apt-get install gmsh" >&2
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# gmsh reads the user's saved options from its home folder. An empty one keeps
# them out.
GMSH_HOME=$work/
export GMSH_HOME

# Errors only (-v 1): for each node of a copied sector Debian's gmsh warns that
# it was built without a search library. The copies match without it.
for part in flange wing; do
    if ! gmsh -2 -nt 1 -v 1 -o "$work/$part.msh" "$part.geo"; then
        echo "make.sh: gmsh failed on $part.geo" >&2
        exit 1
    fi
    # The links between the nodes of equal sectors are of no use to a reader.
    sed '/^\$Periodic$/,/^\$EndPeriodic$/d' "$work/$part.msh" >"$work/$part.clean"
    cat "$work/$part.clean" >"$part.msh"
    echo "$part.msh: $(wc -c <"$part.msh") bytes"
done
