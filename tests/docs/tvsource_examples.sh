#!/usr/bin/env bash
# tvsource_examples.sh WINE PROGRAM DLL DOCUMENT [--update]: runs the examples of docs/tvsource.md, each a line "> tvsource ..." in a
# block, and compares what the program says with what stands below that line. Times, threads, and how many reads a parser makes, may differ. With --update the
# document is given what the program says.
set -euo pipefail
wine=$1 program=$2 dll=$3 document=$4 update=${5:-}
root=$(cd "$(dirname "$0")/../.." && pwd)
cd "$root"
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT
"$wine" regsvr32 /s "$dll"

# What readers see in place of this folder, also in JSON.
windows=${root//\//\\\\}
bin=$(dirname "$program")
bin=${bin//\//\\\\}
run() {
  local words
  read -ra words <<<"$1"
  { "$wine" "$program" "${words[@]:2}" 2>&1 || true; } | tr -d '\r' | grep -v 'GStreamer-' |
    sed -e "s|Z:$bin|C:\\\\Tavel|g" -e "s|Z:${windows//\\\\/\\\\\\\\}|C:\\\\\\\\src|g" -e "s|Z:$windows|C:\\\\src|g" | sed -e '/./,$!d'
}
mask() {
  sed -E -e 's/^[0-9:.]{12}  ([A-Z]+ *)  [0-9]+  /TIME \1 N /' -e 's/[0-9]+(\.[0-9]+)? (us|ms|s|%)([^a-z]|$)/N \2\3/g' -e 's/"([A-Za-z0-9]*([sS]econds|Ms|Us|Percent))":[-+0-9.e]+/"\1":N/g' -e 's/"reads":\{[^}]*\}/"reads":N/' -e '/^(Reads|Calls) /s/[0-9]+(\.[0-9]+)?/N/g' -e 's/-> [0-9]+/-> N/g' -e 's/ +/ /g' "$1"
}

inside=
skipping=
while IFS= read -r line; do
  case $line in
    '```'*) [ -n "$inside" ] && inside= || inside=1; skipping=; echo "$line" ;;
    '> tvsource'*) if [ -n "$inside" ]; then echo "$line"; run "$line" </dev/null; skipping=1; else echo "$line"; fi ;;
    *) [ -n "$skipping" ] || echo "$line" ;;
  esac
done <"$document" >"$temporary/new"
if [ -n "$update" ]; then
  cp "$temporary/new" "$document"
else
  diff <(mask "$document") <(mask "$temporary/new")
fi
