#!/usr/bin/env bash
# Benchmark: generated designs of about 10 thousand, 100 thousand and one
# million cells, timed stage by stage; with yosys installed, the ratio of
# vorp's whole run to yosys reading, flattening and writing the same design.
#   bench/run.sh <build_dir>
# Environment: BENCH_SIZES (cell counts), BENCH_TIMEOUT (seconds per run),
# BENCH_DIR (where designs go; default <build_dir>/bench-data).
set -euo pipefail
build=${1:-build}
sizes=${BENCH_SIZES:-"10000 100000 1000000"}
limit=${BENCH_TIMEOUT:-1800}
data=${BENCH_DIR:-$build/bench-data}
mkdir -p "$data"

stages=$build/bench/vorp_stages
gen=$build/tools/gen_design
export_v=$build/tools/nld2verilog

printf '%-9s %9s %9s %8s %7s %7s %7s %7s %7s %8s %8s %9s %7s %7s %7s\n' \
  cells pins in_MB read_s flat_s reduce_s rewr_s write_s total_s peak_MB us/cell \
  read_MB/s wr_MB/s yosys_s ratio
for size in $sizes; do
  dir=$data/d$size
  if [ ! -f "$dir/.words" ]; then
    rm -rf "$dir" && mkdir -p "$dir"
    # Several hundred module copies a few levels deep, registers, clocks,
    # constants, tristate buses and bidirect ports.
    "$gen" --out "$dir/in" --seed 7 --cells "$size" --depth 4 --fanout 6 --types 3 \
      --profile full > "$dir/.words"
  fi
  read -r -a words < "$dir/.words"
  rm -rf "$dir/out" && mkdir -p "$dir/out"
  in_bytes=$(cat "$dir"/in/* | wc -c)
  if ! line=$(timeout "$limit" "$stages" "${words[@]}" -w "$dir/out"); then
    printf '%-9s %s\n' "~$size" "did not finish within ${limit}s"
    continue
  fi
  read -r cells pins rd fl re rw wr tot peak status <<< "$line"
  out_bytes=$(cat "$dir"/out/* 2>/dev/null | wc -c)
  yosys_s=-; ratio=-
  if command -v yosys >/dev/null; then
    "$export_v" -o "$dir/design.v" -l "$dir/cells.v" "${words[@]}"
    start=$(date +%s.%N)
    if timeout "$limit" yosys -q -p "read_verilog $dir/cells.v $dir/design.v; hierarchy -top ${words[0]}; flatten; write_verilog -noattr $dir/flat.v" >/dev/null 2>&1; then
      yosys_s=$(echo "$(date +%s.%N) - $start" | bc -l)
      ratio=$(echo "$yosys_s / $tot" | bc -l)
    else
      yosys_s=">$limit"
    fi
  fi
  awk -v c="$cells" -v p="$pins" -v ib="$in_bytes" -v ob="$out_bytes" -v rd="$rd" -v fl="$fl" \
      -v re="$re" -v rw="$rw" -v wr="$wr" -v tot="$tot" -v peak="$peak" -v ys="$yosys_s" \
      -v ratio="$ratio" 'BEGIN {
    printf "%-9d %9d %8.2f %7.2f %7.2f %8.2f %7.2f %7.2f %7.2f %8.1f %8.2f %9.0f %7.0f %7s %7s\n",
      c, p, ib / 1e6, rd, fl, re, rw, wr, tot, peak / 1024, tot / c * 1e6,
      (rd > 0 ? ib / 1e6 / rd : 0), (wr > 0 ? ob / 1e6 / wr : 0),
      (ys == "-" ? "-" : sprintf("%.2f", ys)), (ratio == "-" ? "-" : sprintf("%.1f", ratio)) }'
done
