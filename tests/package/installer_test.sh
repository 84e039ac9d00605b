#!/usr/bin/env bash
# Installs, repairs, upgrades, breaks off and uninstalls in a Wine prefix of its own, and compares what is there before and
# after: every key and value of the registry, both views, and every file.
#
#   installer_test.sh WINE SETUP FORMER MEDIA ARCHIVE...   WINE: a script that runs programs in a prefix; --new-prefix makes it anew
#       SETUP: the installer; FORMER: that of version 0.0.1, with a document docs/former.md more; MEDIA: a file to play
#       ARCHIVE: a bitness's files, for those without an installer
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/tools/serve.sh"
wine=$1 setup=$2 former=$3 media=$4
shift 4
work=$(mktemp -d)
version=$(sed -E 's/.*-([0-9.]+)-setup\.exe$/\1/' <<<"$setup")
"$wine" --new-prefix cmd.exe /c exit
prefix=$(sed -nE "s/^export WINEPREFIX='([^']*)'.*/\1/p" "$wine")
# As cmake/wine.sh.in writes them.
server=$(dirname "$(sed -nE "s/^wine='([^']*)'.*/\1/p" "$wine")")/wineserver
[ -d "$prefix/drive_c" ] && [ -x "$server" ] || { echo "no prefix and no server are told by $wine" >&2; exit 1; }
folder="$prefix/drive_c/Program Files/Tavel File Source"
web_server=
trap '[ -z "$web_server" ] || kill "$web_server" 2>/dev/null || true; WINEPREFIX=$prefix "$server" -k 2>/dev/null || true; rm -rf "$work"' EXIT
failed=0
fail() { echo "FAILED: $*" >&2; failed=1; }

settle() { local code=0; WINEPREFIX=$prefix timeout 120 "$server" -w || code=$?; [ $code -ne 124 ] || fail 'programs do not end'; }
# The keys' times of change don't count, nor what the platform writes when it starts, shows a console or lists its devices, nor
# the empty folder of the uninstaller's copy, nor what Wine's command interpreter keeps of what it reads.
noise='"DriverDateData"=|\\Fonts\] "OEMFONT|^user \[(Console|Software\\\\(Wine\\\\Fonts|Microsoft\\\\ActiveMovie\\\\devenum.*))\]|/Temp/(~nsu[0-9A-Za-z.]*/|CMD[0-9a-f]*\.tmp)$'
# What was started beside ends, or is ended.
finish() { settle; WINEPREFIX=$prefix "$server" -k 2>/dev/null || true; wait || true; }
# What an installer that was ended left in its temporary folder is the system's to clear.
clear_temporary() { rm -rf "$prefix"/drive_c/users/*/Temp/ns*.tmp "$prefix"/drive_c/users/*/AppData/Local/Temp/ns*; }
snapshot() {
  settle
  for hive in system user userdef; do
    awk -v hive=$hive '/^\[/ { sub(/ [0-9]+$/, ""); key = $0; next } /^#/ || /^$/ || /^;;/ || /^WINE/ { next } { print hive, key, $0 }
                       ' "$prefix/$hive.reg"
    sed -nE "s/^(\[.*\])( [0-9]+)?\$/$hive \1/p" "$prefix/$hive.reg"
  done | LC_ALL=C sort >"$1"
  (cd "$prefix/drive_c" && find . -type d -printf '%p/\n' -o -type f -exec sha256sum {} +) | LC_ALL=C sort >>"$1"
  sed -i -E "\\@$noise@d" "$1"
}
run() { local code=0; timeout 300 "$wine" "$@" </dev/null >"$work/out" 2>&1 || code=$?; echo "$code"; }
# Exit codes of Windows have 32 bits, those of this system 8.
expect() { local got; got=$(run "${@:2}"); [ "$got" -eq $(($1 % 256)) ] || { fail "exit code $got, not $(($1 % 256)): ${*:2}"; cat "$work/out" >&2; }; }
# The uninstaller's copy, which ends it, goes at the system's next start.
uninstall() { expect 0 "$folder/uninstall.exe" /S; settle; expect 0 wineboot.exe -r; }
same() { diff "$work/before" "$work/after" >"$work/diff" || { fail "$1 leaves:"; head -n 40 "$work/diff" >&2; }; }

