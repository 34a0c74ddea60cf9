#!/usr/bin/env bash
# Line coverage of src/ reached by the fuzz targets: builds them with clang's
# source-based coverage into build-fuzz-coverage/, runs every target over
# its seeds (fuzz/corpus/) and over what scripts/fuzz.sh grew
# (build-fuzz/corpus/, when there is one), optionally fuzzes each for a
# while more, merges the profiles and prints a Markdown report: the date
# and the command, executions per target, then src/ lines per directory
# and in all, and the files with the most lines left.
#
# Usage: scripts/fuzz-coverage.sh [SECONDS_PER_TARGET]   (default 0: corpora only)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-0}
command="scripts/fuzz-coverage.sh${*:+ $*}"
scripts/install-deps.sh build test >/dev/null

build=build-fuzz-coverage
flags="-fprofile-instr-generate -fcoverage-mapping"
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DPSIA_FUZZ=ON -DBUILD_TESTING=OFF -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS="-fprofile-instr-generate" >/dev/null
cmake --build "$build" -j"$(nproc 2>/dev/null || echo 2)" >/dev/null

profiles=$build/profiles
rm -rf "$profiles" "$build/grown"
mkdir -p "$profiles"

echo "# Fuzz coverage"
echo
echo "$(date -u '+%Y-%m-%d %H:%M UTC'), \`$command\` (clang $(clang -dumpversion))"
echo
echo "| Target | Inputs replayed | Executions |"
echo "|---|---:|---:|"
objects=()
for source in fuzz/fuzz_*.cc; do
  target=$(basename "$source" .cc)
  [ "$target" = fuzz_driver ] && continue
  binary=$build/fuzz/$target
  objects+=(-object "$binary")
  dirs=(fuzz/corpus/${target#fuzz_})
  [ -d "build-fuzz/corpus/$target" ] && dirs+=("build-fuzz/corpus/$target")
  inputs=$(find "${dirs[@]}" -type f | wc -l)
  # New inputs of a fuzzing run go to a scratch directory, never into the
  # corpora read.
  grown=$build/grown/$target
  mkdir -p "$grown"
  log=$build/$target.log
  if [ "$seconds" -gt 0 ]; then run=(-max_total_time="$seconds"); else run=(-runs=0); fi
  LLVM_PROFILE_FILE="$profiles/$target-%p.profraw" ASAN_OPTIONS=detect_leaks=0 \
    "$binary" "${run[@]}" -max_len=4096 -timeout=30 -rss_limit_mb=1024 \
    -print_final_stats=1 -dict=fuzz/psia.dict -artifact_prefix="$build/grown/" \
    "$grown" "${dirs[@]}" >"$log" 2>&1 || { echo "$target failed: see $log" >&2; exit 1; }
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  echo "| \`$target\` | $inputs | ${runs:-?} |"
done

llvm-profdata merge -sparse "$profiles"/*.profraw -o "$build/fuzz.profdata"
# Every target has its own LLVMFuzzerTestOneInput: llvm-cov warns that the
# name's records differ. They are fuzz/ code, outside the report.
report=$(llvm-cov report "${objects[1]}" "${objects[@]:2}" -instr-profile="$build/fuzz.profdata" \
         "$PWD/src" 2> >(grep -v 'functions have mismatched data' >&2))

# The per-file rows of llvm-cov's report: name, then regions, functions,
# lines and branches (count, missed, cover each; functions count executed).
echo
echo "Lines of src/ executed, by directory:"
echo
echo "| Directory | Lines | Missed | Cover |"
echo "|---|---:|---:|---:|"
# llvm-cov names the files relative to src/ (what the paths have in common).
echo "$report" | awk '
  $1 ~ /\.(cc|h)$/ {
    file = $1
    dir = file; sub(/\/[^\/]*$/, "", dir)
    lines[dir] += $8; missed[dir] += $9
    all += $8; all_missed += $9
    if (!(dir in seen)) { seen[dir] = 1; order[++n] = dir }
  }
  function pct(l, m) { return l > 0 ? sprintf("%.1f%%", 100 * (l - m) / l) : "-" }
  END {
    # Directories in name order.
    for (i = 1; i <= n; i++) for (j = i + 1; j <= n; j++)
      if (order[j] < order[i]) { t = order[i]; order[i] = order[j]; order[j] = t }
    for (i = 1; i <= n; i++)
      printf "| `src/%s/` | %d | %d | %s |\n", order[i], lines[order[i]], missed[order[i]],
             pct(lines[order[i]], missed[order[i]])
    printf "| **src/ in all** | %d | %d | **%s** |\n", all, all_missed, pct(all, all_missed)
  }'

echo
echo "Files with the most lines not executed:"
echo
echo "| File | Missed | Cover |"
echo "|---|---:|---:|"
echo "$report" | awk '$1 ~ /\.(cc|h)$/ && $9 > 0 { printf "%d | `src/%s` | %s\n", $9, $1, $10 }' |
  sort -t'|' -k1,1nr | head -12 | awk -F' [|] ' '{ printf "| %s | %s | %s |\n", $2, $1, $3 }'

# Files no target links are absent from llvm-cov's report.
missing=$(cd src && find . -name '*.cc' | sed 's|^\./||' | sort | while read -r file; do
  echo "$report" | awk -v f="$file" '$1 == f { found = 1 } END { exit !found }' || echo "$file"
done)
if [ -n "$missing" ]; then
  echo
  echo "Not linked into any fuzz target, so not counted:"
  echo
  for file in $missing; do echo "- \`src/$file\` ($(wc -l <"src/$file") lines)"; done
fi
