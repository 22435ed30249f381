#!/bin/sh
# Shows that the check of the binary interface notices a change: builds the board's library with one
# change of its sources, and expects script/abi to refuse it.
#   check_notices.sh SOURCE-DIRECTORY FILE SED-SCRIPT EXPECTED-TEXT
# An empty FILE changes nothing, and expects the library to be as recorded.
set -eu
source=$1 file=$2 change=$3 expected=$4

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$source/CMakeLists.txt" "$source/CMakePresets.json" "$source/cmake" "$source/framework" \
    "$source/packaging" "$source/script" "$work"
if [ -n "$file" ]; then
    sed -i "$change" "$work/$file"
    if cmp -s "$work/$file" "$source/$file"; then
        echo "the change did not change $file" >&2
        exit 1
    fi
fi

cd "$work"
cmake --preset board --log-level=WARNING -DMC_BUILD_TESTS=OFF -DMC_BUILD_WORKBENCH=OFF \
    -DMC_BUILD_BENCHMARKS=OFF
cmake --build --preset board --target MC_API >/dev/null

if script/abi check >"$work/difference" 2>&1; then
    seen=accepted
else
    seen=refused
fi
cat "$work/difference"
if [ -z "$file" ]; then
    [ "$seen" = accepted ]
else
    [ "$seen" = refused ] && grep -qF -- "$expected" "$work/difference"
fi
