#!/usr/bin/env bash
# Cross-builds the responder for the camera (32-bit ARM, Debian's armhf) into
# build-armhf/ and runs the whole test suite through qemu-arm. Installs the
# cross toolchain and qemu first (Debian packages for this machine), and
# makes a sysroot of the armhf libraries, build-armhf-sysroot/: Debian's
# armhf packages downloaded by an apt of its own (its own package lists,
# cache and empty status, in build-armhf-apt/) and unpacked, never installed
# on this machine. So nothing of the machine's own packages is downgraded
# or held back: the script compares every installed package's version
# before and after, and fails if anything changed other than the packages
# it installed new (it refuses before installing when apt would change
# one). Safe to run again: what is there is left alone.
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

# Build-host tools, installed on this machine: Debian's cross compiler
# (its own copy of the armhf C library and C++ runtime, in packages of
# their own names: nothing armhf is installed) and qemu's user-mode
# emulator.
host_tools=(g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf qemu-user
            cmake pkg-config sqlite3)
# The target's libraries, unpacked into the sysroot with everything they
# depend on. GoogleTest is Debian's armhf build.
target_libs=(libc6-dev libstdc++6 libfcgi-dev libsqlite3-dev libxml2-dev nettle-dev
             uuid-dev libgtest-dev)
sysroot=$(pwd)/build-armhf-sysroot
apt_dir=$(pwd)/build-armhf-apt

is_installed() {
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
}

missing_of() {  # prints the packages of "$@" that are not installed
  local pkg
  for pkg in "$@"; do is_installed "$pkg" || echo "$pkg"; done
}

installed_packages() {  # every package of this machine: name, version, state
  dpkg-query -W -f='${binary:Package} ${Version} ${db:Status-Abbrev}\n' | sort
}

install_host_tools() {
  local missing changes
  missing=$(missing_of "${host_tools[@]}")
  [ -n "$missing" ] || return 0
  echo "cross-armhf: installing" $missing
  apt_get update -qq ||
    echo "cross-armhf: some package indexes failed to download; going on with the rest" >&2
  # Only new packages: apt's plan must upgrade, downgrade and remove nothing.
  # shellcheck disable=SC2086
  changes=$(apt_get -s install --no-install-recommends $missing |
            grep -E '^(Inst [^ ]+ \[|Remv )' || true)
  if [ -n "$changes" ]; then
    echo "cross-armhf: installing the tools would change this machine's packages:" >&2
    echo "$changes" >&2
    exit 1
  fi
  # shellcheck disable=SC2086
  apt_get install -y -qq --no-install-recommends $missing >/dev/null
}

# The armhf sysroot. The private apt sees the machine's sources and keys;
# everything it writes stays in $apt_dir. Its status is empty, so it
# downloads the whole dependency closure (Essential packages excepted),
# which is unpacked as is. A dpkg database of its own (status, file lists
# naming the sysroot's paths, shlibs and symbols files) lets
# dpkg-shlibdeps and the packaging script read the libraries' package
# versions.
make_sysroot() {
  local opts debs deb pkg name tmp link target admin=$sysroot/var/lib/dpkg
  opts=(-o Dir::State="$apt_dir/state" -o Dir::State::status="$apt_dir/state/status"
        -o Dir::Cache="$apt_dir/cache" -o APT::Architecture=armhf -o APT::Architectures=armhf
        -o pkgCacheGen::Essential=none -o Debug::NoLocking=true -o APT::Sandbox::User=root
        -o Acquire::Languages=none -o DPkg::Lock::Timeout=600)
  mkdir -p "$apt_dir/state/lists/partial" "$apt_dir/cache/archives/partial"
  touch "$apt_dir/state/status"
  local try
  for try in 1 2 3; do
    apt-get "${opts[@]}" update -qq 2>"$apt_dir/update.log" && break
    echo "cross-armhf: armhf package lists incomplete (try $try of 3):" \
         "$(grep -m1 '^E: ' "$apt_dir/update.log" || true)" >&2
    sleep 5
  done
  apt-get "${opts[@]}" install -y -qq --download-only --no-install-recommends \
    "${target_libs[@]}" >/dev/null
  debs=$(find "$apt_dir/cache/archives" -maxdepth 1 -name '*.deb' | LC_ALL=C sort)
  # Remade only when the set of packages changed.
  if [ -f "$sysroot/.debs" ] && [ "$(cat "$sysroot/.debs")" = "$(xargs -n1 basename <<<"$debs")" ]; then
    return 0
  fi
  echo "cross-armhf: unpacking $(wc -l <<<"$debs") armhf packages into $sysroot"
  rm -rf "$sysroot"
  mkdir -p "$admin/info" "$admin/updates"
  echo armhf > "$admin/arch"
  echo 1 > "$admin/info/format"  # file lists named PACKAGE:armhf for Multi-Arch: same only
  : > "$admin/available"
  tmp=$(mktemp -d)
  for deb in $debs; do
    dpkg-deb -x "$deb" "$sysroot"
    pkg=$(dpkg-deb -f "$deb" Package)
    name=$pkg
    [ "$(dpkg-deb -f "$deb" Multi-Arch)" != same ] || name=$pkg:armhf
    { dpkg-deb -f "$deb"; echo "Status: install ok installed"; echo; } >> "$admin/status"
    dpkg-deb --fsys-tarfile "$deb" | tar -t | sed "s|^\./|$sysroot/|; s|/\$||" > "$admin/info/$name.list"
    rm -rf "$tmp/control"
    dpkg-deb -e "$deb" "$tmp/control"
    for f in shlibs symbols; do
      [ ! -f "$tmp/control/$f" ] || cp "$tmp/control/$f" "$admin/info/$name.$f"
    done
  done
  rm -rf "$tmp"
  # Links to absolute paths (libc6-dev's, for one) point inside the sysroot.
  find "$sysroot" -type l -lname '/*' | while read -r link; do
    target=$(readlink "$link")
    ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$sysroot$target")" "$link"
  done
  xargs -n1 basename <<<"$debs" > "$sysroot/.debs"
}

