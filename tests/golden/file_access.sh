#!/bin/sh
# Runs every golden case under trace_files.sh and fails when a run touches a
# path outside the directories of its command line (or the case itself
# fails under the trace). First makes sure that the check catches a program
# that opens a file it was not given.
#
#   file_access.sh <vorp binary> <golden folder>
set -u
vorp=$1
golden=$(cd "$2" && pwd) || exit 2
here=$(cd "$(dirname "$0")" && pwd)
if ! command -v strace > /dev/null || ! strace -qq -o /dev/null true 2> /dev/null; then
  echo "strace cannot trace here: skipped"
  exit 77
fi
scratch=$(mktemp -d) || exit 2
trap 'rm -rf "$scratch"' EXIT

# The check itself: `cat top d` opens "top", which is a module name here and
# no directory, so it must be reported.
mkdir "$scratch/self" "$scratch/self/d"
echo text > "$scratch/self/top"
(cd "$scratch/self" && VORP_TRACE_REPORT=report sh "$here/trace_files.sh" cat top d > /dev/null 2>&1)
if ! grep -q '^outside [a-z0-9_]* top$' "$scratch/self/report"; then
  echo "the check missed a file outside the directories:"; cat "$scratch/self/report"; exit 1
fi

fail=0
cases=0
for case_dir in "$golden"/*/; do
  [ -f "$case_dir/args" ] || continue
  name=$(basename "$case_dir")
  cases=$((cases + 1))
  report="$scratch/$name.report"
  if ! VORP_WRAP="$here/trace_files.sh" VORP_TRACE_REPORT="$report" \
      sh "$here/run_case.sh" "$vorp" "$case_dir" > "$scratch/$name.out" 2>&1; then
    echo "$name: the case fails under the trace:"; head -20 "$scratch/$name.out"; fail=1
  fi
  if ! grep -Eq '^checked [1-9]' "$report" 2> /dev/null; then
    echo "$name: no path was checked"; fail=1
  fi
  if grep -q '^outside ' "$report"; then
    echo "$name: paths outside the run's directories:"; grep '^outside ' "$report"; fail=1
  fi
done
echo "$cases cases traced"
[ "$cases" -gt 0 ] || fail=1
exit $fail
