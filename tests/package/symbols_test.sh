#!/usr/bin/env bash
# The symbols beside each released binary belong to it, and tell functions and lines by the names of our own files.
#
#   symbols_test.sh BINARY...
set -euo pipefail
[ $# -gt 0 ]
failed=0
fail() { echo "$1" >&2; failed=1; }
for binary in "$@"; do
  symbols=${binary%.*}.pdb
  # The identifier's first four bytes, which a debugger compares, as the one file has them and as the other.
  has=$(llvm-readobj --coff-debug-directory "$binary" | sed -nE 's/.*PDBGUID: \((..) (..) (..) (..) .*/\4\3\2\1/p')
  is=$(llvm-pdbutil dump --summary "$symbols" | sed -nE 's/^ *GUID: \{([0-9A-F]{8})-.*/\1/p')
  [ -n "$has" ] && [ "$has" = "$is" ] || fail "$binary has the identifier $has, its symbols have $is"
  [ "$(llvm-readobj --coff-debug-directory "$binary" | sed -nE 's/^ *PDBFileName: //p')" = "$(basename "$symbols")" ] ||
    fail "$binary names its symbols with a folder"
  # Functions of ours and where they are: what a library exports, as its header says; of a program only the symbols know where it
  # begins, as section and offset in decimal.
  functions=$(llvm-readobj --coff-exports "$binary" | sed -nE 's/^ *(Name|RVA): ?//p' | paste -d ' ' - - | grep -v '^ ' || true)
  if [[ $binary = *.exe ]]; then
    read -r section offset < <(llvm-pdbutil dump --symbols "$symbols" | sed -nE '/S_GPROC32.*`wmain`/ { n; s/.*addr = ([0-9]+):([0-9]+),.*/\1 \2/p }') ||
      { fail "$symbols doesn't know where the program begins"; continue; }
    start=$(llvm-readobj --sections "$binary" | sed -nE 's/^ *VirtualAddress: (0x[0-9A-F]+).*/\1/p' | sed -n "$((10#$section))p")
    functions="wmain $(printf '0x%x' $((start + 10#$offset)))"
  fi
  [ -n "$functions" ] || fail "$binary exports nothing"
  while read -r name address; do
    found=$(llvm-symbolizer --relative-address -e "$binary" "$address" | tr '\n' ' ')
    [[ $found =~ ^$name\ [a-z]+.[A-Za-z]+\.cpp:[1-9][0-9]*: ]] || fail "$binary: $name is shown as $found"
  done <<<"$functions"
done
exit $failed
