#!/usr/bin/env bash
# From nothing to a playing graph: installs what is missing, builds, registers the filter in the build tree's own Wine prefix
# and plays media through it with the platform's parsers.
#
#   tools/demo.sh            plays every file of tests/media
#   tools/demo.sh FILE...    plays these
#
# Ends with 0 when every file played to its end. Neither screen nor sound card is needed; nothing is shown or heard.
set -euo pipefail

files=()
for file in "$@"; do
  [ -f "$file" ] || { echo "demo: there is no file $file" >&2; exit 2; }
  files+=("$(realpath "$file")")
done
cd "$(dirname "$0")/.."
[ ${#files[@]} -gt 0 ] || files=("$PWD"/tests/media/*)

tools/setup.sh
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo 'Building ...'
{ cmake --preset win64 && cmake --build --preset win64 --target TvFileSourceAsync TvMetadata tvsource; } >"$log" 2>&1 ||
  { cat "$log" >&2; exit 1; }

wine=build/win64/wine.sh
echo 'Registering the filter ...'
"$wine" regsvr32 /s build/win64/bin/TvFileSourceAsync.dll || { echo 'demo: regsvr32 failed' >&2; exit 1; }

failed=0
for file in "${files[@]}"; do
  printf '\n== %s\n' "${file#"$PWD"/}"
  # FLAC has no row in the filter's table of types, so its type is named.
  type=()
  [[ $file != *.flac ]] || type=(--type any)
  # A player that hangs must not hang the demonstration.
  timeout 300 "$wine" build/win64/bin/tvsource.exe play --null "${type[@]}" "$file" || { echo 'NOT PLAYED'; failed=$((failed + 1)); }
done
printf '\n%d of %d played.\n' $((${#files[@]} - failed)) ${#files[@]}
[ "$failed" -eq 0 ]
