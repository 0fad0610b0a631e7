#!/usr/bin/env bash
# Round trip NLD -> Verilog -> NLD: nld2verilog exports a design, verilog2nld
# reads the export back into NLD files, vorp must load them (status 0), and
# exporting them again must give the first export byte for byte.
#
#   round_trip.sh <build_dir> <source_dir> [generated_count]
#
# Runs on the input of every golden case that vorp loads, on examples/, and
# on generated designs of every generator profile.
set -u
build=$(cd "$1" && pwd); src=$(cd "$2" && pwd); count=${3:-12}
n2v="$build/tools/nld2verilog"; v2n="$build/tools/verilog2nld"; vorp="$build/vorp"
work=$(mktemp -d); trap 'chmod -R u+w "$work" 2>/dev/null; rm -rf "$work"' EXIT
runs=0; fails=0

# round_trip <label> <dir to run in> <top> <read dirs...> [-r <ref dirs...>]
round_trip() {
  local label=$1 here=$2; shift 2
  local t="$work/rt"; rm -rf "$t"; mkdir -p "$t/nld" "$t/out"
  runs=$((runs + 1))
  if ! (cd "$here" && "$n2v" -o "$t/first.v" "$@") 2> "$t/err"; then
    echo "$label: first export failed: $(head -3 "$t/err")"; fails=$((fails + 1)); return
  fi
  if ! "$v2n" -o "$t/nld" "$t/first.v" 2> "$t/err"; then
    echo "$label: verilog2nld failed: $(cat "$t/err")"; fails=$((fails + 1)); return
  fi
  if ! "$vorp" "$1" "$t/nld" -w "$t/out" 2> "$t/err"; then
    echo "$label: vorp does not load the converted design"; tail -3 "$t/err"; fails=$((fails + 1)); return
  fi
  if ! grep -q '^Number of inverters$' "$t/err"; then
    echo "$label: vorp run incomplete"; tail -3 "$t/err"; fails=$((fails + 1)); return
  fi
  "$n2v" -o "$t/second.v" "$1" "$t/nld" 2> "$t/err" || { echo "$label: second export failed"; fails=$((fails + 1)); return; }
  if ! cmp -s "$t/first.v" "$t/second.v"; then
    echo "$label: exports differ"; diff "$t/first.v" "$t/second.v" | head -10; fails=$((fails + 1)); return
  fi
}

# Golden cases whose design loads: the words of `args` without options and -w.
for case_dir in "$src"/tests/golden/*/; do
  [ -f "$case_dir/args" ] || continue
  grep -q "^Start inverter reduction$\|^There are 0 inverters$" "$case_dir/expected/stderr" || continue
  # A module named with "/" names no NLD file: it cannot come back as one.
  grep -rqs '(def-module[[:space:]]*[^[:space:]()]*/' "$case_dir" && continue
  name=$(basename "$case_dir")
  rm -rf "$work/case"; cp -R "$case_dir" "$work/case"
  [ -f "$work/case/setup" ] && (cd "$work/case" && sh ./setup)
  words=(); skip_next=0
  while IFS= read -r w || [ -n "$w" ]; do
    if [ $skip_next = 1 ]; then skip_next=0; continue; fi
    case "$w" in -a|-f) ;; -w) skip_next=1 ;; *) words+=("$w") ;; esac
  done < "$case_dir/args"
  round_trip "golden $name" "$work/case" "${words[@]}"
done

round_trip "examples" "$src" $(cat "$src/examples/args")

for profile in safe full tri+power+scan all; do
  for ((seed = 1; seed <= count; seed++)); do
    rm -rf "$work/gen"
    words=$(cd "$work" && "$build/tools/gen_design" --out gen --seed "$seed" --cells $((40 + seed * 23)) \
        --depth $((1 + seed % 3)) --profile "$profile") || { echo "generator failed"; fails=$((fails + 1)); continue; }
    # shellcheck disable=SC2086
    round_trip "generated $profile seed $seed" "$work" $words
  done
done

echo "$runs round trips, $fails failed"
[ $fails -eq 0 ]
