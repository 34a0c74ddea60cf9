#!/usr/bin/env bash
# Builds the psia-responder .deb packages: amd64 always, armhf (the camera's
# architecture) when the cross toolchain and the armhf libraries are
# installed (scripts/cross-armhf.sh --install-only installs them). Release
# builds with prefix /usr and configuration in /etc; the packages land in
# build-package-ARCH/.
#
# Usage: scripts/package.sh
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh build

package() {  # package ARCH [CMAKE-ARGS...]
  local arch=$1; shift
  local dir=build-package-$arch
  echo "== $arch package in $dir"
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=MinSizeRel -DBUILD_TESTING=OFF \
        -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_SYSCONFDIR=/etc "$@" >/dev/null
  cmake --build "$dir" -j2 --target psia-responder >/dev/null
  (cd "$dir" && cpack -G DEB >/dev/null)
  local deb
  for deb in "$dir"/psia-responder_*_"$arch".deb; do
    echo "   $deb"
    dpkg-deb --field "$deb" Package Version Architecture Depends | sed 's/^/     /'
    dpkg-deb --contents "$deb" | awk '$1 !~ /^d/ {print "     " $6}'
  done
}

package "$(dpkg --print-architecture)"

if command -v arm-linux-gnueabihf-g++ >/dev/null &&
   dpkg-query -W -f='${Status}' libfcgi-dev:armhf 2>/dev/null | grep -q 'install ok installed'; then
  package armhf -DCMAKE_TOOLCHAIN_FILE="$(pwd)/cmake/armhf-toolchain.cmake"
else
  echo "== armhf package skipped: no cross toolchain (scripts/cross-armhf.sh --install-only)"
fi
