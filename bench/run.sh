#!/usr/bin/env bash
# Benchmark: generated designs of about 10 thousand, 100 thousand and one
# million cells, and real circuits mapped to simple gates, timed stage by
# stage; with yosys installed, the ratio of yosys reading, flattening and
# writing the same design to vorp's whole run; with yosys-abc installed, the
# ratio of vorp's whole run to ABC merely reading the same netlist.
# bench/README.md explains every column.
#   bench/run.sh <build_dir>
# Environment: BENCH_SIZES (cell counts), BENCH_FLAT_SIZES (cell counts of
# designs made of one flat module; empty for none), BENCH_TIMEOUT (seconds per run on
# a generated design), BENCH_DIR (where designs go; default
# <build_dir>/bench-data), BENCH_CIRCUITS (circuits of bench/circuits/iwls05;
# empty for none), BENCH_CIRCUIT_TIMEOUT (seconds per run on a circuit),
# BENCH_RUNS (runs of vorp and of ABC per row, the median kept; default 3).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-build}
sizes=${BENCH_SIZES-"10000 100000 1000000"}
flat_sizes=${BENCH_FLAT_SIZES-"1000000"}
limit=${BENCH_TIMEOUT:-1800}
data=${BENCH_DIR:-$build/bench-data}
circuits=${BENCH_CIRCUITS-"des_perf RISC ethernet"}
circuit_limit=${BENCH_CIRCUIT_TIMEOUT:-300}
runs=${BENCH_RUNS:-3}
# The fixed mapping of a circuit to simple gates; a mapping made with
# another recipe or from another file is made again.
recipe="abc -g AND,OR,XOR; opt_clean"
mkdir -p "$data"

stages=$build/bench/vorp_stages
gen=$build/tools/gen_design
export_v=$build/tools/nld2verilog
to_nld=$build/tools/verilog2nld
have() { command -v "$1" > /dev/null; }
now() { date +%s.%N; }

# The median of the numbers on standard input, one per line.
median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

# Seconds that yosys takes to read, flatten and write the design of the
# words, or "-" without yosys, ">limit" when it does not finish, "failed"
# when the design cannot be exported.
yosys_seconds() {
  local dir=$1 limit=$2; shift 2
  have yosys || { echo -; return; }
  "$export_v" -o "$dir/design.v" -l "$dir/cells.v" "$@" 2> /dev/null || { echo failed; return; }
  local start; start=$(now)
  if timeout "$limit" yosys -q -p "read_verilog $dir/cells.v $dir/design.v; hierarchy -top $1;
      flatten; write_verilog -noattr $dir/flat.v" > /dev/null 2>&1; then
    echo "$(now) - $start" | bc -l
  else
    echo ">$limit"
  fi
}

# Seconds that ABC takes to read a Verilog netlist and print its size, or
# "-" without yosys-abc or without the netlist, ">limit" when it does not
# finish, "failed" when it cannot read it.
abc_seconds() {
  local netlist=$1 limit=$2
  { have yosys-abc && [ -f "$netlist" ]; } || { echo -; return; }
  local times=() start i
  for ((i = 0; i < runs; i++)); do
    start=$(now)
    if ! timeout "$limit" yosys-abc -c "read $netlist; print_stats" > "$netlist.abc-log" 2>&1; then
      echo ">$limit"
      return
    elif ! grep -q 'i/o =' "$netlist.abc-log"; then
      echo failed
      return
    fi
    times+=("$(echo "$(now) - $start" | bc -l)")
  done
  printf '%s\n' "${times[@]}" | median
}

# A flat netlist of a generated design that ABC reads, kept beside the
# design: processes made into registers, each tristate bus into a
# multiplexer, cells into simple gates, undefined values into 0.
abc_netlist_of_generated() {
  local dir=$1 top=$2
  { have yosys && have yosys-abc; } || return 0
  [ -f "$dir/abc.v" ] && return 0
  if timeout "$limit" yosys -q -p "read_verilog $dir/cells.v $dir/design.v; hierarchy -top $top;
      proc; flatten; tribuf -merge -logic; techmap; setundef -zero; opt_clean;
      write_verilog -noattr $dir/abc.v.tmp" > /dev/null 2>&1; then
    registers_on_wires < "$dir/abc.v.tmp" > "$dir/abc.v" && rm "$dir/abc.v.tmp"
  fi
}

# ABC reads a register only from a wire it has seen driven: a register that
# yosys loads with a constant loads instead from a wire of that value, made
# from the first input before the first statement.
registers_on_wires() {
  awk '/^  input / && !first { first = $2; sub(/;$/, "", first) }
    /^  (always|assign) / && !done {
      print "  wire abc_const0 ;"; print "  wire abc_const1 ;"
      print "  assign abc_const0 = " first " & ~" first ";"
      print "  assign abc_const1 = " first " | ~" first ";"
      done = 1
    }
    { sub(/<= 1\047h0;/, "<= abc_const0 ;"); sub(/<= 1\047h1;/, "<= abc_const1 ;"); print }'
}

# Maps circuit <name> to simple gates once: <dir>/<name>.v (gates as
# instances, for verilog2nld), <dir>/<name>.abc.v (the same gates as
# expressions, for ABC) and the NLD files in <dir>/nld. Returns 1 when the
# mapping or the conversion fails.
map_circuit() {
  local name=$1 dir=$2 aig=$here/circuits/iwls05/$1.aig
  local key; key="$recipe $(cksum < "$aig")"
  [ -f "$dir/.mapped" ] && [ "$(cat "$dir/.mapped")" = "$key" ] && return 0
  have yosys || return 1
  rm -rf "$dir" && mkdir -p "$dir/nld"
  yosys -q -p "read_aiger -module_name $name $aig; $recipe;
      write_verilog -noexpr -noattr $dir/$name.v; write_verilog -noattr $dir/$name.abc.v" \
      > "$dir/map.log" 2>&1 || return 1
  "$to_nld" -o "$dir/nld" "$dir/$name.v" 2> "$dir/convert.log" || return 1
  echo "$key" > "$dir/.mapped"
}

