#!/usr/bin/env bash
# Builds and installs a framework of another kind, the library on top of it, and a host that finds both
# as packages. Arguments: source folder, work folder, prefix of the CPython, its home, C++ compiler.
set -euo pipefail
source=$1 work=$2 python=$3 home=$4 compiler=$5
rm -rf "$work" && mkdir -p "$work/root/common/python/python3.5"

build() {  # source folder, name, more arguments
  cmake -S "$1" -B "$work/$2" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_INSTALL_PREFIX="$work/prefix" -DCMAKE_INSTALL_LIBDIR=lib \
    -DCMAKE_PREFIX_PATH="$work/prefix" "${@:3}" >"$work/$2.log"
  cmake --build "$work/$2" -j2 >>"$work/$2.log" || { cat "$work/$2.log"; exit 1; }
}

build "$source/tests/seam/minihost" minihost
cmake --install "$work/minihost" >/dev/null
build "$source" library -DZR_HOST=minihost -DZR_PYTHON_PREFIX="$python" -DZR_BUILD_TESTS=OFF \
  -DZR_BUILD_EXAMPLES=OFF -DZR_WARNINGS_ARE_ERRORS=OFF
cmake --install "$work/library" >/dev/null
build "$source/tests/seam" consumer

ln -s "$home" "$work/root/common/python/python3.5/mini"
printf 'y = x * 2\n' >"$work/double.py"
"$work/consumer/consumer" "$work/root" "$work/double.py"
