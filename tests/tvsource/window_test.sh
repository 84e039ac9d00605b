#!/usr/bin/env bash
# window_test.sh WINE PROGRAM OPTION...: runs the tests of windows, PROGRAM, on the screen of an X server that draws into a file. They get a Wine prefix of
# their own, because the one of the other tests has no screen. Without Xvfb nothing can be seen: exit code 77.
set -euo pipefail
wine=$1 program=$2
shift 2
command -v Xvfb >/dev/null || {
  echo 'skipped: no Xvfb is installed'
  exit 77
}
folder=$(mktemp -d)
server=
clean_up() {
  timeout 20 "${wine%/*}/wineserver" -k 2>/dev/null || true
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  rm -rf "$folder"
}
export WINEPREFIX="$folder/prefix" WINEDEBUG="${WINEDEBUG:--all}" WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
trap clean_up EXIT
trap 'exit 1' INT TERM

# The server writes the number of its display once it takes connections.
mkfifo "$folder/display"
timeout 280 Xvfb -displayfd 3 -screen 0 640x480x24 -fbdir "$folder" -nolisten tcp 3>"$folder/display" 2>"$folder/server.log" &
server=$!
read -r -t 30 number <"$folder/display" || {
  cat "$folder/server.log"
  exit 1
}
export DISPLAY=":$number" TV_SCREEN="Z:$folder/Xvfb_screen0"

{
  timeout 120 "$wine" wineboot -i
  # No sound card is looked for, and a program that crashes opens no window.
  timeout 60 "$wine" reg add 'HKCU\Software\Wine\Drivers' /v Audio /d '' /f
  timeout 60 "$wine" reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
  # The tests must find the services that stay, not those that set the prefix up.
  timeout 60 "${wine%/*}/wineserver" -w || true
} >"$folder/prefix.log" 2>&1 || {
  cat "$folder/prefix.log"
  exit 1
}
timeout 200 "$wine" "$program" --gtest_brief=1 "$@"
