#!/usr/bin/env bash
# Replays the faults of tests/mutants.tsv against the test suite and prints
# the share it catches. Each fault is put into a scratch copy of the tree,
# which is built with the sanitizers (a byte written past a field, or a
# leak, is caught only there) and tested with ctest; a fault is caught when
# ctest fails. The working tree is never touched.
#
# Usage: scripts/mutate.sh [SCRATCH_DIR] [LINE_FILTER]
#   SCRATCH_DIR defaults to /tmp/psia-mutate; LINE_FILTER (a grep pattern)
#   picks some faults only.
set -euo pipefail
cd "$(dirname "$0")/.."
scratch=${1:-/tmp/psia-mutate}
filter=${2:-.}

scripts/install-deps.sh build test
rm -rf "$scratch"
mkdir -p "$scratch/tree"
git ls-files -co --exclude-standard | tar -cf - -T - | tar -xf - -C "$scratch/tree"
build=$scratch/build
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=halt_on_error=1
cmake -S "$scratch/tree" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DPSIA_SANITIZE=ON >/dev/null

suite() {  # builds and tests; 0 when everything passes
  cmake --build "$build" -j"$(nproc)" >"$scratch/build.log" 2>&1 || return 2
  (cd "$build" && timeout 600 ctest -j"$(nproc)" -E '^EndToEnd' >"$scratch/ctest.log" 2>&1)
}

suite || { echo "mutate: the suite fails without any fault (see $scratch)" >&2; exit 1; }

total=0 caught=0 stale=0 escaped=()
while IFS= read -r row; do
  # Split at the tabs without merging them: an empty replacement is a field.
  IFS=$'\x1f' read -r file original replacement what <<<"${row//$'\t'/$'\x1f'}"
  case "$file" in ''|'#'*) continue ;; esac
  line="$file: $what"
  grep -q -- "$filter" <<<"$line" || continue
  total=$((total + 1))
  cp "$scratch/tree/$file" "$scratch/pristine"
  if ! python3 - "$scratch/tree/$file" "$original" "$replacement" <<'PY'
import re, sys
path, original, replacement = sys.argv[1:]
# \n, \t and \\ stand for a line break, a tab and a backslash.
unescape = lambda t: re.sub(r'\\(.)', lambda m: {'n': '\n', 't': '\t'}.get(m.group(1), m.group(1)), t)
text = open(path).read()
original, replacement = unescape(original), unescape(replacement)
if text.count(original) != 1:
    sys.exit(f"mutate: the text to replace is not found exactly once in {path}")
open(path, 'w').write(text.replace(original, replacement))
PY
  then
    echo "STALE   $line (its text is no longer in the tree)"
    stale=$((stale + 1))
    continue
  fi
  if suite; then
    escaped+=("$line")
    echo "ESCAPED $line"
  else
    caught=$((caught + 1))
    echo "caught  $line"
  fi
  cp "$scratch/pristine" "$scratch/tree/$file"
done < tests/mutants.tsv

suite >/dev/null || true  # leave the scratch build clean
echo
total=$((total - stale))
echo "$(date -u +%Y-%m-%d) scripts/mutate.sh: $caught of $total faults caught ($((100 * caught / total))%)"
[ "$stale" -eq 0 ] || echo "  $stale faults name text the tree no longer has: update tests/mutants.tsv"
for line in "${escaped[@]}"; do echo "  escaped: $line"; done
