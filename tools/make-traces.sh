#!/usr/bin/env bash
# Makes tests/tvsource/traces anew: what the platform's parsers ask a source for while each file of tests/media plays. Needs
# the build of the preset win64.
set -euo pipefail
cd "$(dirname "$0")/.."
traces=$PWD/tests/tvsource/traces bin=$PWD/build/win64/bin
mkdir -p "$traces"
cd tests/media
for file in *; do
  ../../build/win64/wine.sh "$bin/tvsource.exe" trace --quiet --dll "$bin/TvFileSourceAsync.dll" "$file" \
    -o "$traces/$file.jsonl"
done
