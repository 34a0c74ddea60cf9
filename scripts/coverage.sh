#!/usr/bin/env bash
# The test suite's own figures, printed as the Markdown the README quotes:
# how long ctest takes in the normal build (RelWithDebInfo, as the test
# command builds it), the line coverage of src/ by ctest (gcov
# instrumentation in build-cov/, summed by gcovr), and the size of tests/
# against src/ and tools/ (non-blank lines of the tracked sources).
#
# Usage: scripts/coverage.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build test coverage >/dev/null
jobs=$(nproc 2>/dev/null || echo 2)

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$jobs" >/dev/null
start=$(date +%s.%N)
(cd build && ctest -j"$jobs" >/dev/null) || { echo "coverage: ctest fails in build/" >&2; exit 1; }
seconds=$(echo "$(date +%s.%N) - $start" | bc)
tests=$(cd build && ctest -N | sed -n 's/^Total Tests: //p')

cmake -S . -B build-cov -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_FLAGS=--coverage \
  -DCMAKE_CXX_FLAGS=--coverage -DCMAKE_EXE_LINKER_FLAGS=--coverage >/dev/null
find build-cov -name "*.gcda" -delete 2>/dev/null || true  # from an earlier build
cmake --build build-cov -j"$jobs" >/dev/null 2>&1
find build-cov -name '*.gcda' -delete
(cd build-cov && ctest -j"$jobs" >/dev/null 2>&1) || { echo "coverage: ctest fails in build-cov/" >&2; exit 1; }
lines=$(gcovr -r . --filter 'src/' build-cov --print-summary 2>/dev/null |
        sed -n 's/^lines: *//p')

count() {  # non-blank lines of the tracked C, C++, Python and shell sources below $@
  git ls-files -- "$@" | grep -E '\.(c|cc|h|py|sh)$' | xargs cat | grep -cv '^\s*$'
}
test_lines=$(count tests)
code_lines=$(count src tools)

echo "Taken $(date -u +%Y-%m-%d) with \`scripts/coverage.sh\` on $jobs cores ($(uname -m))."
echo
echo "| Figure | Value |"
echo "|---|---|"
printf '| ctest, normal build (%s tests, -j%s) | %.1f s |\n' "$tests" "$jobs" "$seconds"
echo "| line coverage of src/ by ctest (gcovr) | $lines |"
echo "| tests/ against src/ and tools/ (non-blank lines) | $test_lines / $code_lines = $((100 * test_lines / code_lines)) % |"
