#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need (run as root).
# Set TARVOLIN_NO_WINDOWS=1 to skip the MinGW-w64 and Wine packages.
set -euo pipefail
# widl (mingw-w64-tools) and the OLE IDL files (libwine-dev) generate the interfaces for
# both builds.
# clang builds the sanitizer run; its AddressSanitizer and UndefinedBehaviorSanitizer
# runtime (libclang-rt-dev) is only recommended by clang, so it is listed itself.
# dpkg-dev (dpkg-shlibdeps) and pkg-config serve the package checks; nsis builds the
# Windows installer.
packages=(flex bison libfl-dev cmake make g++ clang libclang-rt-dev googletest libgtest-dev
          python3 mingw-w64-tools libwine-dev dpkg-dev pkg-config)
if [ "${TARVOLIN_NO_WINDOWS:-0}" != 1 ]; then
  packages+=(wine wine64 g++-mingw-w64-x86-64 binutils-mingw-w64-x86-64 mingw-w64-x86-64-dev nsis)
  # The x86 build: the -posix compilers, as for x64.
  packages+=(gcc-mingw-w64-i686-posix g++-mingw-w64-i686-posix binutils-mingw-w64-i686 mingw-w64-i686-dev)
fi
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

# apt_update [OPTION...]: apt-get update, going on with the indexes it got when some fail
# (an index of one architecture may be out of step on the mirror).
apt_update() {
  $sudo apt-get "$@" update -qq || echo "install-deps: apt-get update reported errors; going on with the indexes it has"
}

install_missing() {
  local missing=() p
  for p in "${packages[@]}"; do installed "$p" || missing+=("$p"); done
  if [ ${#missing[@]} -ne 0 ]; then
    apt_update
    $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
  fi
}
install_missing

# 32-bit Wine runs the tests of the x86 build. Its i386 libraries must have the versions of
# the amd64 ones, and when the mirror's i386 index of bookworm-security is out of step
# (wrong size, "Mirror sync in progress?") apt finds broken dependencies. Then one more try
# sees only the main archive for both architectures; whatever that takes away (amd64
# packages whose newer versions have no i386 twin) is installed again after. Without
# 32-bit Wine the x86 build is still made and checked as files.
wine32_packages=(wine32:i386)
install_wine32() {
  local log
  log="$(mktemp)"
  $sudo dpkg --add-architecture i386
  apt_update
  if $sudo apt-get install -y -qq --no-install-recommends "${wine32_packages[@]}" >"$log" 2>&1; then
    rm -f "$log"
    return 0
  fi
  echo "install-deps: wine32:i386 failed with the configured sources: $(grep -m1 '^E:' "$log" || tail -n 1 "$log")"
  local sources
  sources="$(mktemp -d)"
  cat >"$sources/main.sources" <<'SOURCES'
Types: deb
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SOURCES
  local only_main=(-o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$sources")
  local rc=0
  { $sudo apt-get "${only_main[@]}" update -qq &&
    $sudo apt-get "${only_main[@]}" install -y -qq --no-install-recommends "${wine32_packages[@]}"; } >"$log" 2>&1 ||
    rc=$?
  rm -rf "$sources"
  # Back to the configured sources, and to every package the builds need.
  apt_update
  install_missing
  if [ $rc -ne 0 ]; then
    echo "install-deps: wine32:i386 failed from the main archive too: $(grep -m1 '^E:' "$log" || tail -n 1 "$log")"
  fi
  rm -f "$log"
  return $rc
}
if [ "${TARVOLIN_NO_WINDOWS:-0}" != 1 ] && ! installed wine32:i386; then
  install_wine32 ||
    echo "install-deps: 32-bit Wine could not be installed (see above); the x86 build's runtime tests will be skipped"
fi
# Whatever happened to 32-bit Wine, everything else must be there.
for p in "${packages[@]}"; do
  installed "$p" || { echo "install-deps: $p could not be installed" >&2; exit 1; }
done
