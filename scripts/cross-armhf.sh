#!/usr/bin/env bash
# Cross-builds the responder for the camera (32-bit ARM, Debian's armhf) into
# build-armhf/ and runs the whole test suite through qemu-arm. Installs the
# cross toolchain, qemu and the armhf libraries first (Debian packages,
# multiarch). Safe to run again: what is installed is left alone.
#
# Usage: scripts/cross-armhf.sh [--install-only] [--no-test] [--record]
#                               [--build-dir DIR] [--build-type TYPE]
# Ends with a report (size, libraries, symbol versions, 64-bit time, the
# test count) in BUILD_DIR/armhf-report.md; --record also writes it to
# docs/armhf.md, the figures of record.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=build-armhf
build_type=MinSizeRel
run_build=yes
run_tests=yes
record=no
args="$*"
while [ $# -gt 0 ]; do
  case "$1" in
    --install-only) run_build=no; run_tests=no; shift ;;
    --no-test) run_tests=no; shift ;;
    --record) record=yes; shift ;;
    --build-dir) build_dir=$2; shift 2 ;;
    --build-type) build_type=$2; shift 2 ;;
    *) echo "usage: $0 [--install-only] [--no-test] [--record] [--build-dir DIR]" \
            "[--build-type TYPE]" >&2; exit 2 ;;
  esac
done

sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
# Other builds on the same machine may hold the dpkg lock for a while.
apt_get() {
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get \
    -o DPkg::Lock::Timeout=600 "$@"
}

# Build-host tools (amd64) and the target's libraries (armhf). The armhf
# GoogleTest is Debian's own build of the same release as the host's.
host_tools=(g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf qemu-user
            cmake pkg-config sqlite3 libgtest-dev)
target_libs=(libfcgi-dev:armhf libsqlite3-dev:armhf libxml2-dev:armhf
             uuid-dev:armhf libgtest-dev:armhf)

is_installed() {
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
}

missing_of() {  # prints the packages of "$@" that are not installed
  local pkg
  for pkg in "$@"; do is_installed "$pkg" || echo "$pkg"; done
}

# The highest version of a package that the archive offers for both amd64
# and armhf ("" when there is none).
common_version() {
  local pkg=$1 best= version
  local armhf_versions
  armhf_versions=$(apt-cache madison "$pkg:armhf" | awk -F'|' '{gsub(/ /, "", $2); print $2}')
  for version in $(apt-cache madison "$pkg:amd64" | awk -F'|' '{gsub(/ /, "", $2); print $2}'); do
    grep -qxF -- "$version" <<<"$armhf_versions" || continue
    if [ -z "$best" ] || dpkg --compare-versions "$version" gt "$best"; then
      best=$version
    fi
  done
  echo "$best"
}

# A Multi-Arch: same library must have the same version on amd64 and armhf.
# When an armhf index could not be fetched (a mirror in the middle of a sync
# serves a security index of the wrong size), the host's amd64 copies of
# such libraries (liblzma5, libssl3, linux-libc-dev, ...) can be at versions
# the armhf side cannot match, and apt refuses the whole install. For each
# such library in the armhf dependency closure this prints pkg:amd64=V and
# pkg:armhf=V for the highest version both architectures offer, so one
# install moves both to it (an upgrade, or for kernel headers a step back).
# Nothing is pinned for good: later host upgrades go on as before.
lockstep_versions() {
  local closure pkg host_version armhf_version version
  closure=$(apt-cache depends --recurse --no-recommends --no-suggests \
              --no-conflicts --no-breaks --no-replaces --no-enhances \
              "${target_libs[@]}" 2>/dev/null |
            sed -n 's/^\([^ <][^ ]*\):armhf$/\1/p' | sort -u)
  for pkg in $closure; do
    host_version=$(dpkg-query -W -f='${Status} ${Version}' "$pkg:amd64" 2>/dev/null |
                   awk '$3 == "installed" {print $4}')
    [ -n "$host_version" ] || continue
    apt-cache show "$pkg:armhf" 2>/dev/null | grep -qx 'Multi-Arch: same' || continue
    armhf_version=$(apt-cache policy "$pkg:armhf" | awk '/Candidate:/ {print $2; exit}')
    [ "$armhf_version" = "$host_version" ] && continue
    version=$(common_version "$pkg")
    if [ -z "$version" ]; then
      echo "cross-armhf: no version of $pkg is offered for both amd64 and armhf" >&2
      return 1
    fi
    echo "$pkg:amd64=$version"
    echo "$pkg:armhf=$version"
  done
}

