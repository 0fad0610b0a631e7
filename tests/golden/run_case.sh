#!/bin/sh
# Runs one golden case: copies the case folder into a fresh directory, runs
# vorp there with the words of its `args` file (one word per line), and
# compares the standard error text, the exit status and every byte of every
# file in the write directory `out` with `expected/`.
#
#   run_case.sh <vorp binary> <case folder>
#
# With VORP_GOLDEN_UPDATE=1 the expected files are rewritten from the run
# instead (review every change by hand before committing it). An optional
# executable `setup` in the case folder runs in the fresh directory first.
# An optional file `compare` names further directories of the case (one per
# line) whose contents after the run must equal `expected/<directory>`.
# VORP_WRAP, when set, names a program that runs vorp: it is given the vorp
# binary and the words.
set -u
vorp=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
case_dir=$(cd "$2" && pwd) || exit 2
work=$(mktemp -d) || exit 2
trap 'chmod -R u+w "$work" 2>/dev/null; rm -rf "$work"' EXIT
cp -R "$case_dir/." "$work/"
rm -rf "$work/expected"
cd "$work" || exit 2
mkdir -p out
[ -f setup ] && { sh ./setup || { echo "setup failed"; exit 2; }; }

# Word list: one per line; an empty args file means no words.
set --
if [ -s args ]; then
  while IFS= read -r word || [ -n "$word" ]; do set -- "$@" "$word"; done < args
fi
if [ -n "${VORP_WRAP:-}" ]; then
  sh "$VORP_WRAP" "$vorp" "$@" 2> stderr.txt
else
  "$vorp" "$@" 2> stderr.txt
fi
status=$?
# An optional sed script `stderr.sed` masks what changes from run to run
# (the record addresses of a net dump) before the comparison.
if [ -f stderr.sed ]; then
  sed -f stderr.sed stderr.txt > stderr.masked && mv stderr.masked stderr.txt
fi
chmod -R u+w out 2>/dev/null

expected="$case_dir/expected"
if [ "${VORP_GOLDEN_UPDATE:-0}" = 1 ]; then
  rm -rf "$expected" && mkdir -p "$expected"
  cp stderr.txt "$expected/stderr"
  echo "$status" > "$expected/status"
  if [ -d out ] && [ -n "$(ls -A out)" ]; then cp -R out "$expected/out"; fi
  if [ -f compare ]; then
    while IFS= read -r dir; do cp -R "$dir" "$expected/$dir"; done < compare
  fi
  echo "updated $case_dir"
  exit 0
fi

fail=0
if ! cmp -s stderr.txt "$expected/stderr"; then
  echo "standard error differs:"; diff "$expected/stderr" stderr.txt | head -40; fail=1
fi
if [ "$status" != "$(cat "$expected/status")" ]; then
  echo "exit status $status, expected $(cat "$expected/status")"; fail=1
fi
if [ -d "$expected/out" ]; then
  if ! diff -r "$expected/out" out > diff.txt 2>&1; then
    echo "written files differ:"; head -40 diff.txt; fail=1
  fi
elif [ -d out ] && [ -n "$(ls -A out)" ]; then
  echo "files written where none were expected:"; ls -A out; fail=1
fi
if [ -f compare ]; then
  while IFS= read -r dir; do
    if ! diff -r "$expected/$dir" "$dir" > diff.txt 2>&1; then
      echo "files in $dir differ:"; head -40 diff.txt; fail=1
    fi
  done < compare
fi
exit $fail
