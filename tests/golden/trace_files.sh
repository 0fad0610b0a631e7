#!/bin/sh
# Runs a program under strace and checks every path that it hands to a file
# system call (open, stat, rename, unlink, ...) against the directories named
# by its words: the words after the first plain word up to an option, the
# word after `-w` and the words of a `-r` list (a further `-r` among them
# included). The system's own files (the
# dynamic loader's and the C library's: /etc, /lib, /lib64, /usr, /proc,
# /dev) are allowed too. Paths are taken relative to the working directory
# and "." and ".." are resolved by their text.
#
#   VORP_TRACE_REPORT=<file> trace_files.sh <program> <word> ...
#
# The program's standard error and exit status are passed on unchanged. The
# report gets one line "checked <n>" with the number of paths checked and a
# line "outside <call> <path>" for each path outside those directories.
set -u
report=${VORP_TRACE_REPORT:?}
trace=$(mktemp) || exit 2
program=$1
shift
strace -f -qq -s 65536 -e signal=none -e trace=%file -o "$trace" "$program" "$@"
status=$?

# The directories of the run, one per line.
dirs=$(
  top=
  list=
  expect_dir=0
  for word in "$@"; do
    if [ "$expect_dir" = 1 ]; then echo "$word"; expect_dir=0; continue; fi
    case $word in
      -w) list=; expect_dir=1 ;;
      -r) if [ "$list" = r ]; then echo "$word"; else list=r; fi ;;
      -a | -f) list= ;;
      *)
        if [ -n "$list" ]; then echo "$word"
        elif [ -z "$top" ]; then top=$word; list=d
        fi ;;
    esac
  done
)

printf '%s\n' "$dirs" | awk -v cwd="$(pwd)" -v trace="$trace" '
function normal(path,    parts, n, i, out, depth, kept) {
  if (substr(path, 1, 1) != "/") path = cwd "/" path
  n = split(path, parts, "/")
  depth = 0
  for (i = 1; i <= n; i++) {
    if (parts[i] == "" || parts[i] == ".") continue
    if (parts[i] == "..") { if (depth > 0) depth--; continue }
    kept[++depth] = parts[i]
  }
  out = ""
  for (i = 1; i <= depth; i++) out = out "/" kept[i]
  return out == "" ? "/" : out
}
function inside(path, dir) {
  return path == dir || index(path, dir == "/" ? "/" : dir "/") == 1
}
function allowed(path,    i) {
  for (i = 1; i <= ndirs; i++) if (inside(path, dirs[i])) return 1
  return 0
}
function check(call, path, relative_to) {
  if (path == "") return
  gsub(/\\"/, "\"", path)
  gsub(/\\\\/, "\\", path)
  checked++
  if (relative_to != "" && relative_to != "AT_FDCWD" && substr(path, 1, 1) != "/") {
    print "outside " call " " path " (relative to descriptor " relative_to ")"
    return
  }
  if (!allowed(normal(path))) print "outside " call " " path
}
# The quoted path arguments of one call, in order, with the argument that
# precedes each (a descriptor for the *at calls).
function paths(line, call,    rest, n, before, arg) {
  rest = substr(line, index(line, "(") + 1)
  n = 0
  while (match(rest, /"([^"\\]|\\.)*"/)) {
    before = substr(rest, 1, RSTART - 1)
    sub(/, *$/, "", before)
    sub(/.*[(, ]/, "", before)
    arg = substr(rest, RSTART + 1, RLENGTH - 2)
    rest = substr(rest, RSTART + RLENGTH)
    n++
    if (n == 1 || call ~ /^(rename|renameat|renameat2|link|linkat|symlink|symlinkat)$/)
      check(call, arg, call ~ /at2?$/ ? before : "")
    if (n == 2) break
  }
}
{ if ($0 != "") dirs[++ndirs] = normal($0) }
END {
  split("/etc /lib /lib64 /usr /proc /dev", system_dirs, " ")
  for (i in system_dirs) dirs[++ndirs] = system_dirs[i]
  while ((getline line < trace) > 0) {
    sub(/^[0-9]+ +/, "", line)
    if (line ~ /^<\.\.\./ || line !~ /^[a-z0-9_]+\(/) continue
    call = substr(line, 1, index(line, "(") - 1)
    # the program itself, as started
    if (call == "execve" && !started) { started = 1; continue }
    paths(line, call)
  }
  print "checked " checked + 0
}' > "$report"
rm -f "$trace"
exit "$status"
