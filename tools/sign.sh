#!/usr/bin/env bash
# Signs a DLL, a program or an installer with what the environment variable TV_SIGN says, a command of the shell that is given
# the file's name behind it and changes the file in place. Without TV_SIGN nothing is done.
#
#   TV_SIGN=COMMAND tools/sign.sh FILE
#
# A command that succeeds and leaves the file without a signature is a failure.
set -euo pipefail
file=$1
[ -n "${TV_SIGN:-}" ] || exit 0
bash -c "$TV_SIGN"' "$1"' sign "$file" >&2 || { echo "sign: TV_SIGN failed for $file" >&2; exit 1; }

# The size of the signatures, as the headers have it: the fifth of the data directories, which begin at different places in
# programs of 32 bits and of 64.
number() { od -An -tu"$2" -j "$1" -N "$2" "$file" | tr -d ' '; }
header=$(number 60 4)
case $(number $((header + 24)) 2) in
  267) directories=$((header + 120)) ;;
  523) directories=$((header + 136)) ;;
  *) echo "sign: $file is no program" >&2; exit 1 ;;
esac
[ "$(number $((directories + 36)) 4)" -gt 0 ] || { echo "sign: TV_SIGN has left $file unsigned" >&2; exit 1; }
