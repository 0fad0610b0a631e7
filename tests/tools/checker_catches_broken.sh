#!/usr/bin/env bash
# The equivalence checker must tell a wrong output from a right one: it
# proves vorp's output for examples/ equivalent, then refuses the same output
# with one NAND gate turned into a NOR gate, and with one inverter turned
# into a buffer. Skipped (status 77) when yosys is not installed.
#
#   checker_catches_broken.sh <build_dir> <source_dir>
set -u
command -v yosys > /dev/null || { echo "yosys not installed: skipped"; exit 77; }
build=$(cd "$1" && pwd); src=$(cd "$2" && pwd)
export NLD2VERILOG="$build/tools/nld2verilog"
check="$src/tools/check-equivalence"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
cd "$src" || exit 2
read -r -a words < examples/args
fail=0

mkdir "$work/out"
"$build/vorp" "${words[@]}" -w "$work/out" 2> /dev/null || { echo "vorp failed"; exit 1; }
if ! "$check" "${words[@]}" -w "$work/out"; then
  echo "FAIL: the unchanged output is not proved equivalent"; fail=1
fi

# broken <label> <cell> <new cell> [<output pin> <new output pin>]: the first
# instance of <cell> that has a def-comp form of its own becomes a <new cell>.
broken() {
  rm -rf "$work/bad"; cp -R "$work/out" "$work/bad"
  local found file inst
  found=$(grep -H -o -P "^\t\(def-comp\t\Q$2\E\t[^\t]*\)$" "$work"/bad/*.nld | head -1)
  [ -n "$found" ] || { echo "FAIL: $1: no $2 in the output"; fail=1; return; }
  file=${found%%:*}; inst=$(printf '%s' "$found" | cut -f4 | tr -d ')')
  sed -i "s/^\t(def-comp\t$2\t$inst)$/\t(def-comp\t$3\t$inst)/" "$file"
  [ $# -ge 5 ] && sed -i -E "s/([\t(])$inst\.$4([\t)])/\1$inst.$5\2/g" "$file"
  cmp -s "$file" "$work/out/$(basename "$file")" && { echo "FAIL: $1: nothing changed"; fail=1; return; }
  if "$check" "${words[@]}" -w "$work/bad" > "$work/log" 2>&1; then
    echo "FAIL: $1: the checker calls the broken output equivalent"; fail=1
  elif ! grep -q "^not equivalent$" "$work/log"; then
    echo "FAIL: $1: the checker did not run the proof"; cat "$work/log"; fail=1
  else
    echo "$1: caught ($inst in $(basename "$file"))"
  fi
}

broken "nand becomes nor" 'nand--2' 'nor--2'
broken "inverter becomes buffer" 'inv-' 'ninv-' nout out
exit $fail
