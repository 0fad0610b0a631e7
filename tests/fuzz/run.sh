#!/bin/sh
# Runs every fuzz target of a -DVORP_FUZZ=ON build for a bounded time each,
# starting from the committed seed corpus (copied, so the corpus in the tree
# stays as it is). Fails on any crash, leak, timeout or sanitizer report;
# the input that caused it is left in <build_dir>/fuzz-artifacts/<target>/.
#
#   tests/fuzz/run.sh <build_dir> <seconds per target>
set -u
if [ $# -ne 2 ]; then
  echo "usage: $0 <build_dir> <seconds per target>" >&2
  exit 2
fi
build=$(cd "$1" && pwd) || exit 2
seconds=$2
here=$(cd "$(dirname "$0")" && pwd)
status=0
for target in fuzz_reader fuzz_run fuzz_equal fuzz_verilog fuzz_liberty; do
  bin="$build/tests/fuzz/$target"
  if [ ! -x "$bin" ]; then
    echo "$target: not built in $build" >&2
    status=1
    continue
  fi
  work="$build/fuzz-corpus/$target"
  artifacts="$build/fuzz-artifacts/$target"
  mkdir -p "$work" "$artifacts"
  echo "== $target for ${seconds}s" >&2
  ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1} \
  UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1} \
    "$bin" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 -max_len=16384 \
      -print_final_stats=1 -artifact_prefix="$artifacts/" \
      "$work" "$here/corpus/$target" > "$build/fuzz-$target.log" 2>&1
  rc=$?
  tail -n 12 "$build/fuzz-$target.log" >&2
  if [ $rc -ne 0 ]; then
    echo "$target: FAILED (exit $rc); log $build/fuzz-$target.log, inputs in $artifacts" >&2
    status=1
  elif grep -q "ERROR: \|runtime error:" "$build/fuzz-$target.log"; then
    echo "$target: sanitizer report in $build/fuzz-$target.log" >&2
    status=1
  else
    echo "$target: no finding" >&2
  fi
done
exit $status
