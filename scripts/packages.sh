# Sourced by the other scripts: what the project needs from the distribution, and how it gets there.
# They set $project before.
# shellcheck shell=sh disable=SC2034,SC2154

build_packages="cmake ninja-build g++ pkg-config ccache libexiv2-dev libjsoncpp-dev libsqlite3-dev libpq-dev
  libavformat-dev libswscale-dev libheif-dev libtiff-dev libvips-dev libcli11-dev"
test_packages="sqlite3 libgtest-dev libgmock-dev libbenchmark-dev postgresql exiv2 libvips-tools ffmpeg strace"
abi_packages="abigail-tools"
mutate_packages="python3"
fuzz_packages="clang libclang-rt-dev"
lint_packages="clang-format clang-tidy shellcheck"

# The 32-bit ARM build: tools for this machine, and what goes into its sysroot.
cross_packages="g++-arm-linux-gnueabihf qemu-user-static"
armhf_packages="libc6-dev libexiv2-dev libjsoncpp-dev libsqlite3-dev libpq-dev libavformat-dev libheif-dev libtiff-dev
  libcli11-dev libgtest-dev   libgmock-dev"

fail() {
  echo "lumivault: $*" >&2
  exit 1
}

# ensure_packages NAME...: installs those that are missing, where that is possible.
ensure_packages() {
  command -v dpkg-query >/dev/null || return 0
  missing=""
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed' || missing="$missing $package"
  done
  [ -n "$missing" ] || return 0
  as_root=""
  if [ "$(id -u)" -ne 0 ]; then
    { command -v sudo && sudo -n true; } >/dev/null 2>&1 ||
      fail "these packages are missing and only root can install them: apt-get install$missing"
    as_root="sudo -n"
  fi
  echo "lumivault: installing$missing" >&2
  log=$(mktemp)
  # shellcheck disable=SC2086
  if ! { $as_root apt-get update && DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y --no-install-recommends $missing; } \
    >"$log" 2>&1; then
    tail -n 20 "$log" >&2
    rm -f "$log"
    fail "these packages could not be installed:$missing"
  fi
  rm -f "$log"
}

# need_build_folder NAME: makes the folder build/NAME, or says that this clone is not ours to build in.
need_build_folder() {
  { mkdir -p "$project/build/$1" 2>/dev/null && [ -w "$project/build/$1" ]; } ||
    fail "cannot write below $project/build; build in a clone of your own"
}

# The cache of compiled files is one for all clones of a user, or where he has none, the clone's own.
use_compiler_cache() {
  [ -z "${CCACHE_DIR:-}" ] || return 0
  CCACHE_DIR="${XDG_CACHE_HOME:-${HOME:-}/.cache}/lumivault/ccache"
  mkdir -p "$CCACHE_DIR" 2>/dev/null && [ -w "$CCACHE_DIR" ] || CCACHE_DIR="$project/build/ccache"
  export CCACHE_DIR CCACHE_MAXSIZE="${CCACHE_MAXSIZE:-10G}"
}

# build_preset PRESET TARGET...: configures and builds below build/PRESET; shows the output only when that fails.
build_preset() {
  preset=$1
  shift
  need_build_folder "$preset"
  log="$project/build/$preset/build.log"
  use_compiler_cache
  (
    cd "$project" &&
      cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}
  ) >"$log" 2>&1 || {
    tail -n 60 "$log" >&2
    fail "the build failed; the whole output is in $log"
  }
  # Tests that wait for the disk would wait for all of this, too.
  sync -f "$log"
}
