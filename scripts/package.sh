#!/usr/bin/env bash
# Builds the psia-responder .deb packages for this machine's architecture
# and for armhf (the camera's; the cross toolchain is installed and the
# armhf sysroot made first, see scripts/cross-armhf.sh): psia-responder and
# psia-responder-dbgsym (the split debug symbols, under
# /usr/lib/debug/.build-id/), in build-package-ARCH/.
#
# Each architecture is built twice from scratch, in two directories, with
# SOURCE_DATE_EPOCH from the last commit: the two sets of packages must be
# identical. Depends comes from dpkg-shlibdeps, with the libfcgi floor that
# carries the CVE-2025-23016 fix and the library the responder opens at run
# time (libxml2). Ends with a summary: lintian's output for every package
# and the exposure score systemd-analyze security gives the service unit.
#
# Usage: scripts/package.sh [--host-only]
set -euo pipefail
cd "$(dirname "$0")/.."
src=$(pwd)

archs=("$(dpkg --print-architecture)")
[ "${1:-}" = --host-only ] || archs+=(armhf)
scripts/install-deps.sh build package
if [[ " ${archs[*]} " = *" armhf "* ]] && [ "${archs[0]}" != armhf ]; then
  scripts/cross-armhf.sh --install-only
fi

name=psia-responder
version=$(sed -n 's/^project(psia_responder VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)-1
maintainer="Korvia Camera Software <camera-software@korvia.example>"
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
commit=$(git log -1 --format=%h)
years=$(git log --reverse --format=%cd --date=format:%Y | sed -n '1p;$p' | uniq | paste -sd-)
fcgi_floor=2.4.2-2+deb12u1  # the first Debian build with the CVE-2025-23016 fix
umask 022

# build DIR [CMAKE-ARGS...]: a MinSizeRel build with debug information,
# staged in DIR/stage. Paths of the checkout and the build directory are
# mapped out of the binary, so any checkout builds the same bytes.
build() {
  local dir=$1; shift
  local map="-ffile-prefix-map=$src=. -ffile-prefix-map=$src/$dir=build"
  rm -rf "$dir"
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=MinSizeRel -DBUILD_TESTING=OFF \
        -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_SYSCONFDIR=/etc \
        -DPSIA_INIT_NAME=$name -DPSIA_SYSTEMD_UNITDIR=/lib/systemd/system \
        -DCMAKE_C_FLAGS="-g $map" -DCMAKE_CXX_FLAGS="-g $map" "$@" >/dev/null
  cmake --build "$dir" -j2 --target psia-responder >/dev/null
  DESTDIR=$src/$dir/stage cmake --install "$dir" >/dev/null
}

# Greatest of the versions on standard input (Debian ordering).
highest() {
  local v best=
  while read -r v; do
    if [ -z "$best" ] || dpkg --compare-versions "$v" gt "$best"; then best=$v; fi
  done
  echo "$best"
}

# depends BINARY ARCH: dpkg-shlibdeps' list with the libfcgi floor, plus
# each library the binary dlopen()s (a soname among its strings that is
# not NEEDED) at the version its symbols file gives the functions it looks
# up by name. A foreign architecture's libraries and their packages' files
# are read from the sysroot scripts/cross-armhf.sh makes (its own dpkg
# database), never from this machine's.
depends() {
  local bin=$1 arch=$2 work clauses needed so symbols pkg floor admin=/var/lib/dpkg shlibs_args=()
  if [ "$arch" != "$(dpkg --print-architecture)" ]; then
    local sysroot=$src/build-$arch-sysroot triplet
    triplet=$(dpkg-architecture -a"$arch" -qDEB_HOST_MULTIARCH 2>/dev/null)
    admin=$sysroot/var/lib/dpkg
    shlibs_args=(--admindir="$admin" -l"$sysroot/lib/$triplet" -l"$sysroot/usr/lib/$triplet")
  fi
  work=$(mktemp -d)
  mkdir "$work/debian"
  printf 'Source: %s\n\nPackage: %s\nArchitecture: any\n' $name $name > "$work/debian/control"
  clauses=$(cd "$work" && DEB_HOST_ARCH=$arch dpkg-shlibdeps "${shlibs_args[@]}" -O -e"$bin" 2>"$work/err" |
            sed -n 's/^shlibs:Depends=//p' | sed 's/, /\n/g') ||
    { cat "$work/err" >&2; rm -rf "$work"; return 1; }
  rm -rf "$work"
  floor=$( (sed -n 's/^libfcgi0ldbl (>= \(.*\))$/\1/p' <<<"$clauses"; echo "$fcgi_floor") | highest)
  clauses=$(grep -v '^libfcgi0ldbl' <<<"$clauses"; echo "libfcgi0ldbl (>= $floor)")
  needed=$(readelf -d "$bin")
  for so in $(strings -a "$bin" | grep -xE 'lib[A-Za-z0-9_+-]+\.so\.[0-9]+' | sort -u); do
    grep -q "NEEDED.*\[$so\]" <<<"$needed" && continue
    symbols=$(grep -l "^$so " "$admin"/info/*:"$arch".symbols | head -1)
    pkg=$(sed -n "1s/^[^ ]* \([^ ]*\) .*/\1/p" "$symbols")
    floor=$(strings -a "$bin" | sort -u |
            grep -xF -f <(sed -n 's/^ \([^@ ]*\)@.*/\1/p' "$symbols") |
            while read -r fn; do sed -n "s/^ $fn@[^ ]* \([^ ]*\).*/\1/p" "$symbols"; done | highest)
    clauses+=$'\n'"$pkg${floor:+ (>= $floor)}"
  done
  sort -u <<<"$clauses" | paste -sd, | sed 's/,/, /g'
}

# assemble ARCH DIR TOOL-PREFIX: the two packages from DIR/stage, into DIR.
assemble() {
  local arch=$1 dir=$2 tool=$3
  local root=$dir/deb/$name dbg=$dir/deb/$name-dbgsym
  rm -rf "$dir/deb" "$dir"/*.deb
  mkdir -p "$root/DEBIAN" "$dbg/DEBIAN" "$dbg/usr/share/doc"
  cp -a "$dir/stage/." "$root/"

  local bin=$root/usr/bin/psia-responder id debug
  id=$("${tool}readelf" -n "$bin" | sed -n 's/^ *Build ID: *//p')
  debug=$dbg/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug
  mkdir -p "$(dirname "$debug")"
  "${tool}objcopy" --only-keep-debug --compress-debug-sections "$bin" "$debug"
  "${tool}strip" --remove-section=.comment --remove-section=.note --strip-unneeded "$bin"
  "${tool}objcopy" --add-gnu-debuglink="$debug" "$bin"

  local doc=$root/usr/share/doc/$name
  mkdir -p "$doc"
  gzip -9n "$root"/usr/share/man/man8/psia-responder.8
  sed "s/@YEARS@/$years/" packaging/deb/copyright > "$doc/copyright"
  printf '%s (%s) bookworm; urgency=medium\n\n  * Built from commit %s.\n\n -- %s  %s\n' \
    $name "$version" "$commit" "$maintainer" "$(LC_ALL=C date -u -R -d "@$SOURCE_DATE_EPOCH")" |
    gzip -9n > "$doc/changelog.Debian.gz"
  ln -s $name "$dbg/usr/share/doc/$name-dbgsym"
  cp packaging/deb/postinst packaging/deb/prerm packaging/deb/postrm "$root/DEBIAN/"
  (cd "$root" && find etc -type f | sed 's|^|/|' | LC_ALL=C sort) > "$root/DEBIAN/conffiles"

  find "$dir/deb" -type d -exec chmod 755 {} +
  find "$dir/deb" -type f -exec chmod 644 {} +
  chmod 755 "$bin" "$root"/etc/init.d/* "$root"/DEBIAN/post* "$root"/DEBIAN/prerm

  local pkg deps
  deps=$(depends "$src/$bin" "$arch")
  for pkg in "$root" "$dbg"; do
    (cd "$pkg" && find . -path ./DEBIAN -prune -o -path ./etc -prune -o -type f -print |
       sed 's|^\./||' | LC_ALL=C sort | xargs -r md5sum) > "$pkg/DEBIAN/md5sums"
  done
  size() { (cd "$1" && find . -path ./DEBIAN -prune -o -type f -printf '%s\n' |
            awk '{ kb += int(($1 + 1023) / 1024) } END { print kb + 0 }'); }
  {
    echo "Package: $name"
    echo "Version: $version"
    echo "Architecture: $arch"
    echo "Maintainer: $maintainer"
    echo "Installed-Size: $(size "$root")"
    echo "Depends: $deps"
    echo "Recommends: lighttpd"
    echo "Suggests: spawn-fcgi"
    echo "Section: net"
    echo "Priority: optional"
    echo "Description: $(cat packaging/deb/description)"
  } > "$root/DEBIAN/control"
  {
    echo "Package: $name-dbgsym"
    echo "Source: $name"
    echo "Version: $version"
    echo "Auto-Built-Package: debug-symbols"
    echo "Architecture: $arch"
    echo "Maintainer: $maintainer"
    echo "Installed-Size: $(size "$dbg")"
    echo "Depends: $name (= $version)"
    echo "Section: debug"
    echo "Priority: optional"
    echo "Description: debug symbols for $name"
    echo "Build-Ids: $id"
  } > "$dbg/DEBIAN/control"

  find "$dir/deb" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  for pkg in "$root" "$dbg"; do
    dpkg-deb --root-owner-group -Zxz --build "$pkg" "$dir" >/dev/null
  done
}

# hardening BINARY TOOL-PREFIX: the protections the packaged binary carries
# (PIE, full RELRO, stack protector, fortified calls); fails without one.
hardening() {
  local bin=$1 tool=$2 found=() header dynamic symbols
  header=$("${tool}readelf" -hlW "$bin")
  dynamic=$("${tool}readelf" -dW "$bin")
  symbols=$("${tool}readelf" --dyn-syms -W "$bin")
  grep -q 'Type: *DYN' <<<"$header" && found+=(PIE)
  grep -q GNU_RELRO <<<"$header" && grep -q BIND_NOW <<<"$dynamic" && found+=("full RELRO")
  grep -q ' __stack_chk_fail' <<<"$symbols" && found+=("stack protector")
  grep -qE ' __[a-z0-9_]+_chk@' <<<"$symbols" && found+=("fortified calls")
  (IFS=,; echo "${found[*]}" | sed 's/,/, /g')
  [ "${#found[@]}" -eq 4 ]
}

# exposure UNIT: systemd-analyze's overall exposure level for the unit file,
# read offline ("not measured" and why, where it cannot run here).
exposure() {
  local out
  command -v systemd-analyze >/dev/null || { echo "not measured (no systemd-analyze here)"; return; }
  if out=$(systemd-analyze security --offline=true --no-pager "$1" 2>&1) &&
     grep -q 'Overall exposure level' <<<"$out"; then
    grep -m1 'Overall exposure level' <<<"$out" | sed 's/.*: *//; s/ *[^ -~]*$//'
  else
    echo "not measured (systemd-analyze security failed: $(tail -1 <<<"$out"))"
  fi
}

summary=()
status=0
for arch in "${archs[@]}"; do
  args=() tool=
  if [ "$arch" != "$(dpkg --print-architecture)" ]; then
    tool=$(dpkg-architecture -a"$arch" -qDEB_HOST_GNU_TYPE 2>/dev/null)-
    args=(-DCMAKE_TOOLCHAIN_FILE="$src/cmake/$arch-toolchain.cmake")
  fi
  for dir in build-package-$arch build-package-$arch-again; do
    echo "== $arch: build and package in $dir"
    build "$dir" "${args[@]}"
    assemble "$arch" "$dir" "$tool"
  done
  (cd build-package-$arch && sha256sum ./*.deb) > build-package-$arch/SHA256SUMS
  if (cd build-package-$arch-again && sha256sum -c --quiet ../build-package-$arch/SHA256SUMS); then
    reproducible="yes: two builds from scratch gave the same bytes"
  else
    reproducible="NO: the two builds differ (compare them with diffoscope)"
    status=1
  fi
  sandbox=$(exposure build-package-$arch/deb/$name/lib/systemd/system/$name.service)
  protection=$(hardening build-package-$arch/deb/$name/usr/bin/psia-responder "$tool") ||
    { protection="MISSING PIECES, has only: $protection"; status=1; }
  for deb in build-package-"$arch"/*.deb; do
    hardened=
    [[ $deb = *-dbgsym_* ]] ||
      hardened=$'\n'"  hardening: $protection"$'\n'"  systemd-analyze security, service unit: $sandbox"
    # (lintian's advice not to run it as root goes to its error stream)
    lint=$(lintian --tag-display-limit 0 "$deb" 2>"$deb.lintian-errors") ||
      { status=1; cat "$deb.lintian-errors"; }
    grep -q '^E: ' <<<"$lint" && status=1
    summary+=("$deb
  $(sha256sum "$deb" | cut -d' ' -f1)  $(stat -c %s "$deb") bytes
$(dpkg-deb --field "$deb" Depends | sed 's/^/  Depends: /')
  reproducible: $reproducible$hardened
  lintian: ${lint:-no errors, no warnings}")
  done
done

echo
echo "== summary (SOURCE_DATE_EPOCH=$SOURCE_DATE_EPOCH, commit $commit, $(lintian --version))"
for entry in "${summary[@]}"; do echo "$entry"; done
exit $status
