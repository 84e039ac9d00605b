#!/usr/bin/env bash
# readthrough_test.sh WINE DLL PROGRAM FILE: registers the filter, as a reader of the guide does, and compares what the program
# says of FILE with what the file really has.
set -euo pipefail
wine=$1 dll=$2 program=$3 file=$4

"$wine" regsvr32 /s "$dll"
said=$("$wine" "$program" "Z:$file" | tr -d '\r')
sum=$(od -An -v -tu1 -w1 "$file" | awk '{ sum += $1 } END { print sum }')
expected=$(printf 'length %d\nsum of bytes %d' "$(stat -c %s "$file")" "$sum")
[ "$said" = "$expected" ] || { printf 'expected:\n%s\nsaid:\n%s\n' "$expected" "$said"; exit 1; }

# A name that can't be opened is a failure that shows.
! "$wine" "$program" "Z:$file.gone" 2>/dev/null
