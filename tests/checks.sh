# The shell tests' checks, sourced: `check WHAT COMMAND...` counts a command that fails, `eventually COMMAND...`
# retries one for 5 s, `finish` ends the test with the verdict.
failures=0
check() { local what=$1; shift; if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi; }
eventually() { local n; for n in $(seq 50); do "$@" && return 0; sleep 0.1; done; "$@"; }
finish() { [ "$failures" -eq 0 ] && echo "all passed"; exit $((failures > 0)); }
