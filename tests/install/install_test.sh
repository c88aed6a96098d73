#!/usr/bin/env bash
# The installed library, seen from outside: install_test.sh CASE, with what follows as environment.
#   SOURCE, BUILD: the tree and its build; WORK: a folder of ours; CXX: the compiler
#   PYTHON_PREFIX, PYTHON_HOME, PYTHON_VERSION: the runtime; VERSION: the library's
set -euo pipefail
tree=$WORK/tree
root=$WORK/app

fail() {
  echo "failed: $*" >&2
  exit 1
}

# cmake, silent unless it fails.
quietly() {
  "$@" >"$WORK/log-$case" 2>&1 || { cat "$WORK/log-$case" >&2; fail "$*"; }
}

configure() {  # FOLDER OPTION...
  rm -rf "${WORK:?}/$1"
  cmake -S "$SOURCE/tests/install/consumer" -B "$WORK/$1" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_CXX_COMPILER_LAUNCHER="${LAUNCHER:-}" "${@:2}"
}

from_package() {  # FOLDER VERSION COMPONENTS
  configure "$1" -DZR_FROM=package -DCMAKE_PREFIX_PATH="$tree" -DZR_VERSION="$2" \
    -DZR_COMPONENTS="$3"
}

# Installed in one place and used in another.
case_tree() {
  rm -rf "$WORK" && mkdir -p "$WORK/common/python/python3.5" "$root"
  for platform in linux64 macos64; do
    ln -s "$PYTHON_HOME" "$WORK/common/python/python3.5/$platform"
  done
  quietly cmake --install "$BUILD" --prefix "$WORK/first"
  mv "$WORK/first" "$tree"
  local mentions
  mentions=$(grep -rIl -e "$WORK/first" -e "$SOURCE" "$tree" || true)
  [ -z "$mentions" ] || fail "paths of this machine stand in $mentions"
}

case_headers() {
  local header found=0
  while read -r header; do
    case ${header##*/} in zr*.h | ukl*.h) ;; *) fail "$header is private" ;; esac
    # Alone, and without Python's headers.
    printf '#include <%s>\n' "$header" |
      "$CXX" -std=c++17 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Werror \
        -I "$tree/include" -x c++ - || fail "$header"
    found=$((found + 1))
  done < <(cd "$tree/include" && find . -type f | sed 's|^\./||')
  [ "$found" -ge 20 ] || fail "only $found headers"
}

case_package() {
  quietly from_package package "${VERSION%.*}" "python$PYTHON_VERSION"
  quietly cmake --build "$WORK/package" -j2
  [ "$("$WORK/package/consumer" "$root")" = "whole: 42" ] || fail "consumer"
}

case_refusals() {
  local major=${VERSION%%.*}
  from_package refused "$((major + 1))" "" >"$WORK/log-version" 2>&1 && fail "a newer major version"
  grep -q "version: $VERSION" "$WORK/log-version" || fail "no word of the version"
  from_package refused "" python2.7 >"$WORK/log-component" 2>&1 && fail "another runtime"
  grep -q "built for python$PYTHON_VERSION" "$WORK/log-component" || fail "no word of the runtime"
}

case_pkgconfig() {
  export PKG_CONFIG_PATH
  PKG_CONFIG_PATH=$(dirname "$(find "$tree" -name zrpythoninterp.pc)")
  [ "$(pkg-config --modversion zrpythoninterp)" = "$VERSION" ] || fail "version"
  [ "$(pkg-config --variable=python_version zrpythoninterp)" = "$PYTHON_VERSION" ] || fail "runtime"
  local flags
  read -ra flags <<<"$(pkg-config --cflags --libs zrpythoninterp)"
  case ${flags[*]} in *python3*) fail "a host needs nothing of Python: ${flags[*]}" ;; esac
  "$CXX" -std=c++17 "$SOURCE/examples/smallest/main.cpp" "${flags[@]}" -o "$WORK/smallest"
  [ "$(LD_LIBRARY_PATH=$(pkg-config --variable=libdir zrpythoninterp) "$WORK/smallest" "$root")" \
    = 42 ] || fail "smallest"
}

# As a part of another project: the library and nothing else.
case_subdirectory() {
  local from
  for from in fetch subdirectory; do
    configure "$from" -DZR_FROM="$from" -DZR_SOURCE="$SOURCE" -DZR_PYTHON_PREFIX="$PYTHON_PREFIX" \
      >"$WORK/log-$from" 2>&1 || { cat "$WORK/log-$from"; fail "$from"; }
    [ "$(grep -c 'came along' "$WORK/log-$from")" = 1 ] || fail "$from brings more than the library"
  done
  quietly cmake --build "$WORK/subdirectory" -j2 --target consumer
  [ "$("$WORK/subdirectory/consumer" "$root")" = "whole: 42" ] || fail "consumer"
  cmake --install "$WORK/subdirectory" --prefix "$WORK/nothing" >/dev/null
  [ ! -e "$WORK/nothing" ] || fail "installs into another project's tree"
}

# Extension modules find the runtime's symbols also where the host keeps them apart.
case_plugin() {
  quietly from_package plugin "" ""
  quietly cmake --build "$WORK/plugin" -j2 --target plugin plugin_host
  ! ldd "$WORK/plugin/plugin_host" | grep -q python || fail "the host links Python"
  local library
  library=$(find "$tree" -name 'libzrpythoninterp.so')
  [ "$("$WORK/plugin/plugin_host" "$library" "$WORK/plugin/libplugin.so" "$root" \
    'import _ctypes, _decimal, _json, math; print(_decimal.Decimal("0.1") + 1, flush=True)')" \
    = 1.1 ] || fail "plug-in"
  # Memory for thread-local values that is asked for late ends the process where there is none.
  [ "$(uname)" != Linux ] || ! readelf -rW "$library" | grep -E 'DTPMOD|TLSDESC' ||
    fail "a new thread asks for memory"
}

# Only what is exported leaves the library.
case_symbols() {
  local library symbols stray
  library=$(find "$tree" -name 'libzrpythoninterp.so')
  symbols=$(nm -DC --defined-only "$library" | cut -d' ' -f3-)
  stray=$(grep -Ev '^((vtable|typeinfo|typeinfo name) for )?(zr(Interp(Python|TraceInfo|TraceInfoPython)?|Python(InterpCreator|Talk|Limit|Stop)|IInterpCreator|KeptCode|ThreadEvaluations|Variant(Access)?|WString|xNotifier<.*>|xObserver<.*>)|ukl(File|FileInfo|Library))(::|$)|^zr(CreatePython|KindOf|LastErrorReport|PrintErrors)\(' \
    <<<"$symbols" || true)
  [ -z "$stray" ] || fail "these leave the library: $stray"
  for wanted in 'vtable for zrInterpPython' 'typeinfo for zrInterp' 'zrPythonInterpCreator::Create()' \
    'zrInterpTraceInfoPython::Getline()' 'zrVariant::Clear()' 'uklFileInfo::~uklFileInfo()'; do
    grep -qxF "$wanted" <<<"$symbols" || fail "missing: $wanted"
  done
}

# The README's first program is the smallest example, to the letter.
case_readme() {
  diff "$SOURCE/examples/smallest/main.cpp" \
    <(awk '/^```cpp$/ {inside = 1; next} /^```$/ {if (inside) exit} inside' "$SOURCE/README.md") ||
    fail "README.md and examples/smallest/main.cpp differ"
}

case=$1
"case_$case"
