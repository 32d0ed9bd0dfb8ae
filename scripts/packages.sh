# shellcheck shell=bash disable=SC2034  # the lists are read where this is sourced
# Debian packages for ./test, ./demo and ./package. Sourced, not run.
#
#   need_packages NAME...    installs those that are missing; false when that is impossible
#
# Nothing is fetched, and no rights are needed, once the packages are there.

missing_packages() {
  local name
  for name in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || printf '%s\n' "$name"
  done
}

need_packages() {
  local missing root=()
  if ! command -v dpkg-query >/dev/null; then
    echo "This is not a Debian system: taking it that the counterparts of these packages are there: $*"
    return 0
  fi
  mapfile -t missing < <(missing_packages "$@")
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing packages: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    root=(sudo)
    command -v sudo >/dev/null || { echo "These packages are missing, and installing them needs root or sudo."; return 1; }
  fi
  root+=(env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3)
  mkdir -p build/logs
  {
    "${root[@]}" update
    "${root[@]}" install --yes --no-install-recommends "${missing[@]}"
  } >build/logs/packages.log 2>&1 </dev/null || { tail -n 20 build/logs/packages.log; return 1; }
}

build_packages=(cmake ninja-build g++ libwine-dev libfmt-dev nlohmann-json3-dev libcli11-dev zlib1g-dev)
# For the cross builds, and for packing what they gave.
windows_packages=(g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-tools libz-mingw-w64-dev)
package_packages=(nsis zip binutils-mingw-w64-x86-64 binutils-mingw-w64-i686)
# For packing the native build.
native_package_packages=(binutils xz-utils dpkg-dev)
