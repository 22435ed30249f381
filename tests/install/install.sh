#!/bin/sh
# The installed package, used from outside the tree.
#   install.sh prefix BUILD-DIRECTORY    installs the build
#   install.sh cmake                     a Session Manager that finds it with find_package
#   install.sh pkg-config                the same with pkg-config
#   install.sh version                   which versions it answers for
# In the environment: PREFIX, where it is installed; CXX and CXXFLAGS, as it was built with; LIBDIR,
# the library folder in the prefix.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A copy, so that nothing of the tree can be found by a path from here.
cp -r "$here/client" "$here/version" "$work"

run_client() {
    status=0
    "$1" >"$work/printed" || status=$?
    diff -u "$here/client/expected.txt" "$work/printed"
    echo "client: printed what is expected, exit status $status"
    [ "$status" -eq 0 ]
}

configure() {
    cmake -S "$work/$1" -B "$work/$1/build" -G Ninja -DCMAKE_PREFIX_PATH="$PREFIX" \
        -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_CXX_COMPILER="$CXX" \
        -DCMAKE_CXX_FLAGS="$CXXFLAGS -Wall -Wextra -Werror"
}

case $1 in
prefix)
    rm -rf "$PREFIX"
    cmake --install "$2" --prefix "$PREFIX"
    (cd "$PREFIX/include/MC_API" && find . -type f | LC_ALL=C sort) >"$work/headers"
    diff -u "$here/headers.txt" "$work/headers"
    "$PREFIX/bin/mcgw" --help >/dev/null
    cmp "$here/../../packaging/mcgw.bash-completion" "$PREFIX/share/bash-completion/completions/mcgw"
    cmp "$here/../../wireshark/mc_imc.lua" "$PREFIX/$LIBDIR/wireshark/plugins/mc_imc.lua"
    ;;
cmake)
    configure client
    cmake --build "$work/client/build"
    run_client "$work/client/build/small_session_manager"
    ;;
pkg-config)
    PKG_CONFIG_PATH=$PREFIX/$LIBDIR/pkgconfig
    export PKG_CONFIG_PATH
    pkg-config --exists 'MC_API >= 1.0' 'MC_API < 2' MC_host
    # shellcheck disable=SC2046,SC2086 # options, word by word
    "$CXX" $CXXFLAGS -Wall -Wextra -Werror $(pkg-config --cflags MC_API MC_host) \
        "$work/client/main.cpp" -o "$work/client/program" \
        $(pkg-config --libs MC_API MC_host) -Wl,-rpath,"$PREFIX/$LIBDIR"
    run_client "$work/client/program"
    ;;
version)
    configure version
    ;;
esac
