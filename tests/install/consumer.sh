#!/usr/bin/env bash
# Installs the build in $1 and builds and runs, against that copy alone, programs that lie outside of
# the tree: one through the CMake package and through pkg-config, and the example of a host. Each
# public header can be included alone.
set -eu
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/installed" >"$work/log"
cp -r "$here/consumer" "$work/consumer"
export LD_LIBRARY_PATH=

cmake -S "$work/consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/installed" >>"$work/log"
cmake --build "$work/build" >>"$work/log" || { cat "$work/log"; exit 1; }
"$work/build/consumer"
echo "built and ran through the CMake package"

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$work/installed" -name UplinkFailureDetection.pc)")
libdir=$(pkg-config --variable=libdir UplinkFailureDetection)
# shellcheck disable=SC2046 # the words of pkg-config are words
c++ -I "$work/consumer" "$work/consumer/main.cpp" $(pkg-config --cflags --libs UplinkFailureDetection) \
  -Wl,-rpath,"$libdir" -o "$work/through-pkg-config"
"$work/through-pkg-config"
echo "built and ran through pkg-config"

cp -r "$here/../../examples/embed" "$work/embed"
cmake -S "$work/embed" -B "$work/build-embed" -DCMAKE_PREFIX_PATH="$work/installed" >>"$work/log"
cmake --build "$work/build-embed" >>"$work/log" || { cat "$work/log"; exit 1; }
"$here/../examples/embed.sh" "$work/build-embed/embed"
echo "built and ran the example"

cd "$(pkg-config --variable=includedir UplinkFailureDetection)"
find ufd -name '*.h' -not -path 'ufd/detail/*' -print0 |
  xargs -0 -P "$(nproc)" -I '{}' sh -c 'echo "#include <{}>" | c++ -std=c++20 -fsyntax-only -I. -xc++ -'
echo "included each public header alone"