# Each bitness in its own view of the registry.
registered() {
  for library in TvFileSourceAsync TvDataServices; do
    grep '^system .*InprocServer32' "$1" >"$work/classes"
    grep -q "Wow6432Node.*x86.*$library.dll" "$work/classes" || fail "$library is not registered for x86"
    [ -n "$(grep -v Wow6432Node "$work/classes" | grep "x64.*$library.dll")" ] || fail "$library is not registered for x64"
  done
}

# The classes that the uninstaller asks for are those that the contracts name.
for class in $(sed -nE 's/^  !insertmacro Unregister .*\{(.{8})-(.{4})-(.{4})-.*\}$/0x\1,0x\2,0x\3/p' "$root/installer/TavelFileSource.nsi"); do
  grep -qF "{${class//,/, }, " "$root"/sdk/*.idl || fail "no contract has the class $class"
done

# A search path longer than the installer's own variables.
environment='HKLM\System\CurrentControlSet\Control\Session Manager\Environment'
long=$(printf 'C:\\tools%03d;' {1..300})
expect 0 reg.exe add "$environment" /v Path /t REG_EXPAND_SZ /d "%SystemRoot%\\system32;%SystemRoot%;${long}C:\\last" /f

# What the platform makes of itself at the first use counts as there before.
expect 0 regsvr32.exe /s quartz.dll
snapshot "$work/before"

expect 0 "$setup" /S
expect 0 "$folder/x64/tvsource.exe" play --null "$media"
# By way of what the data services call late.
mkdir "$work/www"
cp "$media" "$work/www/media"
serve "$work/www" || fail 'the web server does not start'
expect 0 "$folder/x64/tvsource.exe" play --null "http://127.0.0.1:$port/media"
kill "$web_server"
snapshot "$work/installed"
registered "$work/installed"
for value in 'InstallDate"="20[0-9]{6}"' 'VersionMajor"=dword:' "DisplayVersion\"=\"$version\"" 'DisplayName"="Tavel File Source"' 'Publisher"="Tavel"' 'QuietUninstallString"=' 'EstimatedSize"=dword:0000[^0]'; do
  grep -qE "^system .*Uninstall.*TavelFileSource.*$value" "$work/installed" || fail "the entry among the installed programs lacks $value"
done
for program in "$setup" "$folder/uninstall.exe"; do
  grep -aq 'level="requireAdministrator"' "$program" || fail "$program asks for no rights"
  llvm-readobj --file-headers --sections "$program" >"$work/headers"
  grep -q IMAGE_DLL_CHARACTERISTICS_NX_COMPAT "$work/headers" || fail "data of $program are code"
  awk '/Section \{/ { w = x = 0 } /MEM_WRITE/ { w = 1 } /MEM_EXECUTE/ { x = 1 } w && x { exit 1 }' "$work/headers" || fail "code of $program can be written"
done
uninstall
snapshot "$work/after"
same 'an installation'

# Other components, then as before without saying so, then all that is installed when nothing is said.
expect 0 "$setup" /S
expect 0 "$setup" /S /NOSERVICE /PATH
snapshot "$work/other"
expect 0 "$setup" /S
snapshot "$work/after"
diff "$work/other" "$work/after" >"$work/diff" || { fail 'a second installation changes:'; head -n 20 "$work/diff" >&2; }
[ ! -e "$folder/x64/TKRuntimeLogger.exe" ] || fail 'what is left out stays'
! grep -q TKRuntimeLogger.exe "$work/after" || fail 'what is left out stays registered'
expect 0 cmd.exe /c tvsource.exe --version
expect 0 "$setup" /S /SERVICE /NOPATH
snapshot "$work/after"
diff "$work/installed" "$work/after" >"$work/diff" || { fail 'other components leave:'; head -n 20 "$work/diff" >&2; }
expect 0 "$setup" /S /PATH
echo mine >"$folder/x64/mine.txt"
# Two at once: one that asks somebody, and another one, which leaves.
"$wine" "$setup" </dev/null >/dev/null 2>&1 &
for _ in {1..20}; do
  code=$(run "$setup" /S)
  [ "$code" -eq 0 ] || break
done
[ "$code" -eq $((1618 % 256)) ] || fail "the second of two installers ends with $code"
expect 1618 "$folder/uninstall.exe" /S '_?=C:\Nowhere'
expect 0 taskkill.exe /f /im "$(basename "$setup")"
finish
clear_temporary
uninstall
[ "$(cat "$folder/x64/mine.txt" 2>/dev/null)" = mine ] || fail "the user's file is gone"
rm -rf "$folder"
snapshot "$work/after"
same 'a second installation'

# break_off IS FILE PROGRAM OPTION...: as soon as the file is (-e) or isn't (! -e) there.
break_off() {
  local is=$1 file=$folder/$2
  "$wine" "${@:3}" </dev/null &
  for _ in {1..1200}; do
    [ $is "$file" ] && break
    sleep 0.05
  done
  WINEPREFIX=$prefix "$server" -k || true
  wait || true
  settle
  [ $is "$file" ] || fail "it was never so: $is $file"
}
# As soon as anything can be taken away again, and a little later.
for after in uninstall.exe x86/TvFileSourceAsync.dll; do
  break_off -e $after "$setup" /S /PATH
  uninstall
  clear_temporary
  snapshot "$work/after"
  same "an installation that broke off after $after"
done
# An upgrade is gone on with, and an uninstaller can be called again.
expect 0 "$former" /S
break_off '! -e' x86/TvMetadata.dll "$setup" /S
expect 0 "$setup" /S
expect 0 "$folder/x64/tvsource.exe" play --null "$media"
break_off '! -e' x64/tvsource.exe "$folder/uninstall.exe" /S
uninstall
clear_temporary
snapshot "$work/after"
same 'an upgrade and an uninstaller that broke off'

# What isn't understood, or has no place, changes nothing, neither on a bare system nor where another version works.
: >"$prefix/drive_c/file"
snapshot "$work/refused"
for option in '/D=relative' '/D="C:\Quoted"' '/D=Q:\none' '/D=C:\file\folder' '/D=Z:\proc\none' /NOSERVCE '/SERVICE /OTHER'; do
  # shellcheck disable=SC2086 # words
  expect 2 "$setup" /S $option
done
snapshot "$work/after"
diff "$work/refused" "$work/after" >"$work/diff" || { fail 'what was refused leaves:'; head -n 20 "$work/diff" >&2; }
rm "$prefix/drive_c/file"
expect 0 "$former" /S
expect 2 "$setup" /S '/D=Z:\proc\none'
expect 0 "$folder/x64/tvsource.exe" play --null "$media"
# Its own folder alone is taken away by what lies elsewhere, and not the entry among the installed programs.
mkdir "$prefix/drive_c/Elsewhere"
cp "$folder/uninstall.exe" "$prefix/drive_c/Elsewhere/"
expect 0 "$prefix/drive_c/Elsewhere/uninstall.exe" /S '_?=C:\Elsewhere'
expect 0 reg.exe query 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\TavelFileSource' /v DisplayVersion
rm -rf "$prefix/drive_c/Elsewhere"
uninstall
snapshot "$work/after"
same 'what was refused'

# A damaged library, and a class that somebody else has taken over.
expect 0 "$setup" /S '/D=C:\Damaged'
: >"$prefix/drive_c/Damaged/x86/TvDataServices.dll"
layer='HKLM\Software\Classes\CLSID\{8DEF38CF-43CC-44C3-A8D8-A69395CE9022}'
expect 0 reg.exe add "$layer\\InprocServer32" /ve /d 'C:\mine\layer.dll' /f
expect 0 "$prefix/drive_c/Damaged/uninstall.exe" /S '_?=C:\Damaged'
expect 0 reg.exe query "$layer\\InprocServer32"
grep -q layer.dll "$work/out" || fail "somebody else's class is gone"
expect 0 reg.exe delete "$layer" /f
rm -rf "$prefix/drive_c/Damaged"  # the uninstaller, which can't take away itself
snapshot "$work/after"
same 'a damaged installation'

# A search path that ends with a semicolon.
expect 0 reg.exe add "$environment" /v Path /t REG_SZ /d 'C:\windows;C:\windows\system32;' /f
snapshot "$work/before"

# Over an older version in a folder of its own, which stays, and then into another one. Never over a newer one, unless told to.
expect 0 "$former" /S /PATH '/D=C:\Other'
[ -e "$prefix/drive_c/Other/documents/docs/former.md" ] || fail 'the former version lacks its document'
expect 0 reg.exe query "$environment" /v Path
grep -qF 'C:\windows\system32;C:\Other\x64' "$work/out" || { fail 'the search path has an empty folder, or not ours:'; cat "$work/out" >&2; }
expect 0 "$setup" /S
[ ! -e "$prefix/drive_c/Other/documents/docs/former.md" ] || fail 'what only the former version has stays'
expect 1638 "$former" /S
[ ! -e "$prefix/drive_c/Other/documents/docs/former.md" ] || fail 'it was replaced by an older version'
expect 0 "$former" /S /DOWNGRADE
expect 0 "$setup" /S /NOHOST
[ ! -e "$prefix/drive_c/Other/x64/tvsource.exe" ] || fail 'what is left out stays'
expect 0 "$setup" /S /HOST /PATH
[ -e "$prefix/drive_c/Other/x64/tvsource.exe" ] || fail 'it does not stay where it was'
[ ! -e "$folder" ] || fail 'it is there twice'
expect 0 "$setup" /S '/D=C:\Third'
[ ! -e "$prefix/drive_c/Other" ] || fail 'the former folder stays'
expect 0 cmd.exe /c tvsource.exe --version
folder=$prefix/drive_c/Third
uninstall
snapshot "$work/after"
same 'an upgrade of a version in another folder'

# Over files that are in use, and away with them: by a host that nobody reads from, and by the service.
expect 0 "$setup" /S '/D=C:\Used'
folder=$prefix/drive_c/Used
head -c 8000000 /dev/zero >"$work/large.avi"
mkfifo "$work/pipe"
use_host() {
  "$wine" "$folder/x64/tvsource.exe" cat "$work/large.avi" >"$work/pipe" 2>/dev/null &
  exec 3<"$work/pipe"
  timeout 60 head -c 1000 <&3 >"$work/begun" || fail 'the host reads nothing'
}
restart() {
  exec 3<&-
  finish
  expect 0 wineboot.exe -r
}
use_host
"$wine" "$folder/x64/TKRuntimeLogger.exe" </dev/null >"$work/log" 2>&1 &
for _ in {1..300}; do
  [ ! -s "$work/log" ] || break
  sleep 0.1
done
expect 3010 "$setup" /S
for file in TKRuntimeLogger.exe tvsource.exe TvFileSourceAsync.dll; do
  [ -e "$folder/x64/$file.replaced-1" ] || fail "$file is in use and was not put aside"
done
expect 0 "$folder/x64/tvsource.exe" play --null "$media"
expect 0 "$folder/x64/TKRuntimeLogger.exe" --stop
restart
[ -z "$(find "$folder" -name '*.replaced-*')" ] || fail 'what was put aside is still there after a restart'
expect 0 "$folder/x64/tvsource.exe" play --null "$media"
[ -s "$folder/documents/README.md" ] || fail 'the documents are gone after a restart'
use_host
expect 3010 "$folder/uninstall.exe" /S '_?=C:\Used'
restart
rm -f "$folder/uninstall.exe"
rmdir "$folder" || fail 'what was in use is still there after a restart'
snapshot "$work/after"
same 'an upgrade over files in use'

# Without an installer.
names=()
for archive; do
  names+=("$(basename "$archive" .zip)")
  unzip -q "$archive" -d "$prefix/drive_c/portable"
done
for name in "${names[@]}"; do
  expect 0 cmd.exe /c "C:\\portable\\$name\\register.cmd"
  # By the program's own bitness. Where there are no parsers, bytes can be read.
  "$wine" "$prefix/drive_c/portable/$name/tvsource.exe" cat "$media" </dev/null >"$work/read" 2>"$work/out" && cmp "$media" "$work/read" || { fail "$name reads nothing"; cat "$work/out" >&2; }
done
snapshot "$work/registered"
registered "$work/registered"
for name in "${names[@]}"; do
  expect 0 cmd.exe /c "C:\\portable\\$name\\register.cmd" /u
done
rm -rf "$prefix/drive_c/portable"
snapshot "$work/after"
same 'register.cmd'
[ $failed -eq 0 ] && echo 'installer: nothing is left behind'
exit $failed
