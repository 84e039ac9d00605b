#!/usr/bin/env bash
# The SDK's headers mean the same to compilers of either Windows ABI, and the interfaces have the same operations in the same
# order, with the same calling conventions, for both bitnesses.
#
#   abi_test.sh FOLDER...   where the headers are
#
# Needs clang, whose two ABIs for Windows stand for the compilers; the platform's headers are Wine's, which both take.
set -euo pipefail
command -v clang++ >/dev/null || { echo 'there is no clang'; exit 77; }
headers=/usr/include/wine/wine
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
includes=()
for folder in "$@"; do
  includes+=("-I$folder")
done

# A class that is made of an interface makes the compiler lay out its table.
interfaces=$(for folder in "$@"; do cat "$folder"/*.h; done |
  sed -nE 's/^(struct )?(I[A-Za-z0-9_]+)( : public [A-Za-z]+)?( \{)?$/\2 \3\4/p' | awk 'NF > 1 { print $1 }' | sort -u)
{
  printf '#include <windows.h>\n#include <objbase.h>\n'
  for folder in "$@"; do
    (cd "$folder" && printf '#include "%s"\n' *.h)
  done
  for interface in $interfaces; do
    printf 'struct Of%s : %s { Of%s(); };\nOf%s::Of%s() {}\n' "$interface" "$interface" "$interface" "$interface" "$interface"
  done
} >"$work/tables.cpp"
[ "$(wc -w <<<"$interfaces")" -ge 20 ] || { echo "only these interfaces were found: $interfaces" >&2; exit 1; }

# Intrinsics that this compiler has for the one ABI, and the headers define again.
known=()
for name in And64 Or64 Xor64 Increment64 Decrement64 ExchangeAdd64 Exchange64 CompareExchangePointer ExchangePointer CompareExchange128; do
  known+=("-D_Interlocked$name=Header$name")
done
compile() {  # compile TARGET ARGUMENT...
  clang++ "--target=$1" -std=c++17 -Wall -Wextra -Werror -Wno-ignored-attributes "${known[@]}" "${includes[@]}" -nostdinc -isystem "$(clang++ -print-resource-dir)/include" \
    -isystem $headers/msvcrt -isystem $headers/windows "${@:2}"
}
failed=0
for processor in x86_64 i686; do
  for abi in w64-mingw32 pc-windows-msvc; do
    compile $processor-$abi -Xclang -fdump-vtable-layouts -S -o /dev/null "$work/tables.cpp" >"$work/dump"
    # One line an operation: the class, its place, and the operation as it is declared.
    awk "/^V(table|FTable) for/ { match(\$0, /OfI[A-Za-z0-9_]+/); table = substr(\$0, RSTART, RLENGTH); place = 0 }
         /^ +[0-9]+ \\| .*\\(/ && /::/ && !/(vtable address|RTTI)/ { sub(/^ +[0-9]+ \\| /, \"\"); print table, place++, \$0 }" "$work/dump" |
      grep '^Of' | sort -u >"$work/$processor-$abi"
  done
  echo "$processor: $(wc -l <"$work/$processor-w64-mingw32") operations of $(wc -w <<<"$interfaces") interfaces"
  [ "$(wc -l <"$work/$processor-w64-mingw32")" -ge 100 ]
  diff "$work/$processor-w64-mingw32" "$work/$processor-pc-windows-msvc" || failed=1
done
operation='^Of[^ ]+ [0-9]+ .*[ *](I[A-Za-z0-9_]+::[A-Za-z0-9_]+)\(.*'
! grep -vE "$operation" "$work/i686-w64-mingw32" || { echo 'these are no operations' >&2; exit 1; }
# On x86 an operation with another calling convention would clean up the stack twice or not at all.
{
  cat "$work/tables.cpp"
  cat <<'END'
template <class Result, class Class, class... Arguments>
constexpr bool IsFixed(Result (__stdcall Class::*)(Arguments...)) { return true; }
template <class Other>
constexpr bool IsFixed(Other) { return false; }
END
  sed -nE "s/$operation/static_assert(IsFixed(\&\1), \"\1\");/p" "$work/i686-w64-mingw32" | sort -u
} >"$work/calls.cpp"
for abi in w64-mingw32 pc-windows-msvc; do
  compile i686-$abi -fsyntax-only "$work/calls.cpp" || failed=1
done
exit $failed
