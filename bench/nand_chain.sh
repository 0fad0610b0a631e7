#!/usr/bin/env bash
# Benchmark: a chain of two-input nand gates with an inverter after every
# other gate, whose second inputs all hang on one shared input net (a net of
# fan-out N, N a multiple of 100). Prints, per size, the gates and the
# seconds of each stage.
#   bench/nand_chain.sh <build_dir>
# Environment: CHAIN_SIZES (gate counts), BENCH_DIR (default <build_dir>/bench-data).
set -euo pipefail
build=${1:-build}
sizes=${CHAIN_SIZES:-"10000 100000 1000000"}
data=${BENCH_DIR:-$build/bench-data}
stages=$build/bench/vorp_stages

printf '%-9s %7s %7s %8s %7s %7s %7s\n' gates read_s flat_s reduce_s rewr_s write_s total_s
for size in $sizes; do
  dir=$data/chain$size
  if [ ! -f "$dir/in/chain.nld" ]; then
    rm -rf "$dir" && mkdir -p "$dir/in"
    # Segments of a hundred gates, so that folding the inverters stays
    # local to small modules; flattening joins them into one chain.
    awk -v n=100 'BEGIN {
      print "(def-module seg"
      print " (def-pin a type input) (def-pin x type input) (def-pin y type output)"
      for (k = 0; k < n; ++k) print " (def-comp nand--2 g" k ")"
      for (k = 0; k < n; k += 2) print " (def-comp inv- i" k ")"
      prev = "a"
      for (k = 0; k < n; ++k) {
        print " (def-net " prev " g" k ".a)"
        if (k % 2 == 0) { print " (def-net g" k ".nout i" k ".in)"; prev = "i" k ".nout" }
        else prev = "g" k ".nout"
      }
      print " (def-net " prev " y)"
      printf " (def-net x"
      for (k = 0; k < n; ++k) printf " g%d.b", k
      print "))"
    }' > "$dir/in/seg.nld"
    awk -v n="$((size / 100))" 'BEGIN {
      print "(def-module chain"
      print " (def-pin a type input) (def-pin x type input) (def-pin y type output)"
      for (k = 0; k < n; ++k) print " (def-comp seg s" k ")"
      prev = "a"
      for (k = 0; k < n; ++k) { print " (def-net " prev " s" k ".a)"; prev = "s" k ".y" }
      print " (def-net " prev " y)"
      printf " (def-net x"
      for (k = 0; k < n; ++k) printf " s%d.x", k
      print "))"
    }' > "$dir/in/chain.nld"
  fi
  rm -rf "$dir/out" && mkdir -p "$dir/out"
  read -r _ _ rd fl re rw wr tot _ _ <<< "$("$stages" chain "$dir/in" -w "$dir/out")"
  printf '%-9d %7.2f %7.2f %8.2f %7.2f %7.2f %7.2f\n' "$size" "$rd" "$fl" "$re" "$rw" "$wr" "$tot"
done
