#!/usr/bin/env bash
# Cross-builds the responder for the camera (32-bit ARM, Debian's armhf) into
# build-armhf/ and runs the whole test suite through qemu-arm. Installs the
# cross toolchain, qemu and the armhf libraries first (Debian packages,
# multiarch). Safe to run again: what is installed is left alone.
#
# Usage: scripts/cross-armhf.sh [--install-only] [--no-test] [--build-dir DIR]
#                               [--build-type TYPE]
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=build-armhf
build_type=MinSizeRel
run_build=yes
run_tests=yes
while [ $# -gt 0 ]; do
  case "$1" in
    --install-only) run_build=no; run_tests=no; shift ;;
    --no-test) run_tests=no; shift ;;
    --build-dir) build_dir=$2; shift 2 ;;
    --build-type) build_type=$2; shift 2 ;;
    *) echo "usage: $0 [--install-only] [--no-test] [--build-dir DIR]" \
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

# The figures that matter on the camera: the size of the stripped binary
# and the library versions its target firmware must provide.
stripped=$build_dir/psia-responder.stripped
arm-linux-gnueabihf-strip -o "$stripped" "$build_dir/psia-responder"
echo "== psia-responder for armhf: $(stat -c %s "$stripped") bytes stripped"
echo "   needs: $(arm-linux-gnueabihf-objdump -p "$stripped" |
                  awk '/NEEDED/ {printf "%s ", $2}')"
echo "   symbol versions: $(arm-linux-gnueabihf-objdump -T "$stripped" |
                  grep -o '\(GLIBC\|GLIBCXX\|CXXABI\|GCC\)_[A-Z0-9_.]*' | sort -u -V |
                  tr '\n' ' ')"

[ "$run_tests" = yes ] || exit 0
echo "== test $build_dir (through qemu-arm)"
cd "$build_dir" && ctest --output-on-failure -j2
