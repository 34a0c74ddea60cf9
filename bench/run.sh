#!/usr/bin/env bash
# The responder's performance, in one command: throughput and latency
# through a real lighttpd (wrk), instructions per request (callgrind),
# memory and start-up, with the references measured in the same run, and
# the targets each figure is held to.
#
# Usage: bench/run.sh [SECONDS_PER_ENDPOINT]   (default 10)
# lighttpd, the responder and the simulator run pinned to core 0, the load
# generator to core 1. Prints the Markdown report that docs/performance.md
# holds:  bench/run.sh 8 > docs/performance.md
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$(pwd)
export BENCH_SECONDS=${1:-10}

scripts/install-deps.sh build bench >/dev/null
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
cmake --build build-bench -j"$(nproc)" --target psia-responder psia-control-sim >/dev/null
# shellcheck disable=SC2046
cc -O2 -o build-bench/reference_fcgi bench/reference_fcgi.c $(pkg-config --cflags --libs fcgi sqlite3)
export PSIA_LIGHTTPD_EXTRA=$source_dir/bench/references.conf.in
export BENCH_BUILD=$source_dir/build-bench
export BENCH_RESULTS
BENCH_RESULTS=$(mktemp /tmp/psia-bench-XXXXXX)
export BENCH_CALLGRIND_OUT
BENCH_CALLGRIND_OUT=$(mktemp -d /tmp/psia-callgrind-XXXXXX)
trap 'rm -rf "$BENCH_RESULTS" "$BENCH_CALLGRIND_OUT"' EXIT

echo "# Performance"
echo
echo "Taken $(date -u +%Y-%m-%d) with \`bench/run.sh $BENCH_SECONDS\` on $(nproc) cores"
echo "($(uname -m), $(. /etc/os-release && echo "$PRETTY_NAME")), ${BENCH_SECONDS} s per measurement, the"
echo "responder built Release. Throughput and latency depend on the machine and"
echo "its load; instruction counts (callgrind) do not, and the ratios are"
echo "taken in one run."
echo
# The login guard is off but where its own cost is measured: the load
# comes from one address, and a wrong password would lock it out.
# One worker: these figures are one process's.
export PSIA_WORKERS=1
PSIA_LOGIN_ATTEMPTS=0 taskset -c 0 scripts/demo.sh --build-dir build-bench --port auto --run bench/throughput.sh
echo
PSIA_LOGIN_ATTEMPTS=0 taskset -c 0 scripts/demo.sh --build-dir build-bench --port auto \
  --responder "$source_dir/bench/callgrind-responder.sh" --run bench/instructions.sh
taskset -c 0 scripts/demo.sh --build-dir build-bench --port auto \
  --responder "$source_dir/bench/callgrind-responder.sh" --run bench/instructions.sh
PSIA_LOGIN_ATTEMPTS=0 PSIA_AUTH_SCHEMES=digest,basic taskset -c 0 scripts/demo.sh --build-dir build-bench \
  --port auto --responder "$source_dir/bench/callgrind-responder.sh" --run bench/instructions.sh
unset PSIA_WORKERS
echo
bench/workers-report.sh
echo
bench/bind-now.sh
echo
echo "## Targets"
echo
echo "| Figure | measured | target | |"
echo "|---|---|---|---|"
while IFS='|' read -r _ name value target; do
  met=$(awk -v v="$value" -v t="$target" 'BEGIN {
    split(t, p, " "); ok = (p[1] == "<=") ? v <= p[2] : v >= p[2]; print ok ? "met" : "MISSED" }')
  echo "| $name | $value | $target | $met |"
done < "$BENCH_RESULTS"
echo
cat bench/performance-notes.md
