#!/usr/bin/env bash
# Standard-cell netlists mapped by yosys through the whole flow: verilog2nld
# --liberty, nld2verilog --liberty back (the same netlist: same instances,
# cells and connections), then vorp and nld2verilog --liberty, proved
# equivalent to the mapped netlist by check-equivalence --liberty. With the
# repository's library, with yosys's bundled cells.lib, with a second library
# whose multiplexer becomes a black box, on a hierarchical design and on a
# benchmark circuit.
# Skipped (status 77) without yosys.
#
#   liberty_flow.sh <build_dir> <source_dir>
set -u
command -v yosys > /dev/null || { echo "yosys not installed: skipped"; exit 77; }
build=$(cd "$1" && pwd); src=$(cd "$2" && pwd)
v2n="$build/tools/verilog2nld"; n2v="$build/tools/nld2verilog"; vorp="$build/vorp"
check="$src/tools/check-equivalence"
lib="$src/tools/lib/vorp_cells.lib"; extra="$src/tests/tools/data/extra_cells.lib"
design="$src/tests/tools/data/seq_design.v"
yosys_lib=$(dirname "$(command -v yosys)")/../share/yosys/cells.lib
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
fails=0

# A directory's netlist, order-free: ports, instances with their NLD and
# library cells, and every net as its sorted list of nodes.
canonical() {
  cat "$1"/*.nld | tr -d '()' | awk '
    $1 == "def-pin" { print "pin", $2, $4 }
    $1 == "def-comp" { for (i = 3; i <= NF; i++) print "comp", $i, $2 }
    $1 == "def-net" { nets++; for (i = 2; i <= NF; i++) print nets, $i > "/dev/stderr" }' \
    2> "$1.nodes" | sort
  sort -k1,1n -k2,2 "$1.nodes" |
    awk '$1 != net { if (line != "") print line; net = $1; line = "net" } { line = line " " $2 }
         END { if (line != "") print line }' | sort
  grep '^inst ' "$1/liberty.map" | sort
}

# flow <label> <top> <mapped.v> <vorp option> <libraries...>
flow() {
  local label=$1 top=$2 mapped=$3 opt=$4; shift 4
  local libs=() l d="$work/$label"
  for l in "$@"; do libs+=(--liberty "$l"); done
  mkdir -p "$d/a" "$d/b" "$d/out"
  if ! "$v2n" "${libs[@]}" -o "$d/a" "$mapped" 2> "$d/err"; then
    echo "FAIL $label: verilog2nld: $(cat "$d/err")"; fails=$((fails + 1)); return
  fi
  "$n2v" "${libs[@]}" -o "$d/back.v" "$top" "$d/a" 2> "$d/err" &&
    "$v2n" "${libs[@]}" -o "$d/b" "$d/back.v" 2>> "$d/err" ||
    { echo "FAIL $label: written back: $(cat "$d/err")"; fails=$((fails + 1)); return; }
  if ! diff <(canonical "$d/a") <(canonical "$d/b") > "$d/diff"; then
    echo "FAIL $label: written back as another netlist"; head -5 "$d/diff"; fails=$((fails + 1)); return
  fi
  # shellcheck disable=SC2086
  "$vorp" $opt "$top" "$d/a" -w "$d/out" 2> "$d/vorp.err" ||
    { echo "FAIL $label: vorp"; fails=$((fails + 1)); return; }
  "$n2v" "${libs[@]}" -o "$d/reduced.v" "$top" "$d/out" -r "$d/a" 2> "$d/err" ||
    { echo "FAIL $label: nld2verilog: $(cat "$d/err")"; fails=$((fails + 1)); return; }
  if ! "$check" "${libs[@]}" "$top" "$mapped" "$d/reduced.v" > "$d/check" 2>&1; then
    echo "FAIL $label: not proved equivalent: $(tail -3 "$d/check")"; fails=$((fails + 1)); return
  fi
  echo "$label: same netlist written back; inverters $(tail -1 "$d/vorp.err" | tr -d '\t'), proved equivalent"
}

# map <out.v> <yosys commands>
map() { yosys -q -p "$2; opt_clean; write_verilog -noexpr -noattr $1" > "$work/yosys.log" 2>&1 ||
          { echo "FAIL: yosys mapping: $(tail -3 "$work/yosys.log")"; fails=$((fails + 1)); }; }

map "$work/own.v" "read_verilog $design; synth -top seq_design; dfflibmap -liberty $lib; abc -liberty $lib"
flow own-library seq_design "$work/own.v" -a "$lib"

# The proof must refuse a wrong netlist: one NAND gate made a NOR gate.
sed '0,/NAND2_X1 /s//NOR2_X1 /' "$work/own-library/reduced.v" > "$work/broken.v"
if cmp -s "$work/broken.v" "$work/own-library/reduced.v"; then
  echo "FAIL broken: no NAND2_X1 to break"; fails=$((fails + 1))
elif "$check" --liberty "$lib" seq_design "$work/own.v" "$work/broken.v" > "$work/broken.log" 2>&1 ||
     ! grep -q '^not equivalent$' "$work/broken.log"; then
  echo "FAIL broken: the proof does not refuse a NAND gate made a NOR gate"; fails=$((fails + 1))
else
  echo "broken: a NAND gate made a NOR gate is refused"
fi

if [ -f "$yosys_lib" ]; then
  map "$work/yosys.v" "read_verilog $design; synth -top seq_design; dfflibmap -liberty $yosys_lib;
       abc -g AND,NAND,OR,NOR,XOR,XNOR,AOI3,OAI3"
  flow yosys-cells seq_design "$work/yosys.v" -a "$yosys_lib"
else
  echo "FAIL: no cells.lib in yosys's data directory"; fails=$((fails + 1))
fi

# abc maps onto one library: the two joined.
{ sed '$d' "$lib"; sed -n '/^ *cell *(/,$p' "$extra"; } > "$work/both.lib"
map "$work/two.v" "read_verilog $design; synth -top seq_design; dfflibmap -liberty $lib;
     abc -liberty $work/both.lib"
flow two-libraries seq_design "$work/two.v" -a "$lib" "$extra"
grep -q 'MUX2_X1 ' "$work/two.v" || { echo "FAIL two-libraries: no multiplexer mapped"; fails=$((fails + 1)); }

map "$work/hier.v" "read_verilog $src/tests/tools/data/hier_design.v; synth -top hier_design;
     dfflibmap -liberty $lib; abc -liberty $lib"
flow hierarchy hier_design "$work/hier.v" -a "$lib"

map "$work/int2float.v" "read_aiger -module_name int2float $src/bench/circuits/epfl/int2float.aig;
     dfflibmap -liberty $lib; abc -liberty $lib"
flow int2float int2float "$work/int2float.v" -a "$lib"

# Drive strengths: every cell made an _X2; after vorp, the gates it left as
# they were keep _X2 and only the cells chosen anew are the smallest, _X1.
sed 's/_X1 /_X2 /' "$work/int2float.v" > "$work/strong.v"
flow strong int2float "$work/strong.v" -a "$lib"
kept=$(sed -n 's/^nld2verilog: \([0-9]*\) instances\{0,1\} kept.*/\1/p' "$work/strong/err")
chosen=$(sed -n 's/^nld2verilog: [^ ]* chosen for \([0-9]*\) .*/\1/p' "$work/strong/err" | awk '{ n += $1 } END { print n + 0 }')
small=$(grep -c '^  [A-Z0-9]*_X1 ' "$work/strong/reduced.v")
strong=$(grep -c '^  [A-Z0-9]*_X2 ' "$work/strong/reduced.v")
if [ "${kept:-0}" -eq 0 ] || [ "$strong" -ne "$kept" ] || [ "$small" -ne "$chosen" ]; then
  echo "FAIL strong: $kept kept, $strong _X2 cells; $chosen chosen, $small _X1 cells"; fails=$((fails + 1))
else
  echo "strong: $kept gates keep _X2, the $chosen chosen anew are _X1"
fi

[ $fails -eq 0 ]