install_cross_deps() {
  local before after changed
  before=$(installed_packages)
  install_host_tools
  make_sysroot
  after=$(installed_packages)
  # Lines of before missing from after: a package changed or went.
  changed=$(comm -23 <(echo "$before") <(echo "$after"))
  if [ -n "$changed" ]; then
    echo "cross-armhf: this machine's packages changed (before, as they were):" >&2
    echo "$changed" >&2
    exit 1
  fi

  # Debian's 2.4.2-2+deb12u1 carries the fix for CVE-2025-23016, a heap
  # overflow in parameter parsing that bites 32-bit targets like this one.
  local fcgi_version
  fcgi_version=$(dpkg-query --admindir="$sysroot/var/lib/dpkg" -W -f='${Version}' libfcgi-dev)
  if ! dpkg --compare-versions "$fcgi_version" ge 2.4.2-2+deb12u1; then
    echo "cross-armhf: libfcgi-dev (armhf) $fcgi_version lacks the fix for" \
         "CVE-2025-23016; 2.4.2-2+deb12u1 or later is needed" >&2
    exit 1
  fi
}

install_cross_deps
[ "$run_build" = yes ] || exit 0

echo "== configure and build $build_dir ($build_type, armhf)"
cmake -S . -B "$build_dir" -DCMAKE_TOOLCHAIN_FILE="$(pwd)/cmake/armhf-toolchain.cmake" \
      -DPSIA_ARMHF_SYSROOT="$sysroot" \
      -DCMAKE_BUILD_TYPE="$build_type" >/dev/null
cmake --build "$build_dir" -j2

# The figures that matter on the camera, printed and kept in
# $build_dir/armhf-report.md (docs/armhf.md with --record).
report=$build_dir/armhf-report.md
libc=$sysroot/lib/arm-linux-gnueabihf/libc.so.6
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
# Only the C library's: other libraries' names may hold a 64 of their own
# (sqlite3_bind_int64).
wide_calls=$(sed 's/@.*//' <<<"$responder_calls" | grep -E '64' | grep -xF -f <(echo "$libc_symbols") |
             sort -u | xargs)

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
arm-linux-gnueabihf-g++ --sysroot="$sysroot" -std=c++17 $defines -Isrc -o "$build_dir/abi-probe" \
  "$build_dir/abi-probe.cc"
read -r time_size off_size long_size frame_size < <(qemu-arm -L "$sysroot" "$build_dir/abi-probe")

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
# Figures of record come only from a build whose whole test run finished.
if [ "$record" = yes ]; then
  if [ "$run_tests" = yes ] && [ "$tests" != "ctest did not finish" ]; then
    cp "$report" docs/armhf.md; echo "(recorded in docs/armhf.md)"
  else
    echo "cross-armhf: not recorded: the test run did not finish" >&2; test_status=1
  fi
fi

# The camera needs what the report says: 64-bit time everywhere, the frame
# the daemon reads, and a binary that fits.
[ -z "$narrow_objects" ] && [ "$time_size" = 8 ] && [ "$off_size" = 8 ] &&
  [ "$frame_size" = 1132 ] && [ "$size" -le "$size_limit" ] || {
  echo "cross-armhf: the build does not meet the camera's needs (above)" >&2; exit 1; }
exit $test_status
