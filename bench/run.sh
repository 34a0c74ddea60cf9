#!/usr/bin/env bash
# The responder's performance, in one command: throughput and latency
# through a real lighttpd (wrk), instructions per request (callgrind), memory
# and start-up time, with the references measured in the same run.
#
# Usage: bench/run.sh [SECONDS_PER_ENDPOINT]   (default 10)
# lighttpd, the responder and the simulator run pinned to core 0, the load
# generator to core 1. Prints a Markdown report (docs/performance.md keeps
# the figures of record).
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$(pwd)
export BENCH_SECONDS=${1:-10}

scripts/install-deps.sh build bench >/dev/null
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
cmake --build build-bench -j"$(nproc)" --target psia-responder psia-control-sim >/dev/null
# shellcheck disable=SC2046
cc -O2 -o build-bench/reference_fcgi bench/reference_fcgi.c $(pkg-config --cflags --libs fcgi sqlite3)
sed -e "s|@RUN@/reference_fcgi|$source_dir/build-bench/reference_fcgi|" \
  bench/references.conf.in > build-bench/references.conf
export PSIA_LIGHTTPD_EXTRA=$source_dir/build-bench/references.conf
export BENCH_BUILD=$source_dir/build-bench

echo "# Responder benchmark, $(date -u +%Y-%m-%d), $(nproc) cores, ${BENCH_SECONDS} s per endpoint"
echo
taskset -c 0 scripts/demo.sh --build-dir build-bench --port auto --run bench/throughput.sh
echo
export BENCH_CALLGRIND_OUT=$(mktemp -d /tmp/psia-callgrind-XXXXXX)
taskset -c 0 scripts/demo.sh --build-dir build-bench --port auto \
  --responder "$source_dir/bench/callgrind-responder.sh" --run bench/instructions.sh
rm -rf "$BENCH_CALLGRIND_OUT"
