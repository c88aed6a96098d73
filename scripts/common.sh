# What the scripts share: sourced, not run. Works in the root of the tree.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# The CPython to build against.
python_prefix=${ZR_PYTHON_PREFIX:-/usr}
jobs=$(nproc)

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# Installs those of the named Debian packages that are missing. On another system CMake tells what
# is missing.
need() {
  local missing=() package
  command -v dpkg-query >/dev/null || return 0
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# Runs a command into a log, which is shown only when the command fails.
logged() { # LOG COMMAND...
  local log=$1
  shift
  mkdir -p "$(dirname "$log")"
  "$@" >"$log" 2>&1 || {
    tail -n 60 "$log"
    echo "failed: $* (all of it: $log)"
    return 1
  } >&2
}

# Configures a preset into build/PRESET and builds it, or only the named targets.
build_preset() { # PRESET [TARGET...]
  local preset=$1 launcher=()
  shift
  if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
  logged "build/$preset/configure.log" \
    cmake --preset "$preset" -DZR_PYTHON_PREFIX="$python_prefix" ${launcher[@]+"${launcher[@]}"}
  logged "build/$preset/build.log" \
    cmake --build "build/$preset" -j "$jobs" ${1:+--target} "$@"
}

need_to_build() {
  need g++ make cmake pkg-config python3-dev libcli11-dev libedit-dev libgtest-dev libgmock-dev
}
