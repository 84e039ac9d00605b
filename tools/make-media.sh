#!/usr/bin/env bash
# Makes the small media files of tests/media again. They are kept in the repository: only a change here needs a run.
# Needs ffmpeg with its usual encoders (on Debian: apt-get install ffmpeg).
#
#   tools/make-media.sh [FOLDER]      FOLDER: where they go, tests/media when it is left out
#
# The same ffmpeg makes the same bytes each time: synthetic sources, one thread, no dates, no versions, no random numbers.
set -euo pipefail
command -v ffmpeg >/dev/null || { echo 'tools/make-media.sh needs ffmpeg (apt-get install ffmpeg)' >&2; exit 1; }
folder=${1:-$(dirname "$0")/../tests/media}
mkdir -p "$folder"

# make NAME OPTIONS...: half a second of two-tone sound and, where the options map it, a moving test picture.
make() {
  local name=$1
  shift
  ffmpeg -v error -nostdin -y -threads 1 \
    -f lavfi -i 'sine=frequency=440:beep_factor=4:sample_rate=16000:duration=0.5' \
    -f lavfi -i 'testsrc=size=64x48:rate=10:duration=0.5' \
    "$@" -map_metadata -1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact "$folder/$name"
}

sound=(-map 0:a)
both=(-map 1:v -map 0:a)
make tone.wav "${sound[@]}" -c:a pcm_s16le
make tone.au "${sound[@]}" -c:a pcm_s16be
make tone.mp3 "${sound[@]}" -c:a libmp3lame -b:a 16k -id3v2_version 0 -write_xing 0
make tone.flac "${sound[@]}" -c:a flac
make tone.ogg "${sound[@]}" -c:a libvorbis -q:a 0
make clip.avi "${both[@]}" -c:v mjpeg -pix_fmt yuvj420p -q:v 12 -c:a pcm_u8 -ar 8000
make clip.mp4 "${both[@]}" -c:v mjpeg -pix_fmt yuvj420p -q:v 12 -c:a libmp3lame -b:a 16k
make clip.mkv "${both[@]}" -c:v libvpx -pix_fmt yuv420p -b:v 60k -c:a libvorbis -q:a 0