install_cross_deps() {
  local missing
  if ! dpkg --print-foreign-architectures | grep -qx armhf; then
    echo "cross-armhf: adding the armhf architecture"
    "${sudo_cmd[@]}" dpkg --add-architecture armhf
  fi
  missing=$(missing_of "${host_tools[@]}" "${target_libs[@]}")
  if [ -n "$missing" ]; then
    echo "cross-armhf: installing" $missing
    # A partial index (see lockstep_versions) is not fatal: retry a little,
    # then go on with what was fetched.
    local try
    for try in 1 2 3; do
      apt_get update -qq 2>/tmp/cross-armhf-update.$$ && break
      echo "cross-armhf: apt-get update incomplete (try $try of 3):" \
           "$(grep -m1 '^E: ' /tmp/cross-armhf-update.$$ || true)" >&2
      sleep 5
    done
    rm -f /tmp/cross-armhf-update.$$
    # shellcheck disable=SC2046
    apt_get install -y -qq --no-install-recommends \
      $(missing_of "${host_tools[@]}") >/dev/null
    local lockstep
    lockstep=$(lockstep_versions)
    if [ -n "$lockstep" ]; then
      echo "cross-armhf: keeping amd64 and armhf in step:" $lockstep
    fi
    # shellcheck disable=SC2046
    apt_get install -y -qq --no-install-recommends --allow-downgrades \
      $lockstep $(missing_of "${target_libs[@]}") >/dev/null
  fi

  # Debian's 2.4.2-2+deb12u1 carries the fix for CVE-2025-23016, a heap
  # overflow in parameter parsing that bites 32-bit targets like this one.
  local fcgi_version
  fcgi_version=$(dpkg-query -W -f='${Version}' libfcgi-dev:armhf)
  if ! dpkg --compare-versions "$fcgi_version" ge 2.4.2-2+deb12u1; then
    echo "cross-armhf: libfcgi-dev:armhf $fcgi_version lacks the fix for" \
         "CVE-2025-23016; 2.4.2-2+deb12u1 or later is needed" >&2
    exit 1
  fi
}

install_cross_deps
[ "$run_build" = yes ] || exit 0

echo "== configure and build $build_dir ($build_type, armhf)"
cmake -S . -B "$build_dir" -DCMAKE_TOOLCHAIN_FILE="$(pwd)/cmake/armhf-toolchain.cmake" \
      -DCMAKE_BUILD_TYPE="$build_type" >/dev/null
cmake --build "$build_dir" -j2

# The figures that matter on the camera, printed and kept in
# $build_dir/armhf-report.md (docs/armhf.md with --record).
report=$build_dir/armhf-report.md
libc=$(arm-linux-gnueabihf-gcc -print-file-name=libc.so.6)
[ -e /lib/arm-linux-gnueabihf/libc.so.6 ] && libc=/lib/arm-linux-gnueabihf/libc.so.6
stripped=$build_dir/psia-responder.stripped
arm-linux-gnueabihf-strip -o "$stripped" "$build_dir/psia-responder"
size=$(stat -c %s "$stripped")
size_limit=409600

# Code on the 32-bit forms calls a C library function for which glibc also
# has a 64-bit time or offset variant (mktime and __mktime64, fstat and
# __fstat64_time64, lseek and lseek64, ...). narrow_calls prints such calls
# among the undefined symbols read from standard input.
libc_symbols=$(arm-linux-gnueabihf-objdump -T "$libc" | awk '{print $NF}' | sort -u)
narrow_calls() {
  local sym
  for sym in $(sed 's/@.*//' | sort -u); do
    case "$sym" in *64*) continue ;; esac
    if grep -qxE -e "__${sym}64|__${sym}_time64|__${sym}64_time64|${sym}64" <<<"$libc_symbols"; then
      echo "$sym"
    fi
  done
}
# Every object compiled for the target (responder, simulator, tests) must be
# on the 64-bit forms; what the linked responder still calls on 32-bit forms
# comes from the prebuilt C++ runtime (reported, not refused).
narrow_objects=$(find "$build_dir" -name '*.o' -path '*/CMakeFiles/*' -print0 |
                 xargs -0 arm-linux-gnueabihf-nm -u | awk 'NF == 2 {print $2}' |
                 narrow_calls | xargs)
