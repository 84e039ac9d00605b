#!/usr/bin/env bash
# Times the filter against the platform's stock file source and bare ReadFile, and over http against bare WinHTTP calls;
# then what it needs for reads of all kinds over links that are slow, far, pause or end, beside bare WinHTTP, curl, ffmpeg
# and GStreamer on the same server (bench/linkserver.py). Prints tables and which goals were reached. Takes about three
# minutes, and 256 MiB of the temporary folder while it runs.
#
#   tools/bench.sh [PRESET]          all, of a preset for x64: win64, or release-win64 (tools/setup.sh --package), which is what is released
#   tools/bench.sh --link [PRESET]   the second half alone
#
# Fails when a goal was missed. Figures mean most on a machine that does nothing else.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh --bench

link=
[ "${1:-}" != --link ] || { link=yes; shift; }
preset=${1:-win64}

echo "== Building $preset"
mkdir -p build
cmake --preset "$preset" >"build/$preset.configure.log" || {
  cat "build/$preset.configure.log"
  exit 1
}
NINJA_STATUS='' cmake --build --preset "$preset" --target tvbench -- --quiet
# A platform that stops answering must not keep a machine busy for good.
bench=(timeout 300 "build/$preset/wine.sh" "build/$preset/bin/tvbench.exe")

result=0
[ -n "$link" ] || "${bench[@]}" || result=$?

# Longer than those of tests/media: a parser that reads all of a source tells nothing.
media=build/bench-media
make() {
  local name=$1
  shift
  [ -e "$media/$name" ] || { ffmpeg -v error -nostdin -y "$@" "$media/new-$name" && mv "$media/new-$name" "$media/$name"; }
}
mkdir -p "$media"
make long.wav -f lavfi -i anoisesrc=r=44100:d=10 -ac 2 -c:a pcm_s16le
make long.mp3 -f lavfi -i anoisesrc=r=44100:d=60 -c:a libmp3lame -b:a 128k
make long.ogg -f lavfi -i anoisesrc=r=44100:d=60 -ac 2 -c:a libvorbis -q:a 4
make long.avi -f lavfi -i testsrc2=s=320x240:r=25:d=20 -f lavfi -i anoisesrc=r=22050:d=20 -c:v mjpeg -q:v 6 -c:a pcm_s16le
make index-last.mov -f lavfi -i anoisesrc=r=96000:d=330 -f lavfi -i testsrc=s=16x16:r=100:d=330 -ac 1 -c:a pcm_s16le -c:v mjpeg

exec {server}< <(exec python3 bench/linkserver.py "$media")
trap 'kill '$! EXIT
read -r -t 10 url <&"$server"
timeout 120 python3 bench/linkpeers.py "$url" >build/bench-peers.txt
"${bench[@]}" --link "$url" build/bench-peers.txt || result=$?
exit "$result"
