#!/usr/bin/env bash
# Checks that a folder includes only from itself and from folders above it, in the order that CMakeLists.txt has, that the
# folders of the binaries include nothing of each other, and that README lists the folders in that order.
set -euo pipefail
cd "$(dirname "$0")/.."

order=$(sed -n 's/^foreach(folder \(.*\))$/\1/p' CMakeLists.txt)
[ -n "$order" ] || { echo 'check-folders: CMakeLists.txt has no list of folders' >&2; exit 1; }

git ls-files '*.cpp' '*.h' '*.inc' | xargs awk -v order="$order" '
  BEGIN {
    count = split(order, folders, " "); for (i = 1; i <= count; ++i) place[folders[i]] = i
    binary["filter"] = binary["metadata"] = binary["dataservices"] = binary["logservice"] = binary["tvsource"] = 1
  }
  /^#include "[^"]*\// {
    split(FILENAME, from, "/"); split($2, to, /["\/]/)
    if (!(to[2] in place)) { print FILENAME ":" FNR ": " to[2] "/ is no folder of the list"; bad = 1 }
    else if (place[to[2]] > place[from[1]]) { print FILENAME ":" FNR ": " from[1] "/ stands above " to[2] "/"; bad = 1 }
    else if (from[1] != to[2] && from[1] in binary && to[2] in binary) {
      print FILENAME ":" FNR ": " from[1] "/ and " to[2] "/ are binaries of their own"; bad = 1
    }
  }
  END { exit bad }' || { echo 'check-folders: a folder includes what it must not' >&2; exit 1; }

# Scripts and documents have no code that others include.
listed=$(sed -n '/^| folder | holds |/,/^$/s/^| `\([A-Za-z0-9]*\)\/`.*/\1/p' README.md | grep -vx -e tools -e docs | tr '\n' ' ')
built=$(tr ' ' '\n' <<<"$order" | tr '\n' ' ')
[ "$listed" = "$built" ] || {
  printf 'check-folders: README lists the folders as\n  %s\nand CMakeLists.txt as\n  %s\n' "$listed" "$built" >&2
  exit 1
}
