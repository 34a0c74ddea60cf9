#!/usr/bin/env bash
# Builds the responder twice (a normal build in build/ and an
# AddressSanitizer + UndefinedBehaviorSanitizer build in build-asan/) and
# runs the whole test suite against each. Installs what it needs first.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh build test

jobs=$(nproc 2>/dev/null || echo 2)
status=0

# The code keeps the layout .clang-format gives it (Debian 12's
# clang-format 14): a file that drifts fails the run.
echo "== clang-format"
git ls-files 'src/*.cc' 'src/*.h' 'tests/*.cc' 'tests/*.h' 'tools/*.cc' 'tools/*.h' \
  'fuzz/*.cc' 'fuzz/*.h' | xargs clang-format --dry-run -Werror || status=1

run_suite() {
  local dir=$1; shift
  echo "== configure and build $dir ($*)"
  cmake -S . -B "$dir" "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  echo "== test $dir"
  (cd "$dir" && ctest --output-on-failure -j"$jobs") || status=1
}

run_suite build -DCMAKE_BUILD_TYPE=RelWithDebInfo
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  run_suite build-asan -DCMAKE_BUILD_TYPE=Debug -DPSIA_SANITIZE=ON

# The source tree as Buildroot configures, builds and stages it, and the
# installed init script under BusyBox sh in both of its modes.
echo "== Buildroot build and init script"
scripts/check-install.sh --buildroot || status=1
rc=0; tests/init_script_test.sh build || rc=$?
[ $rc = 0 ] || [ $rc = 77 ] || status=1

# A short run of every fuzz target from its seed corpus: any finding fails.
echo "== fuzz smoke"
scripts/fuzz.sh 5 || status=1

exit $status
