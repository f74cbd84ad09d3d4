#!/usr/bin/env bash
# Checks what a user of the installed library gets, on the native build in build/:
#  - `cmake --install` into a scratch prefix, and examples/consumer built against it with
#    find_package(Tarvolin) and again with pkg-config;
#  - the same consumer with Tarvolin as a subproject (add_subdirectory);
#  - `cpack` Debian packages, their contents, and (as root) dpkg -i, the consumer built
#    against /usr, and dpkg -r leaving nothing behind.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build"
work="$build/package-tests"
rm -rf "$work"
mkdir -p "$work"
jobs="$(nproc 2>/dev/null || echo 2)"

fail() { echo "package-tests: $*" >&2; exit 1; }

# The consumer's output for a statement, compared with what it must print.
check_consumer() { # <program> <label>
  local out
  out="$("$1" "SELECT a + 1, b FROM t1, t2 WHERE b = 2")" || fail "$2: the consumer failed"
  [ "$out" = $'statement type 2\ntable t1\ntable t2\ncolumn: a 1 +\ncolumn: b\nwhere: b 2 =' ] ||
    fail "$2: unexpected output: $out"
  if "$1" "SELECT FROM" >"$work/rejected.out" 2>&1; then fail "$2: a rejected statement exited 0"; fi
  grep -q '^Parse error$' "$work/rejected.out" || fail "$2: no error report for a rejected statement"
  echo "ok   $2"
}

echo "== install into a scratch prefix"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
for f in lib/libtarvolin.so.1 lib/libtarvolin_platform.so.1 bin/tarvolin include/tarvolin/tarvolin.hpp \
         include/tarvolin/tarvolin_h.h lib/cmake/Tarvolin/TarvolinConfig.cmake lib/pkgconfig/tarvolin.pc; do
  [ -e "$work/prefix/$f" ] || fail "not installed: $f"
done
soname="$(objdump -p "$work/prefix/lib/libtarvolin.so.1" | awk '/SONAME/ {print $2}')"
[ "$soname" = libtarvolin.so.1 ] || fail "SONAME is '$soname'"
"$work/prefix/bin/tarvolin" "SELECT a FROM t" >/dev/null || fail "the installed tool does not run"
echo "ok   installed files, SONAME $soname, the installed tool runs"

cmake -S "$root/examples/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
check_consumer "$work/consumer/consumer" "find_package(Tarvolin 1.0 CONFIG)"
# A version the package does not satisfy must be refused.
mkdir -p "$work/toonew"
printf 'cmake_minimum_required(VERSION 3.20)\nproject(P NONE)\nfind_package(Tarvolin 2.0 CONFIG REQUIRED)\n' \
  >"$work/toonew/CMakeLists.txt"
if cmake -S "$work/toonew" -B "$work/toonew/b" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null 2>&1; then
  fail "find_package(Tarvolin 2.0) accepted version 1"
fi

# shellcheck disable=SC2046 # pkg-config's output is a list of words
g++ -std=c++17 -o "$work/consumer-pc" "$root/examples/consumer/consumer.cpp" \
  $(PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig" pkg-config --cflags --libs tarvolin) \
  -Wl,-rpath,"$work/prefix/lib"
check_consumer "$work/consumer-pc" "pkg-config tarvolin"

echo "== as a subproject"
cmake -S "$root/examples/consumer" -B "$work/subproject" -DTARVOLIN_SOURCE_DIR="$root" >/dev/null
cmake --build "$work/subproject" --target consumer -j"$jobs" >/dev/null
check_consumer "$work/subproject/consumer" "add_subdirectory(tarvolin)"

echo "== Debian packages"
(cd "$work" && cpack --config "$build/CPackConfig.cmake" -G DEB >/dev/null)
debs=("$work"/*.deb)
[ "${#debs[@]}" -eq 3 ] || fail "expected 3 packages, got: ${debs[*]}"
runtime="$(dpkg-deb -c "$work"/libtarvolin1_*.deb)"
dev="$(dpkg-deb -c "$work"/libtarvolin-dev_*.deb)"
grep -q 'usr/lib/libtarvolin.so.1 -> ' <<<"$runtime" || fail "libtarvolin1 lacks the library"
grep -q 'usr/include/tarvolin/tarvolin.hpp$' <<<"$dev" || fail "libtarvolin-dev lacks the header"
dpkg-deb -f "$work"/libtarvolin-dev_*.deb Depends | grep -q 'libtarvolin1 (= ' || fail "libtarvolin-dev does not depend on libtarvolin1"
echo "ok   three packages: $(cd "$work" && echo *.deb)"

if [ "$(id -u)" = 0 ] && command -v dpkg >/dev/null; then
  if dpkg -s libtarvolin1 >/dev/null 2>&1; then fail "libtarvolin1 is installed already; not touching it"; fi
  dpkg -i "${debs[@]}" >/dev/null
  trap 'dpkg -r tarvolin libtarvolin-dev libtarvolin1 >/dev/null 2>&1 || true' EXIT
  cmake -S "$root/examples/consumer" -B "$work/consumer-usr" >/dev/null
  cmake --build "$work/consumer-usr" >/dev/null
  check_consumer "$work/consumer-usr/consumer" "consumer against the installed packages"
  tarvolin "SELECT a FROM t" >/dev/null || fail "the packaged tool does not run"
  dpkg -r tarvolin libtarvolin-dev libtarvolin1 >/dev/null
  trap - EXIT
  for f in /usr/lib/libtarvolin.so.1 /usr/include/tarvolin /usr/lib/cmake/Tarvolin /usr/bin/tarvolin; do
    [ ! -e "$f" ] || fail "left behind after dpkg -r: $f"
  done
  # The library package keeps its ldconfig postrm until purged (dpkg's "config-files"
  # state), but no file of it.
  for p in tarvolin libtarvolin-dev libtarvolin1; do
    state="$(dpkg-query -W -f='${db:Status-Status}' "$p" 2>/dev/null || true)"
    case "$state" in
      "" | not-installed) ;;
      config-files)
        files="$(dpkg-query -L "$p" 2>/dev/null || true)"
        if grep -q '^/' <<<"$files"; then fail "$p keeps files"; fi ;;
      *) fail "$p is '$state' after dpkg -r" ;;
    esac
  done
  dpkg -P libtarvolin1 >/dev/null
  echo "ok   dpkg -i, build and run against /usr, dpkg -r leaves nothing"
else
  echo "skip dpkg -i/-r (needs root)"
fi
