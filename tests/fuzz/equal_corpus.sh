#!/usr/bin/env bash
# Seed corpus of fuzz_equal, in the run fuzzer's text form: the designs of
# the golden cases that run a reduction, and small generated designs (large
# clusters, tristate buses, exclusive-or gates, -a and -f).
#
#   tests/fuzz/equal_corpus.sh <gen_design> <corpus_dir>
set -euo pipefail
gen=$1
corpus=$2
here=$(cd "$(dirname "$0")" && pwd)
golden=$here/../golden
mkdir -p "$corpus"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# One input: switch line, the top module first, then the others; "; pcd"
# and "; ref" mark PCD files and reference modules.
emit() {  # emit <switches> <top> <read dir> [<ref dir>]
  local switches=$1 top=$2 read=$3 ref=${4:-} f name text
  text=$scratch/input
  echo "; vorp$switches" > "$text"
  cat "$read/$top.nld" >> "$text"
  for f in "$read"/*.nld "$read"/*.pcd; do
    [ -f "$f" ] || continue
    name=$(basename "$f")
    [ "$name" = "$top.nld" ] && continue
    case $name in *.pcd) echo "; pcd" >> "$text" ;; esac
    cat "$f" >> "$text"
  done
  if [ -n "$ref" ]; then
    for f in "$ref"/*.nld; do
      [ -f "$f" ] || continue
      echo "; ref" >> "$text"
      cat "$f" >> "$text"
    done
  fi
  [ "$(wc -c < "$text")" -le 16384 ] || return 0
  cp "$text" "$corpus/$(sha1sum "$text" | cut -c1-40)"
}

for case in "$golden"/reduce_* "$golden"/rewrite_*; do
  [ -f "$case/args" ] && [ -d "$case/d" ] || continue
  mapfile -t words < "$case/args"
  switches="" ref=""
  for ((i = 0; i < ${#words[@]}; i++)); do
    case ${words[i]} in
      -a | -f) switches="$switches ${words[i]}" ;;
      -r) ref=$case/${words[i + 1]}; i=$((i + 1)) ;;
    esac
  done
  top=${words[0]}; [ "${top#-}" != "$top" ] && top=${words[1]}
  [ -f "$case/d/$top.nld" ] && emit "$switches" "$top" "$case/d" "$ref"
done

seed=1
for profile in safe full all tri+power+scan+pcd+ref; do
  for cells in 40 120 300; do
    for switches in "" " -a" " -f" " -a -f"; do
      rm -rf "$scratch/g"
      "$gen" --out "$scratch/g" --seed "$seed" --cells "$cells" --depth 2 --fanout 2 \
        --types 2 --profile "$profile" > "$scratch/words"
      read -r -a gw < "$scratch/words"
      ref=""; [ "${gw[2]:-}" = "-r" ] && ref=${gw[3]}
      emit "$switches" "${gw[0]}" "$scratch/g" "$ref"
      seed=$((seed + 1))
    done
  done
done
