#!/usr/bin/env bash
# register.cmd of the archives, in a folder with what is special to the command interpreter in its name: it registers, takes back,
# leaves what another copy has registered, and tells of every failure.
#
#   register_test.sh WINE REGISTER PROCESSOR BINARY...
#
# WINE: what runs programs; REGISTER: the script; PROCESSOR: x86_64 or i686; BINARY: the DLLs and programs beside it.
set -euo pipefail
wine=$1 script=$2 processor=$3
shift 3
view=/reg:64
[ "$processor" = x86_64 ] || view=/reg:32
work=$(mktemp -d)
# No percent sign: Wine's interpreter takes it out of the script's own path.
here="$work/a & (b) c!d! ^e" other=$work/other
for folder in "$here" "$other"; do
  mkdir "$folder"
  cp "$script" "$@" "$folder"
done
clean_up() {
  rm -rf "$here"
  "$wine" "Z:$other/register.cmd" /u >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap clean_up EXIT
failed=0
fail() { echo "FAILED: $*" >&2; failed=1; }
# expect CODE TEXT FOLDER ARGUMENT...: the script there says that; without TEXT, it says nothing.
expect() {
  local code=0 said
  said=$("$wine" "Z:$3/register.cmd" "${@:4}" 2>&1 | tr -d '\r') || code=$?
  [ $code -eq "$1" ] && [[ $said = *"$2"* ]] && [[ -n $2 || -z $said ]] || fail "exit code $code, not $1, of ${*:3}, which said: $said"
}
# The file that serves a class; nothing: none.
server() {
  { "$wine" reg query "HKLM\\Software\\Classes\\CLSID\\$1\\InprocServer32" /ve $view 2>/dev/null || true; } |
    sed -nE 's/\r?$//; s/.*REG_SZ +//p' | tr '\\' /
}
filter='{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}' layer='{8DEF38CF-43CC-44C3-A8D8-A69395CE9022}'
# are FOLDER: both libraries are registered there; without it, nowhere.
are() {
  for class in "$filter:TvFileSourceAsync" "$layer:TvDataServices"; do
    local found; found=$(server "${class%:*}")
    [ "$found" = "${1:+Z:$1/${class#*:}.dll}" ] || fail "${class#*:} is registered as '$found', not in '${1:-}'"
  done
}

before=$(server "$filter")$(server "$layer")
for arguments in '/?' -u 'Z:\' '/u /u' 'x /u'; do
  # shellcheck disable=SC2086
  expect 2 'Usage: register.cmd' "$here" $arguments
done
[ "$before" = "$(server "$filter")$(server "$layer")" ] || fail 'wrong arguments do something'
expect 0 '' "$here"
are "$here"
expect 0 '' "$here" /U
are
# Two copies: the last one that registers counts, and the other one takes nothing away from it.
expect 0 '' "$here"
expect 0 '' "$other"
expect 0 'other\TvDataServices.dll" is registered' "$here" /u
are "$other"
expect 0 '' "$other" /u
are

# A service that lacks a library ends with a negative code.
LC_ALL=C sed -i 's/KERNEL32\.dll/KERNEL99.dll/gI' "$here/TKRuntimeLogger.exe"
expect 1 'Not all of it' "$here"
are "$here"
expect 1 'Not all of it' "$here" /u
cp "$other/TKRuntimeLogger.exe" "$here"
echo 'no library' >"$here/TvDataServices.dll"
expect 1 'Not all of it' "$here"
rm "$here/TvDataServices.dll"
expect 1 'Not all of it' "$here"
expect 1 'Not all of it' "$here" /u
are
[ $failed -eq 0 ] && echo 'register.cmd registers, takes back and tells of failures'
exit $failed