header() {
  printf '%-14s %8s %9s %6s %7s %7s %8s %7s %7s %8s %7s %7s %9s %7s %8s %8s %7s %8s\n' \
    design cells pins in_MB read_s flat_s reduce_s rewr_s write_s total_s peak_MB us/cell \
    read_MB/s wr_MB/s yosys_s yos/vorp abc_s vorp/abc
}

# row <label> <dir> <limit> <input bytes> <yosys seconds> <abc seconds> <vorp words...>:
# runs vorp_stages into <dir>/out $runs times and prints one table line, the
# figures of the run whose whole time is the median.
row() {
  local label=$1 dir=$2 limit=$3 in_bytes=$4 yosys_s=$5 abc_s=$6; shift 6
  local lines=() line code i
  for ((i = 0; i < runs; i++)); do
    rm -rf "$dir/out" && mkdir -p "$dir/out"
    code=0
    line=$(timeout "$limit" "$stages" "$@" -w "$dir/out") || code=$?
    if [ $code = 124 ]; then
      printf '%-14s did not finish within %ss\n' "$label" "$limit"
      return
    elif [ $code != 0 ]; then
      printf '%-14s vorp_stages failed (status %s)\n' "$label" "$code"
      return
    fi
    lines+=("$line")
  done
  line=$(printf '%s\n' "${lines[@]}" | sort -g -k 8,8 | sed -n "$(((runs + 1) / 2))p")
  local cells pins rd fl re rw wr tot peak status
  read -r cells pins rd fl re rw wr tot peak status <<< "$line"
  if [ "$status" != 0 ]; then
    printf '%-14s vorp ended with status %s\n' "$label" "$status"
    return
  fi
  local out_bytes; out_bytes=$(cat "$dir"/out/* 2> /dev/null | wc -c)
  awk -v label="$label" -v c="$cells" -v p="$pins" -v ib="$in_bytes" -v ob="$out_bytes" \
      -v rd="$rd" -v fl="$fl" -v re="$re" -v rw="$rw" -v wr="$wr" -v tot="$tot" \
      -v peak="$peak" -v ys="$yosys_s" -v as="$abc_s" '
    function seconds(s) { return s ~ /^[0-9.]+$/ ? sprintf("%.2f", s) : s }
    function ratio(a, b) { return a ~ /^[0-9.]+$/ && b ~ /^[0-9.]+$/ && b > 0 ? sprintf("%.1f", a / b) : "-" }
    BEGIN {
    printf "%-14s %8d %9d %6.2f %7.2f %7.2f %8.2f %7.2f %7.2f %8.2f %7.1f %7.2f %9.0f %7.0f %8s %8s %7s %8s\n",
      label, c, p, ib / 1e6, rd, fl, re, rw, wr, tot, peak / 1024, tot / c * 1e6,
      (rd > 0 ? ib / 1e6 / rd : 0), (wr > 0 ? ob / 1e6 / wr : 0),
      seconds(ys), ratio(ys, tot), seconds(as), ratio(tot, as) }'
}

# generated <size> <depth> <label>: depth 4 gives several hundred module
# copies a few levels deep, depth 1 one flat module; both with registers,
# clocks, constants, tristate buses and bidirect ports.
generated() {
  local size=$1 depth=$2 label=$3 dir=$data/d$1
  [ "$depth" = 4 ] || dir=$data/d$1-depth$depth
  if [ ! -f "$dir/.words" ]; then
    rm -rf "$dir" && mkdir -p "$dir/in"
    "$gen" --out "$dir/in" --seed 7 --cells "$size" --depth "$depth" --fanout 6 --types 3 \
      --profile full > "$dir/.words"
  fi
  local words; read -r -a words < "$dir/.words"
  local in_bytes; in_bytes=$(cat "$dir"/in/* | wc -c)
  local yosys_s; yosys_s=$(yosys_seconds "$dir" "$limit" "${words[@]}")
  abc_netlist_of_generated "$dir" "${words[0]}"
  local abc_s; abc_s=$(abc_seconds "$dir/abc.v" "$limit")
  row "$label" "$dir" "$limit" "$in_bytes" "$yosys_s" "$abc_s" "${words[@]}"
}

circuit() {
  local name=$1 dir=$build/bench-circuits/$1
  if ! map_circuit "$name" "$dir"; then
    printf '%-14s mapping failed (yosys and %s needed; see %s)\n' "$name" "$to_nld" "$dir"
    return
  fi
  local in_bytes; in_bytes=$(cat "$dir"/nld/* | wc -c)
  # A circuit is one flat module: yosys would only read and write it, taking
  # many times vorp's whole run, so ABC's reading is the yardstick here.
  local abc_s; abc_s=$(abc_seconds "$dir/$name.abc.v" "$circuit_limit")
  row "$name" "$dir" "$circuit_limit" "$in_bytes" - "$abc_s" "$name" "$dir/nld"
  row "$name -a" "$dir" "$circuit_limit" "$in_bytes" - "$abc_s" -a "$name" "$dir/nld"
}

header
for size in $sizes; do generated "$size" 4 "gen $size"; done
for size in $flat_sizes; do generated "$size" 1 "flat $size"; done
for name in $circuits; do circuit "$name"; done
