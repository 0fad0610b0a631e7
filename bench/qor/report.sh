#!/bin/sh
# Writes the qor table as Markdown (qor.md) and as a bar chart of the
# inverters before, after and after -a per circuit and mapping (qor.svg).
#
#   bench/qor/report.sh <rows> <out_dir>
# Each row: circuit mapping cells before after after-a seconds peak-MB proof.
rows=$1; out=$2
awk '
  BEGIN {
    print "| circuit | mapping | cells | inverters before | after | after with -a | vorp time (s) | peak memory (MB) | proof |"
    print "|---|---|---:|---:|---:|---:|---:|---:|---|"
  }
  { printf "| %s | %s | %d | %d | %d | %d | %.2f | %d | %s |\n", $1, $2, $3, $4, $5, $6, $7, $8, $9
    c += $3; b += $4; a += $5; x += $6; t += $7; if ($8 > p) p = $8; if ($9 != "proved") f++ }
  END { printf "| **total** | | %d | %d | %d | %d | %.2f | %d | %s |\n", c, b, a, x, t, p,
               f ? f " not proved" : "all proved" }' "$rows" > "$out/qor.md"

awk '
  { name[NR] = $1 " (" $2 ")"; v[NR, 1] = $4; v[NR, 2] = $5; v[NR, 3] = $6
    for (k = 1; k <= 3; k++) if (v[NR, k] > top) top = v[NR, k] }
  END {
    n = NR; if (top < 1) top = 1
    bar = 10; group = 3 * bar + 14; left = 150; width = left + 60 + 300
    height = 60 + n * group
    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" font-family=\"sans-serif\" font-size=\"11\">\n", width, height
    printf "<text x=\"%d\" y=\"18\" font-size=\"13\">Inverters per circuit: before vorp, after, after with -a</text>\n", left
    split("#7f7f7f #1f77b4 #2ca02c", colour, " "); split("before after after-a", label, " ")
    for (k = 1; k <= 3; k++)
      printf "<rect x=\"%d\" y=\"28\" width=\"10\" height=\"10\" fill=\"%s\"/><text x=\"%d\" y=\"37\">%s</text>\n", left + (k - 1) * 90, colour[k], left + (k - 1) * 90 + 14, label[k]
    for (i = 1; i <= n; i++) {
      y = 50 + (i - 1) * group
      printf "<text x=\"%d\" y=\"%d\" text-anchor=\"end\">%s</text>\n", left - 6, y + 1.5 * bar + 4, name[i]
      for (k = 1; k <= 3; k++) {
        w = 300 * v[i, k] / top
        printf "<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"%d\" fill=\"%s\"/>", left, y + (k - 1) * bar, w, bar - 1, colour[k]
        printf "<text x=\"%.1f\" y=\"%d\">%d</text>\n", left + w + 3, y + k * bar - 1, v[i, k]
      }
    }
    print "</svg>"
  }' "$rows" > "$out/qor.svg"
