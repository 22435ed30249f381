#!/bin/sh
# Compiles each public header by itself and the client in one language mode, links the client with
# the library that is built already, and runs it.
#   client.sh STANDARD SOURCE-ROOT LIBRARY BOARD WORK-DIRECTORY HEADERS COMPILER [OPTION...]
# HEADERS is a list with semicolons. EMULATOR in the environment runs the client when it is set.
set -eu

standard=$1 root=$2 library=$3 board=$4 work=$5 headers=$6
shift 6

# The names of the newest modes differ between compilers and their versions.
if ! echo 'int main() {}' | "$@" -std="$standard" -x c++ -fsyntax-only - 2>/dev/null; then
    case $standard in
    c++23) standard=c++2b ;;
    esac
fi

set -- "$@" -std="$standard" -Wall -Wextra -Wpedantic -Werror \
    -I"$root/framework/lib/MC_API" -I"$root/framework/platform"

rm -rf "$work"
mkdir -p "$work"
count=0
for header in $(echo "$headers" | tr ';' ' '); do
    echo "#include \"$header\"" >"$work/header.cpp"
    "$@" -fsyntax-only "$work/header.cpp"
    count=$((count + 1))
done
[ "$count" -gt 0 ] || { echo "no headers given" >&2; exit 1; }
echo "$count headers, each by itself"

"$@" -I"$root" "$root/tests/clients/Client.cpp" -o "$work/client" "$library" "$board" \
    -Wl,-rpath,"$(dirname "$library")" -Wl,-rpath,"$(dirname "$board")"
# shellcheck disable=SC2086 # the emulator may be missing
${EMULATOR:-} "$work/client"
