#!/usr/bin/env bash
# The share of one-line faults the test suite catches, over a sample drawn
# at random from src/ rather than chosen by the people who wrote the tests.
#
# How: scripts/mutate.py lists the lines of code of every .cc and .h file of
# src/ (not blank, comment or preprocessor lines) and the faults each
# operator makes of a line: boundary (< <= > >= moved to the neighbouring
# one), condition (== and != swapped, && and || swapped, an if or while
# negated), constant (an integer literal one more or one less), arguments
# (two neighbouring arguments of a call swapped), statement (a statement
# line deleted; a returned value replaced by {} or true/false flipped), check
# (an `if (...) return/continue/break;` line deleted), status (a kStatus*
# name, or a bare 1..7 returned or passed to answer::status, replaced by
# another) and text (a character of a string or character literal changed).
# A seeded draw picks lines (so each file weighs its lines of code), then an
# operator that applies to the line, then one of its faults: the same seed
# on the same tree draws the same sample. Each fault is written into a
# scratch copy of the tree (never the working tree), built incrementally
# with the sanitizers (Debug, -DPSIA_SANITIZE=ON: a byte written past a
# field or a leak is caught only there) and tested with ctest -j2, stopping
# at the first failing test, less the end-to-end tests through lighttpd
# (which run too for a fault in src/frame/workers.cc or main.cc: only they
# reach the workers' parent and the FastCGI loop). A fault is caught when a test fails or ctest runs out of time; one that does
# not compile is skipped and counted.
# Faults no input can reveal are listed, with the reason, in
# tests/equivalent-mutants.tsv and left out of the score.
#
# Usage: scripts/mutate.sh [--seed S] [--sample N] [--list] [--timeout SECONDS]
#                          [--scratch DIR]
#        scripts/mutate.sh --tsv [--filter PATTERN]
#   --seed (default 1) and --sample (default 100) choose the sample; --list
#   prints it, with its spread over operators and directories, and runs
#   nothing. --timeout is what ctest may take with one fault (default 300 s).
#   --tsv replays the hand-written faults of tests/mutants.tsv instead (those
#   a one-line draw cannot make: several lines, a type, a table's order);
#   --filter picks some of them by "file: what". The scratch tree, build and
#   compiler cache live in --scratch (default /tmp/psia-mutate) and are kept
#   between runs.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build test mutate >/dev/null
exec python3 scripts/mutate.py "$@"
