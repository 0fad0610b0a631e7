#!/usr/bin/env bash
# Quality of results on the benchmark circuits: each circuit of
# bench/qor/circuits is mapped by yosys with a fixed recipe twice, onto
# yosys's gates (every kind NLD has) and onto the repository's standard-cell
# library (tools/lib/vorp_cells.lib), converted with verilog2nld, reduced by
# vorp without and with -a, and every result proved equivalent to the mapped
# netlist. Prints one table (circuit, mapping, cells, inverters before,
# after, after with -a, vorp's time and peak memory over both runs, proof),
# totals at the bottom; writes it as qor.md and a bar chart qor.svg into the
# output folder; fails when a count differs from bench/qor/expected.txt or a
# proof fails.
#
#   bench/qor/run.sh <build_dir> [out_dir]
#
# Environment: PROOF_TIMEOUT (seconds per proof, default 600).
set -u
here=$(cd "$(dirname "$0")" && pwd); src=$(cd "$here/../.." && pwd)
build=$(cd "${1:-$src/build}" && pwd); out=${2:-qor-out}
mkdir -p "$out" && out=$(cd "$out" && pwd)
command -v yosys > /dev/null || { echo "qor: yosys is needed" >&2; exit 2; }
lib="$src/tools/lib/vorp_cells.lib"; check="$src/tools/check-equivalence"
v2n="$build/tools/verilog2nld"; n2v="$build/tools/nld2verilog"; vorp="$build/vorp"
export NLD2VERILOG="$n2v"
proof_limit=${PROOF_TIMEOUT:-600}
gates=AND,NAND,OR,NOR,XOR,XNOR,AOI3,OAI3,AOI4,OAI4
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
rows="$out/qor.rows"; : > "$rows"
status=0

# map <name> <aig> <mapping> <out.v>: the fixed recipe.
map() {
  local target="abc -g $gates"
  [ "$3" = cells ] && target="dfflibmap -liberty $lib; abc -liberty $lib"
  yosys -q -p "read_aiger -module_name $1 $2; $target; opt_clean; write_verilog -noexpr -noattr $4"
}

# reduce <dir> <top> <option>: vorp's counts "before after", time and peak KB.
reduce() {
  rm -rf "$1/out$3" && mkdir -p "$1/out$3"
  # shellcheck disable=SC2086
  /usr/bin/time -f "%e %M" -o "$1/time$3" "$vorp" $3 "$2" "$1/nld" -w "$1/out$3" 2> "$1/vorp$3.err" ||
    return 1
  local counts; counts=$(tail -1 "$1/vorp$3.err" | tr -d '\t')
  echo "${counts% --->*} ${counts#*---> } $(cat "$1/time$3")"
}

# prove <dir> <top> <mapping> <option>: 0 when the result is proved.
prove() {
  if [ "$3" = cells ]; then
    "$n2v" --liberty "$lib" -o "$1/reduced$4.v" "$2" "$1/out$4" -r "$1/nld" 2> /dev/null &&
      timeout "$proof_limit" "$check" --liberty "$lib" "$2" "$1/mapped.v" "$1/reduced$4.v"
  else
    timeout "$proof_limit" "$check" "$2" "$1/nld" -w "$1/out$4"
  fi > "$1/proof$4.log" 2>&1
}

printf '%-10s %-7s %7s %7s %7s %7s %8s %8s  %s\n' circuit mapping cells before after after-a \
  time-s peak-MB proof
while read -r name aig; do
  case "$name" in ''|\#*) continue ;; esac
  for mapping in gates cells; do
    d="$work/$name-$mapping"; mkdir -p "$d/nld"
    libarg=(); [ $mapping = cells ] && libarg=(--liberty "$lib")
    if ! map "$name" "$src/bench/circuits/$aig" $mapping "$d/mapped.v" > "$d/log" 2>&1 ||
       ! "$v2n" "${libarg[@]}" -o "$d/nld" "$d/mapped.v" 2>> "$d/log"; then
      printf '%-10s %-7s mapping failed: %s\n' "$name" $mapping "$(tail -1 "$d/log")"; status=1; continue
    fi
    cells=$(grep -o '^ (def-comp [^)]*' "$d/nld/$name.nld" | awk '{ n += NF - 2 } END { print n + 0 }')
    if ! plain=$(reduce "$d" "$name" "") || ! all=$(reduce "$d" "$name" -a); then
      printf '%-10s %-7s vorp failed\n' "$name" $mapping; status=1; continue
    fi
    read -r before after t1 m1 <<< "$plain"
    read -r _ after_a t2 m2 <<< "$all"
    proof=proved
    for opt in "" -a; do
      prove "$d" "$name" $mapping "$opt"
      case $? in 0) ;; 124) proof=timeout ;; *) proof=FAILED ;; esac
    done
    [ $proof = proved ] || status=1
    seconds=$(echo "$t1 + $t2" | bc); peak=$(( (m1 > m2 ? m1 : m2) / 1024 ))
    echo "$name $mapping $cells $before $after $after_a $seconds $peak $proof" >> "$rows"
    printf '%-10s %-7s %7d %7d %7d %7d %8.2f %8d  %s\n' "$name" $mapping "$cells" "$before" \
      "$after" "$after_a" "$seconds" "$peak" $proof
  done
done < "$here/circuits"

awk '{ c += $3; b += $4; a += $5; x += $6; t += $7; if ($8 > p) p = $8; if ($9 != "proved") f++ }
     END { printf "%-10s %-7s %7d %7d %7d %7d %8.2f %8d  %s\n", "total", "", c, b, a, x, t, p,
                  f ? f " not proved" : "all proved" }' "$rows"

sh "$here/report.sh" "$rows" "$out"

# The counts must be those committed.
awk '{ print $1, $2, $3, $4, $5, $6 }' "$rows" > "$out/qor.counts"
if ! diff "$here/expected.txt" "$out/qor.counts" > "$out/qor.diff"; then
  echo "qor: the counts differ from bench/qor/expected.txt:"; cat "$out/qor.diff"; status=1
fi
echo "qor: table and chart in $out/qor.md and $out/qor.svg"
exit $status
