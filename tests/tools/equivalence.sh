#!/usr/bin/env bash
# Equivalence suite: every golden case that writes a reduced design, and
# generated designs over every generator profile and the options -a and -f,
# are reduced by vorp and proved equivalent to their input with yosys
# (tools/check-equivalence). A run that is not proved equivalent passes only
# when its design holds the pattern of a behaviour of docs/behaviours.md,
# whose name is printed, or when a tristate bus of the design may float (the
# proof lets a floating bus take any value); anything else fails the suite.
#
#   equivalence.sh <build_dir> [generated_count] [jobs] [first_seed]
#
# Defaults: 240 generated designs from seed 1, 2 jobs. A first seed other
# than 1 runs only generated designs. Needs yosys (status 77 without).
set -u
command -v yosys > /dev/null || { echo "yosys not installed: skipped"; exit 77; }
build=$(cd "$1" && pwd); count=${2:-240}; jobs=${3:-2}; first=${4:-1}
here=$(cd "$(dirname "$0")" && pwd); src=$(cd "$here/../.." && pwd)
export NLD2VERILOG="$build/tools/nld2verilog" VORP="$build/vorp" GEN="$build/tools/gen_design"
export CHECK="$src/tools/check-equivalence" PATTERNS="$here/behaviour_patterns.awk" SRC="$src"
work=$(mktemp -d); trap 'chmod -R u+w "$work" 2>/dev/null; rm -rf "$work"' EXIT
export WORK="$work"

# check_run <label> <vorp words...>, in the directory of the design: reduce,
# prove, and classify. Prints one line.
check_run() {
  local label=$1; shift
  local words=("$@") top="" flat=0 out="" mode=read reads=() refs=()
  for ((i = 0; i < ${#words[@]}; i++)); do
    case "${words[i]}" in
      -a) ;;
      -f) flat=1 ;;
      -r) mode=ref ;;
      -w) out=${words[i + 1]}; i=$((i + 1)) ;;
      *) if [ -z "$top" ]; then top=${words[i]}
         elif [ $mode = ref ]; then refs+=("${words[i]}"); else reads+=("${words[i]}"); fi ;;
    esac
  done
  rm -rf "$out" && mkdir -p "$out"
  if ! "$VORP" "${words[@]}" 2> vorp.err; then
    echo "$label: FAIL: vorp ended with status $?"; return
  fi
  if "$CHECK" "${words[@]}" > check.log 2>&1; then
    echo "$label: equivalent"; return
  fi
  # The behaviours whose patterns the design holds, most specific first.
  local found=""
  if grep -q -P '^\t\(def-comp\t\(null\)\tVSS\)$' "$out"/*.nld 2> /dev/null; then
    found=vdd-without-vss
  elif [ $flat = 1 ] && grep -q '(null)\.' "$out"/*.nld 2> /dev/null; then
    found=flat-mode-inverter-in-copy
  else
    local files=() d
    for d in "${reads[@]}"; do [ -f "$d/$top.nld" ] && { files+=("$d/$top.nld"); break; }; done
    for d in "${reads[@]}" "${refs[@]}"; do
      for f in "$d"/*.nld; do [ -f "$f" ] && [ "$(basename "$f")" != "$top.nld" ] && files+=("$f"); done
    done
    found=$(awk -v flat=$flat -f "$PATTERNS" "${files[@]}" | tr '\n' ' ')
    found=${found% }
  fi
  local names=${found/floating-tristate-bus/}; names=${names/flat-mode-open-port/}
  names=$(echo $names)
  if [ -n "$names" ]; then
    echo "$label: not equivalent, behaviour ${names// /, }"
  elif [[ "$found" == *floating-tristate-bus* ]]; then
    echo "$label: not provable: a tristate bus that may float takes any value in the proof"
  elif [[ "$found" == *flat-mode-open-port* ]]; then
    # Flattening leaves the open port's node on the top net and the flat
    # writer prints it by name: the written top is not readable again.
    echo "$label: not provable, behaviour flat-mode-open-port: with -f, a sub-module port" \
         "left unconnected by its parent is written on a top net under its own name"
  else
    echo "$label: FAIL: not equivalent: $(tail -2 check.log | tr '\n' ' ')"
  fi
}
export -f check_run

# One case: "golden <name>" or "generated <seed>".
run_case() {
  local kind=$1 id=$2 dir="$WORK/$1-$2"
  rm -rf "$dir"
  if [ "$kind" = golden ]; then
    cp -R "$SRC/tests/golden/$id" "$dir" && cd "$dir" || return
    [ -f setup ] && sh ./setup
    local words=()
    while IFS= read -r w || [ -n "$w" ]; do words+=("$w"); done < args
    check_run "golden $id" "${words[@]}"
  else
    local s=$id
    local profiles=(safe full tri power scan pcd+ref all tri+pcd power+ref scan+pcd)
    local options=("" "-a" "-f" "-a -f")
    local profile=${profiles[(s / 4) % 10]} opt=${options[s % 4]} depth=$((1 + s % 3))
    # -f loses the clocks of sub-module registers (flat-mode-sub-module-clocks):
    # mostly flat designs.
    case "$opt" in *-f*) depth=$((s % 5 == 0 ? 2 : 1)) ;; esac
    local cells=$((40 + (s * 37) % 300)) fanout=$((1 + s % 3))
    mkdir -p "$dir" && cd "$dir" || return
    local design
    design=$("$GEN" --out gen --seed "$s" --cells $cells --depth $depth --fanout $fanout \
        --profile "$profile") || { echo "generated $s: FAIL: generator"; return; }
    # shellcheck disable=SC2086
    check_run "generated $s ($profile $opt, $cells cells, depth $depth)" $opt $design -w out
  fi
  cd "$WORK" && rm -rf "$dir"
}
export -f run_case

start=$(date +%s)
{
  for case_dir in "$src"/tests/golden/*/; do
    [ -f "$case_dir/args" ] && [ "$first" = 1 ] || continue
    grep -q "^Start to write NLD files$" "$case_dir/expected/stderr" || continue
    # A module named with "/" names no file: its reduced design is not written.
    grep -rqs '(def-module[[:space:]]*[^[:space:]()]*/' "$case_dir" && continue
    echo "golden $(basename "$case_dir")"
  done
  for ((s = first; s < first + count; s++)); do echo "generated $s"; done
} | xargs -P "$jobs" -L 1 bash -c 'run_case "$0" "$1"' > "$work/results"

sort -V "$work/results"
total=$(wc -l < "$work/results")
fails=$(grep -c ': FAIL' "$work/results")
named=$(grep -c 'not equivalent, behaviour' "$work/results")
floating=$(grep -c 'not provable: a tristate' "$work/results")
open_port=$(grep -c 'not provable, behaviour flat-mode-open-port' "$work/results")
echo "$total runs: $((total - fails - named - floating - open_port)) equivalent, $named not" \
     "equivalent by a named behaviour, $open_port unreadable (flat-mode-open-port)," \
     "$floating not provable (floating bus), $fails failed" \
     "($(($(date +%s) - start)) s)"
grep -oE 'behaviour [a-z, -]+[a-z]' "$work/results" | sort | uniq -c
[ "$fails" -eq 0 ]
