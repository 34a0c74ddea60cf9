#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer) into build-fuzz/ and runs each for a while,
# starting from the seed corpora in fuzz/corpus/. Reports executions and
# findings per target; exits non-zero when anything was found.
#
# Usage: scripts/fuzz.sh [SECONDS_PER_TARGET]   (default 60)
# Findings land in build-fuzz/findings/<target>/; each one is a request to
# replay with build-fuzz/fuzz/<target> FILE and then to keep as a test.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
scripts/install-deps.sh build test >/dev/null

CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DPSIA_FUZZ=ON -DBUILD_TESTING=OFF >/dev/null
cmake --build build-fuzz -j"$(nproc 2>/dev/null || echo 2)" >/dev/null

found=0
echo "$(date -u '+%Y-%m-%d %H:%M UTC'), scripts/fuzz.sh $seconds (clang $(clang -dumpversion), $(nproc 2>/dev/null || echo '?') cores)"
printf '%-20s %12s %10s %9s\n' target executions corpus findings
for source in fuzz/fuzz_*.cc; do
  target=$(basename "$source" .cc)
  [ "$target" = fuzz_driver ] && continue
  seeds=fuzz/corpus/${target#fuzz_}
  work=build-fuzz/corpus/$target
  findings=build-fuzz/findings/$target
  mkdir -p "$work" "$findings"
  log=build-fuzz/$target.log
  ASAN_OPTIONS=detect_leaks=1 \
  "build-fuzz/fuzz/$target" -max_total_time="$seconds" -max_len=4096 \
    -timeout=30 -rss_limit_mb=1024 -print_final_stats=1 \
    -dict=fuzz/psia.dict -artifact_prefix="$findings/" \
    "$work" "$seeds" >"$log" 2>&1 || true
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  corpus=$(find "$work" -type f | wc -l)
  count=$(find "$findings" -type f | wc -l)
  printf '%-20s %12s %10s %9s\n' "$target" "${runs:-?}" "$corpus" "$count"
  if [ "$count" -gt 0 ]; then
    found=1
    grep -m3 -E 'ERROR|SUMMARY|runtime error' "$log" || true
  fi
done
exit $found
