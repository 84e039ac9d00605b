#!/usr/bin/env bash
# From nothing to a playing graph: installs what is missing, builds, registers the filter and the data services in the
# build tree's own Wine prefix and plays media through it with the platform's parsers. In the end the first file is
# played once more, from a web server on this machine.
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
. tools/serve.sh
temporary=$(mktemp -d)
web_server=
trap '[ -z "$web_server" ] || kill "$web_server" 2>/dev/null || true; rm -rf "$temporary"' EXIT
log=$temporary/log
echo 'Building ...'
{ cmake --preset win64 && cmake --build --preset win64 --target TvFileSourceAsync TvMetadata TvDataServices tvsource; } >"$log" 2>&1 ||
  { cat "$log" >&2; exit 1; }

wine=build/win64/wine.sh
echo 'Registering the filter and the data services ...'
for dll in TvFileSourceAsync TvDataServices; do
  "$wine" regsvr32 /s build/win64/bin/$dll.dll || { echo "demo: regsvr32 failed for $dll.dll" >&2; exit 1; }
done

failed=0
# play NAME: plays what has this name.
play() {
  # A player that hangs must not hang the demonstration.
  timeout 300 "$wine" build/win64/bin/tvsource.exe play --null "$1" || { echo 'NOT PLAYED'; failed=$((failed + 1)); }
}
for file in "${files[@]}"; do
  printf '\n== %s\n' "${file#"$PWD"/}"
  play "$file"
done

mkdir "$temporary/www"
ln -s "${files[0]}" "$temporary/www/media"
serve "$temporary/www" || { echo 'demo: the web server does not start' >&2; exit 1; }
printf '\n== %s over http\n' "${files[0]#"$PWD"/}"
play "http://127.0.0.1:$port/media"

played=$((${#files[@]} + 1))
printf '\n%d of %d played.\n' $((played - failed)) "$played"
[ "$failed" -eq 0 ]
