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
    include/configapi/config.h share/configapi/schema/qxconfig.ldif \
    share/man/man1/configapi.1 share/man/man3/configapi_config.3; do
  [ -e "$prefix/$file" ] || { echo "FAILED: $file is missing"; exit 1; }
done

# A page that roff complains about, or that lacks what stands in its source.
if command -v groff > /dev/null; then
  complaints=$(groff -man -ww -z "$prefix"/share/man/man?/* 2>&1)
  [ -z "$complaints" ] || { echo "FAILED: $complaints"; exit 1; }
fi
for words in 'configapi.1:.SH EXIT CODES' 'configapi_cs.3:.SS EnterCritical' \
    'configapi_ldapclient.3:.SS ldapClientSearch'; do
  grep -q "^${words#*:}" "$prefix"/share/man/man?/"${words%%:*}" ||
    { echo "FAILED: ${words%%:*} lacks ${words#*:}"; exit 1; }
done
