#!/usr/bin/env bash
# Usage: install_test.sh CMAKE BUILD WORK HOST LIBDIR COMPILER [TOOLCHAIN]
set -euo pipefail

cmake=$1 build=$2 work=$3 host=$4 libdir=$5 compiler=$6 toolchain=${7:-}
prefix=$work/prefix

rm -rf "$prefix" "$work/by-cmake" "$work/by-pkg-config"
"$cmake" --install "$build" --prefix "$prefix" > "$work/install.log"

echo "by find_package"
"$cmake" -S "$host" -B "$work/by-cmake" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" \
  ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"} > "$work/by-cmake.log"
"$cmake" --build "$work/by-cmake" >> "$work/by-cmake.log"
"$work/by-cmake/host"

echo "by pkg-config"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
flags=()
[ -z "$toolchain" ] || flags=(-m32)
case $compiler in *i686-linux-gnu*) flags=() ;; esac
# shellcheck disable=SC2046 # the words are meant to be split
"$compiler" "${flags[@]}" -std=c++20 "$host/host.cc" -o "$work/by-pkg-config" \
  $(pkg-config --define-variable=prefix="$prefix" --cflags --libs configapi) \
  -Wl,-rpath,"$prefix/$libdir"
"$work/by-pkg-config"

echo "installed files"
for file in bin/configapi "$libdir/libconfigapi.so.1" \
    include/configapi/config.h share/configapi/schema/qxconfig.ldif; do
  [ -e "$prefix/$file" ] || { echo "FAILED: $file is missing"; exit 1; }
done