responder_calls=$(arm-linux-gnueabihf-nm -D -u "$build_dir/psia-responder" | awk '{print $NF}')
narrow_linked=$(narrow_calls <<<"$responder_calls" | xargs)
wide_calls=$(sed 's/@.*//' <<<"$responder_calls" | grep -E '64' | sort -u | xargs)

# Type sizes as the build compiles them: a probe with the definitions CMake
# gives the responder's sources, run under qemu-arm.
defines=$(sed -n 's/^CXX_DEFINES = //p' "$build_dir/CMakeFiles/psia_core.dir/flags.make")
cat > "$build_dir/abi-probe.cc" <<'PROBE'
#include <sys/types.h>
#include <cstdio>
#include <ctime>
#include "control/control_message.h"
int main() {
  std::printf("%zu %zu %zu %zu\n", sizeof(time_t), sizeof(off_t), sizeof(long),
              sizeof(psia::control_message));
}
PROBE
# shellcheck disable=SC2086
arm-linux-gnueabihf-g++ -std=c++17 $defines -Isrc -o "$build_dir/abi-probe" "$build_dir/abi-probe.cc"
qemu_prefix=/usr/arm-linux-gnueabihf  # as the toolchain file chooses
[ -e /lib/ld-linux-armhf.so.3 ] && qemu_prefix=/
read -r time_size off_size long_size frame_size < <(qemu-arm -L "$qemu_prefix" "$build_dir/abi-probe")

tests="not run (--no-test)"
test_status=0
if [ "$run_tests" = yes ]; then
  echo "== test $build_dir (through qemu-arm)"
  (cd "$build_dir" && ctest --output-on-failure -j2) 2>&1 | tee "$build_dir/ctest.log" ||
    test_status=1
  tests=$(sed -n 's/.*tests passed, \([0-9]*\) tests failed out of \([0-9]*\)/\1 \2/p' \
            "$build_dir/ctest.log" | awk '{printf "%d of %d pass", $2 - $1, $2}')
  [ -n "$tests" ] || { tests="ctest did not finish"; test_status=1; }
fi

{
  echo "# The responder on the camera (armhf)"
  echo
  echo "Written by \`scripts/cross-armhf.sh${args:+ $args}\` on $(date -u +%Y-%m-%d) ($build_type," \
       "$(arm-linux-gnueabihf-g++ --version | head -1), $(qemu-arm --version | head -1))."
  echo
  echo "| What | Figure |"
  echo "|---|---|"
  echo "| \`psia-responder\`, stripped | $size bytes ($( [ "$size" -le "$size_limit" ] &&
         echo "within" || echo "OVER") the $((size_limit / 1024)) KB target) |"
  echo "| shared libraries at start-up | $(arm-linux-gnueabihf-objdump -p "$stripped" |
         awk '/NEEDED/ {printf "%s%s", sep, $2; sep = ", "}'); libxml2.so.2 with the first document |"
  echo "| symbol versions needed | $(arm-linux-gnueabihf-objdump -T "$stripped" |
         grep -o '\(GLIBC\|GLIBCXX\|CXXABI\|GCC\)_[A-Z0-9_.]*' | sort -u -V |
         awk '{printf "%s%s", sep, $1; sep = ", "}') |"
  echo "| time_t, off_t, long | $time_size, $off_size and $long_size bytes |"
  echo "| control frame | $frame_size bytes |"
  echo "| the responder's 64-bit time and offset calls | ${wide_calls:-none} |"
  echo "| 32-bit time or offset calls in objects built here | ${narrow_objects:-none} |"
  echo "| 32-bit forms linked in from the prebuilt C++ runtime | ${narrow_linked:-none} |"
  echo "| tests under qemu-arm | $tests |"
} > "$report"
echo
cat "$report"
if [ "$record" = yes ]; then cp "$report" docs/armhf.md; echo "(recorded in docs/armhf.md)"; fi

# The camera needs what the report says: 64-bit time everywhere, the frame
# the daemon reads, and a binary that fits.
[ -z "$narrow_objects" ] && [ "$time_size" = 8 ] && [ "$off_size" = 8 ] &&
  [ "$frame_size" = 1132 ] && [ "$size" -le "$size_limit" ] || {
  echo "cross-armhf: the build does not meet the camera's needs (above)" >&2; exit 1; }
exit $test_status
