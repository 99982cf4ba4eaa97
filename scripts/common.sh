# Shared by the scripts of this folder: where things are, and how what is missing gets installed.
# A script that sources this file runs with: set -euo pipefail.

top=$(CDPATH='' cd -P -- "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
program=$top/build/release/fermix

packages_program=(g++ cmake ninja-build pkg-config liblua5.2-dev libopenblas-dev libgmp-dev libcerf-dev)
packages_tests=(libgtest-dev)
packages_bench=(libbenchmark-dev)
packages_format=(clang-format-14)

stop() {
  printf '%s\n' "$1" >&2
  exit 1
}

# Installs those of the named Debian packages that are missing; says nothing when there are none.
install_packages() {
  command -v dpkg-query >/dev/null || stop "Fermix builds on Debian 12: dpkg-query was not found; install $* by hand and build with cmake --preset release."
  local missing=() package
  for package in "$@"; do
    # A line for each architecture that has the package.
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -x installed >/dev/null || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || stop "These packages are missing and sudo was not found; install them as root: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}" >&2
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get -o DPkg::Lock::Timeout=300 update -qq && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -o DPkg::Lock::Timeout=300 install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    stop "These packages could not be installed: ${missing[*]}"
  fi
  rm -f "$log"
}

# build PRESET TARGET [cmake options]: configures and builds; its output appears only when it fails. Call it in a
# subshell, which holds the lock: scripts that start together build one after the other.
build() {
  local preset=$1 target=$2 cache=$top/build/$1/CMakeCache.txt log
  shift 2
  mkdir -p "$top/build"
  exec 9>"$top/build/lock"
  flock 9
  # The folder was moved or copied with its build.
  if [ -f "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$top" "$cache"; then rm -rf "$top/build/$preset"; fi
  log=$(mktemp)
  if ! { cd "$top" && cmake --preset "$preset" "$@" && cmake --build --preset "$preset" --target "$target"; } \
    >"$log" 2>&1 </dev/null; then
    cat "$log" >&2
    rm -f "$log"
    stop "The build failed (preset $preset, target $target)."
  fi
  rm -f "$log"
}
