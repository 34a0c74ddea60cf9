#!/bin/sh
# The responder under callgrind, as lighttpd's FastCGI process: counting
# starts switched off and is dumped on demand by bench/instructions.sh.
exec valgrind -q --tool=callgrind --callgrind-out-file="$BENCH_CALLGRIND_OUT/callgrind.%p" \
  "$BENCH_BUILD/psia-responder" "$@"
