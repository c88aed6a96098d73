# How scripts/matrix comes to runtimes that the machine does not have: sourced, not run. What is made
# is kept in a folder outside the tree, and only made once.
cache=${XDG_CACHE_HOME:-$HOME/.cache}/zrpythoninterp

# Ends the script: not a failure of what is tested.
refuse() {
  echo "matrix: $*" >&2
  exit 3
}

need_space() { # GIGABYTES
  local free
  mkdir -p "$cache" 2>/dev/null || refuse "$cache cannot be written"
  free=$(df -Pk "$cache" | awk 'NR == 2 { print int($4 / 1048576) }')
  [ "$free" -ge "$1" ] || refuse "$1 GB are needed in $cache, $free are free"
}

# The distribution's mirror, as the machine itself is configured.
mirror() {
  local uri
  command -v apt-get >/dev/null || refuse "this is no Debian system: there is no mirror to ask"
  uri=$(apt-get indextargets --format '$(ORIGIN) $(REPO_URI)' 'Created-By: Packages' 2>/dev/null |
    awk '$1 == "Debian" && $2 !~ /security/ { print $2; exit }')
  # Without lists of packages the configuration alone tells.
  [ -n "$uri" ] || uri=$(cat /etc/apt/sources.list /etc/apt/sources.list.d/* 2>/dev/null |
    grep -oE '^[^#]*https?://[^ ]+/debian/?( |$)' | grep -oE -m1 'https?://[^ ]+')
  [ -n "$uri" ] || refuse "the machine's package configuration names no mirror of Debian"
  echo "${uri%/}"
}

can_reach() { # MIRROR SUITE
  local file
  file=$(mktemp)
  /usr/lib/apt/apt-helper download-file "$1/dists/$2/InRelease" "$file" >/dev/null 2>&1
  local status=$?
  rm -f "$file"
  return $status
}

# Makes a system of the suite with its compiler and all of its CPythons.
make_system() { # SUITE
  local suite=$1 system=$cache/debian-$1 part=$cache/debian-$1.part from
  [ "$(id -u)" = 0 ] || refuse "--debian needs root: it makes a system and enters it"
  unshare --mount --propagation private true 2>/dev/null ||
    refuse "--debian needs a mount namespace, which this machine refuses"
  [ -d "$system" ] && return
  need_space 3
  from=$(mirror) || exit
  need debootstrap
  can_reach "$from" "$suite" || refuse "$from has no suite $suite, or cannot be reached"
  echo "Making a system of $suite in $system"
  rm -rf "$part"
  logged "$cache/$suite.log" debootstrap --variant=minbase "$suite" "$part" "$from" ||
    refuse "debootstrap failed"
  # What the mirror tells may be older than it allows itself to be.
  echo 'Acquire::Check-Valid-Until "false";' >"$part/etc/apt/apt.conf.d/90old"
  logged "$cache/$suite.log" chroot "$part" bash -c '
    set -e
    export DEBIAN_FRONTEND=noninteractive
    apt-get update
    apt-get install -y --no-install-recommends \
      ccache cmake g++ git libcli11-dev libedit-dev libgmock-dev libgtest-dev make pkg-config \
      $(apt-cache pkgnames python3. | grep -E "^python3\.[0-9]+-dev$")
    apt-get clean' || refuse "the packages of $suite could not be installed"
  mv "$part" "$system"
}

# Runs scripts/matrix inside the system, in a mount namespace of its own, so that nothing stays
# mounted.
run_in_system() { # SUITE OPTION...
  local suite=$1 system=$cache/debian-$1
  shift
  mkdir -p "$system/src"
  unshare --mount --propagation private bash -c '
    mount --bind "$PWD" "$0/src" && mount -t proc proc "$0/proc" && mount --rbind /dev "$0/dev" &&
      exec chroot "$0" env -i HOME=/root PATH=/usr/bin:/usr/sbin TERM=dumb TZ=UTC \
        ZR_MATRIX_IN="$1" /src/scripts/matrix "${@:2}"' "$system" "$suite" "$@"
}

apt_source() { # FOLDER MIRROR ARGUMENT...
  local folder=$1 from=$2 keys suite
  shift 2
  keys=$(ls /usr/share/keyrings/debian-archive-keyring.* 2>/dev/null | head -1)
  [ -n "$keys" ] || refuse "the keys of Debian's archive are missing (debian-archive-keyring)"
  mkdir -p "$folder"/{etc/apt.conf.d,etc/preferences.d,state/lists/partial,cache/archives/partial}
  for suite in sid testing stable; do echo "deb-src [signed-by=$keys] $from $suite main"; done \
    >"$folder/etc/sources.list"
  local command=apt-get
  [ "$1" = showsrc ] && command=apt-cache
  "$command" -o Dir::Etc="$folder/etc" -o Dir::Etc::sourcelist="$folder/etc/sources.list" \
    -o Dir::Etc::sourceparts=/dev/null -o Dir::State="$folder/state" \
    -o Dir::State::status=/var/lib/dpkg/status -o Dir::Cache="$folder/cache" \
    -o APT::Sandbox::User=root -o Acquire::Check-Valid-Until=false "$@"
}

# Fetches the newest source of a release that the mirror has, checked against its index.
fetch_source() { # 3.N FOLDER
  local release=$1 folder=$2 from version
  from=$(mirror) || exit
  apt_source "$folder/apt" "$from" update >"$folder/apt.log" 2>&1 ||
    refuse "the indexes of $from cannot be read: $folder/apt.log"
  for version in $(apt_source "$folder/apt" "$from" showsrc "python$release" 2>/dev/null |
    awk '/^Version:/ { print $2 }' | sort -Vru); do
    (cd "$folder" && apt_source "$folder/apt" "$from" source --download-only \
      "python$release=$version") >>"$folder/apt.log" 2>&1 && return
  done
  refuse "$from has no source package of CPython $release that can be fetched: $folder/apt.log"
}

# Builds a CPython from the distribution's source: 3.N, with a "t" for one without the global lock
# and a "d" for a debug build. Sets source_prefix.
build_from_source() { # 3.N[t][d]
  local name=$1 folder=$cache/source-$1 release
  local options=(--enable-shared --without-ensurepip --disable-test-modules)
  [[ $name =~ ^3\.[0-9]+t?d?$ ]] || refuse "--source takes 3.13t, 3.13d, 3.14td and the like"
  release=${name%d} release=${release%t}
  source_prefix=$cache/python-$name
  [ -e "$source_prefix/complete" ] && return
  need_space 2
  need g++ make xz-utils zlib1g-dev libffi-dev libssl-dev ||
    refuse "what a build of CPython needs is missing, and cannot be installed without root"
  rm -rf "$folder"
  mkdir -p "$folder/build"
  fetch_source "$release" "$folder"
  tar -C "$folder/build" --strip-components=1 -xf "$folder"/python*.orig.tar.xz
  case $name in *t*) options+=(--disable-gil) ;; esac
  case $name in *d) options+=(--with-pydebug) ;; esac
  echo "Building CPython $name from $(basename "$folder"/python*.orig.tar.xz)"
  logged "$folder/build.log" bash -c 'cd "$0/build" && ./configure --prefix="$1" \
      LDFLAGS="-Wl,-rpath,$1/lib" "${@:3}" && make -j"$2" &&
      make install COMPILEALL_OPTS="-j0 -r0" && touch "$1/complete"' \
    "$folder" "$source_prefix" "$jobs" "${options[@]}" || refuse "CPython $name did not build"
  rm -rf "$folder"
}
