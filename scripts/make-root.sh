#!/usr/bin/env bash
# Makes a camera root for the responder's PSIA_ROOT: the configuration
# database and its factory-default copy (demo/schema.sql + demo/seed.sql,
# then any extra SQL files given), the download directory, the factory
# flash block with a serial number at offset 256, the responder's run-time
# directory (/run/psia-responder: the state its workers share and the Digest
# nonce key), and the host files the responder reads (/proc/uptime,
# /proc/net/route, /etc/resolv.conf, the zoneinfo directory), linked to this
# machine's own.
#
# Usage: scripts/make-root.sh ROOT [extra.sql]...
set -euo pipefail

if [ $# -lt 1 ]; then
  echo "usage: $0 ROOT [extra.sql]..." >&2
  exit 2
fi
here=$(cd "$(dirname "$0")/.." && pwd)
root=$1; shift

mkdir -p "$root/usr/local/korvia/conf" \
         "$root/usr/local/httpd/htdocs/Web/updownload" \
         "$root/dev" "$root/proc/net" "$root/etc" "$root/usr/share"
install -d -m 0750 "$root/run/psia-responder"

db=$root/usr/local/korvia/kkorvia.db
factory=$root/usr/local/korvia/conf/default.db
rm -f "$db" "$factory"
cat "$here/demo/schema.sql" "$here/demo/seed.sql" | sqlite3 "$factory"
cp "$factory" "$db"
for extra in "$@"; do
  sqlite3 "$db" < "$extra"
done

# The factory flash block: 256 bytes of other factory data, then the
# serial number, zero-terminated, in a 32-byte field.
flash=$root/dev/mtdblock7
head -c 256 /dev/zero > "$flash"
printf 'KT3050-000123' >> "$flash"
head -c $((512 - 256 - 13)) /dev/zero >> "$flash"

ln -sfn /proc/uptime "$root/proc/uptime"
ln -sfn /proc/net/route "$root/proc/net/route"
ln -sfn /usr/share/zoneinfo "$root/usr/share/zoneinfo"
if [ -e /etc/resolv.conf ]; then
  cp /etc/resolv.conf "$root/etc/resolv.conf"
else
  printf 'nameserver 192.168.1.1\n' > "$root/etc/resolv.conf"
fi
