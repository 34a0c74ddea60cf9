#!/usr/bin/env bash
# Installs what the responder needs to build, test and run its demo, from
# Debian's own packages, and checks that libfcgi carries the fix for
# CVE-2025-23016 (a heap overflow in parameter parsing on 32-bit targets).
# Usage: scripts/install-deps.sh [build|test|demo|bench|package|coverage|mutate]...
set -euo pipefail

# nettle-dev: MD5, SHA-256 and HMAC for Digest logins.
want=(build-essential cmake pkg-config libfcgi-dev libsqlite3-dev libxml2-dev
      uuid-dev nettle-dev sqlite3)
for role in "$@"; do
  case "$role" in
    build) ;;
    # busybox, spawn-fcgi, cgi-fcgi (libfcgi-bin) and python3 (a raw
    # FastCGI record) drive the init script test; systemd brings
    # systemd-analyze for the units; llvm brings llvm-profdata and llvm-cov
    # for the fuzz targets' coverage; clang-format keeps the code's layout;
    # python3-requests, lighttpd-mod-openssl and openssl: Digest clients
    # end to end, over TLS too.
    test) want+=(libgtest-dev clang libclang-rt-14-dev llvm lighttpd curl tzdata
                 busybox spawn-fcgi libfcgi-bin python3 systemd clang-format
                 python3-requests lighttpd-mod-openssl openssl) ;;
    demo) want+=(lighttpd curl tzdata lighttpd-mod-openssl openssl) ;;
    package) want+=(dpkg-dev binutils lintian systemd) ;;  # systemd-analyze: the unit's sandbox
    coverage) want+=(gcovr bc) ;;
    # ccache turns the rebuild of each restored file between faults into a
    # cache hit.
    mutate) want+=(python3 ccache) ;;
    bench) want+=(lighttpd curl tzdata wrk valgrind) ;;
    *) echo "install-deps: unknown role '$role'" >&2; exit 2 ;;
  esac
done

missing=()
for pkg in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' ||
    missing+=("$pkg")
done

if [ "${#missing[@]}" -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  # A mirror caught mid-sync (seen with the armhf security index) fails
  # the update; the indexes that did arrive are enough to install from.
  "${sudo_cmd[@]}" apt-get update -qq ||
    echo "install-deps: some package indexes failed to download; going on with the rest" >&2
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq \
    --no-install-recommends "${missing[@]}" >/dev/null
fi

# libfcgi: Debian's 2.4.2-2+deb12u1 carries the fix; upstream fixed it in 2.4.5.
fcgi_version=$(dpkg-query -W -f='${Version}' libfcgi-dev)
if ! dpkg --compare-versions "$fcgi_version" ge 2.4.2-2+deb12u1; then
  echo "install-deps: libfcgi-dev $fcgi_version lacks the fix for CVE-2025-23016;" \
       "upgrade to 2.4.2-2+deb12u1 or later" >&2
  exit 1
fi
