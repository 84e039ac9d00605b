#!/usr/bin/env bash
# Makes files of every media type that content can tell, and of many that are no media the MIME dictionary knows:
# FOLDER/<type with '-' for '/'>/<name>, or FOLDER/none/<name>. The folder's name is the first answer that is expected.
#
#   tools/make-samples.sh FOLDER           several hundred files; downloads about 180 MB of Debian packages for some
#   tools/make-samples.sh --small [FOLDER] the small ones that are kept in tests/metadata/samples: only a change here needs a run
#
# `tvsource detect FOLDER` says what is found in them. A sample whose program is missing is left out, with a message.
# Needs ffmpeg and python3; on Debian they are installed by
#   apt-get install ffmpeg python3 sox mjpegtools vorbis-tools opus-tools flac speex mkvtoolnix lame wavpack fonts-dejavu-core
set -uo pipefail
tools=$(cd "$(dirname "$0")" && pwd)
small=
if [ "${1:-}" = --small ]; then
  small=--small
  shift
  set -- "${1:-$tools/../tests/metadata/samples}"
fi
[ $# -eq 1 ] || { echo "usage: tools/make-samples.sh [--small] FOLDER" >&2; exit 2; }
for program in ffmpeg ffprobe python3; do
  command -v $program >/dev/null || { echo "tools/make-samples.sh needs $program" >&2; exit 1; }
done
mkdir -p "$1"
folder=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if [ -n "$small" ]; then seconds=0.4 size=48x32; else seconds=4 size=176x144; fi

# file TYPE NAME: the path of a sample to be made.
file() {
  mkdir -p "$folder/${1//\//-}"
  printf '%s' "$folder/${1//\//-}/$2"
}
# sample TYPE NAME OPTIONS...: ffmpeg makes it of a tone and a moving picture.
sample() {
  local path
  path=$(file "$1" "$2")
  shift 2
  ffmpeg -v error -nostdin -y -threads 1 \
    -f lavfi -i "sine=frequency=440:beep_factor=4:sample_rate=44100:duration=$seconds" \
    -f lavfi -i "testsrc=size=$size:rate=10:duration=$seconds" \
    "$@" -threads 1 -strict -2 -map_metadata -1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact "$path" 2>"$work/log" ||
    { printf 'left out: %s (%s)\n' "${path#"$folder"/}" "$(tail -n 1 "$work/log")" >&2; rm -f "$path"; }
}
# more ...: as sample, for the large set only.
more() { [ -n "$small" ] || sample "$@"; }
# with PROGRAM COMMAND...: runs the command where the program is installed.
with() {
  if command -v "$1" >/dev/null; then
    "${@:2}" >/dev/null 2>&1 || printf 'failed: %s\n' "${*:2}" >&2
  else
    printf 'left out for want of %s: %s\n' "$1" "${*: -1}" >&2
  fi
}
sound=(-map 0:a)
picture=(-map 1:v -pix_fmt yuv420p)
both=(-map 1:v -map 0:a -pix_fmt yuv420p)
vp8=(-c:v libvpx -b:v 40k -auto-alt-ref 0)
x264=(-c:v libx264 -preset veryfast -x264-params "sei=0")

# MPEG audio and other frames.
sample audio/mpeg layer3.mp3 "${sound[@]}" -c:a libmp3lame -b:a 32k -ar 44100 -id3v2_version 0 -write_xing 0
sample audio/mpeg layer3-2.5.mp3 "${sound[@]}" -c:a libmp3lame -b:a 8k -ar 8000 -id3v2_version 0 -write_xing 0
sample audio/mpeg layer3-vbr-tagged.mp3 "${sound[@]}" -c:a libmp3lame -q:a 9 -ar 22050 -metadata title=t -write_id3v1 1
sample audio/mp2 layer2.mp2 "${sound[@]}" -c:a mp2 -b:a 32k -ac 1
for rate in 8000 11025 12000 16000 22050 24000 32000 44100 48000; do
  for channels in 1 2; do
    more audio/mpeg "layer3-$rate-$channels.mp3" "${sound[@]}" -c:a libmp3lame -b:a 32k -ar $rate -ac $channels
    more audio/mpeg "layer3-vbr-$rate-$channels.mp3" "${sound[@]}" -c:a libmp3lame -q:a 4 -ar $rate -ac $channels -id3v2_version 0
    more audio/x-aac "adts-$rate-$channels.aac" "${sound[@]}" -c:a aac -b:a 32k -ar $rate -ac $channels -f adts
    more audio/x-aac "loas-$rate-$channels.loas" "${sound[@]}" -c:a aac -b:a 32k -ar $rate -ac $channels -f latm
    [ $rate -lt 16000 ] ||
      more audio/mp2 "layer2-$rate-$channels.mp2" "${sound[@]}" -c:a libtwolame -b:a 64k -ar $rate -ac $channels
  done
done
for rate in 64 128 192 256 320 384; do
  more audio/mp2 "layer2-${rate}k.mp2" "${sound[@]}" -c:a mp2 -ac 2 -ar 48000 -b:a ${rate}k
  [ $rate -gt 320 ] || more audio/mpeg "layer3-${rate}k.mp3" "${sound[@]}" -c:a libmp3lame -ac 2 -b:a ${rate}k -id3v2_version 3
done
sample audio/x-aac adts.aac "${sound[@]}" -c:a aac -b:a 16k -ar 16000 -f adts
sample audio/x-aac frames.loas "${sound[@]}" -c:a aac -b:a 16k -ar 16000 -f latm
sample audio/x-ac3 frames.ac3 "${sound[@]}" -c:a ac3 -b:a 64k -ar 48000 -ac 1
sample audio/x-ac3 frames.eac3 "${sound[@]}" -c:a eac3 -b:a 32k -ar 48000 -ac 1
for rate in 32000 44100 48000; do
  for bits in 96k 192k 448k; do
    more audio/x-ac3 "$rate-$bits.ac3" "${sound[@]}" -c:a ac3 -b:a $bits -ar $rate -ac 2
    more audio/x-ac3 "$rate-$bits.eac3" "${sound[@]}" -c:a eac3 -b:a $bits -ar $rate -ac 2
    [ $bits = 192k ] || more audio/x-dts "$rate-$bits.dts" "${sound[@]}" -c:a dca -b:a ${bits/96k/320k} -ar $rate -ac 2
  done
done
sample audio/x-dts disc.dts "${sound[@]}" -c:a dca -b:a 1234800 -ar 44100 -ac 2 -t 0.03
sample audio/x-dts frames.dts "${sound[@]}" -c:a dca -b:a 256k -ar 48000 -ac 1 -t 0.2

# Sound files.
sample audio/wav pcm.wav "${sound[@]}" -c:a pcm_u8 -ar 8000
sample audio/wav rf64.wav "${sound[@]}" -c:a pcm_u8 -ar 8000 -rf64 always
more audio/wav extensible.wav "${sound[@]}" -c:a pcm_s24le -channel_layout 3.0 -ac 3
more audio/wav broadcast.wav "${sound[@]}" -c:a pcm_s16le -write_bext 1 -metadata description=d
more audio/wav peak.wav "${sound[@]}" -c:a pcm_s16le -write_peak on
for codec in pcm_s16le pcm_s24le pcm_s32le pcm_f32le pcm_f64le pcm_alaw pcm_mulaw adpcm_ms adpcm_ima_wav adpcm_yamaha adpcm_swf \
  libmp3lame mp2 aac ac3 wmav2 g722 g726 libgsm_ms g723_1; do
  rate=(-ar 44100)
  case $codec in g722) rate=(-ar 16000) ;; g726 | libgsm_ms | g723_1) rate=(-ar 8000 -b:a 32k) ;; esac
  [ $codec != g723_1 ] || rate=(-ar 8000 -b:a 6300)
  [ $codec != libgsm_ms ] || rate=(-ar 8000)
  more audio/wav "$codec.wav" "${sound[@]}" -c:a $codec "${rate[@]}" -f wav
done
for codec in s16be s24be s32be f32be alaw mulaw s8; do
  more audio/aiff "$codec.aiff" "${sound[@]}" -c:a pcm_$codec
  more audio/basic "$codec.au" "${sound[@]}" -c:a pcm_$codec
done
sample audio/aiff pcm.aiff "${sound[@]}" -c:a pcm_s8 -ar 8000
sample audio/aiff alaw.aifc "${sound[@]}" -c:a pcm_alaw -ar 8000 -f aiff
sample audio/basic mulaw.au "${sound[@]}" -c:a pcm_mulaw -ar 8000

# AVI.
sample video/avi both.avi "${both[@]}" -c:v mpeg4 -b:v 40k -c:a libmp3lame -b:a 8k -ar 8000
sample audio/avi sound.avi "${sound[@]}" -c:a libmp3lame -b:a 8k -ar 8000
more video/avi picture.avi "${picture[@]}" -c:v mpeg4
for codec in mjpeg rawvideo libxvid libx264 huffyuv cinepak msmpeg4v2 wmv1 ffv1 dvvideo; do
  extra=()
  case $codec in dvvideo) extra=(-s 720x576 -r 25 -t 0.4) ;; cinepak) extra=(-pix_fmt rgb24 -t 0.5) ;; huffyuv) extra=(-pix_fmt yuv422p) ;; esac
  [ $codec != mjpeg ] || extra=(-pix_fmt yuvj420p)
  more video/avi "$codec.avi" "${both[@]}" -c:v $codec "${extra[@]}" -c:a libmp3lame
done
for codec in pcm_s16le libmp3lame ac3 aac; do more audio/avi "$codec.avi" "${sound[@]}" -c:a $codec -ar 48000; done
more video/avi player.amv -map 1:v -map 0:a -c:v amv -pix_fmt yuvj420p -s 160x120 -r 15 -c:a adpcm_ima_amv -ac 1 -ar 22050 -block_size 1470 -f amv

# MP4 and QuickTime.
mp4=(-c:v mpeg4 -b:v 40k -c:a aac -b:a 16k -ar 16000)
sample video/mp4 moov-at-end.mp4 "${both[@]}" "${mp4[@]}"
sample video/mp4 fragmented.mp4 "${both[@]}" "${mp4[@]}" -movflags frag_keyframe+empty_moov+default_base_moof
sample audio/mp4 moov-at-end.m4a "${sound[@]}" -c:a aac -b:a 16k -ar 16000
sample video/quicktime both.mov "${both[@]}" -c:v mpeg4 -b:v 40k -c:a pcm_u8 -ar 8000
sample audio/quicktime sound.mov "${sound[@]}" -c:a pcm_s16be -ar 8000 -movflags +faststart

for flags in faststart frag_keyframe+empty_moov frag_keyframe dash+delay_moov separate_moof+frag_keyframe+empty_moov disable_chpl rtphint; do
  for codec in libx264 libx265 mpeg4 mpeg1video mpeg2video libvpx-vp9 mjpeg; do
    more video/mp4 "$codec-$flags.mp4" "${both[@]}" -c:v $codec -c:a aac -movflags $flags
  done
  more video/mp4 "picture-$flags.mp4" "${picture[@]}" "${x264[@]}" -movflags $flags
  more video/quicktime "both-$flags.mov" "${both[@]}" "${x264[@]}" -c:a aac -movflags $flags
  more video/quicktime "picture-$flags.mov" "${picture[@]}" -c:v mjpeg -pix_fmt yuvj420p -movflags $flags
  more audio/quicktime "sound-$flags.mov" "${sound[@]}" -c:a aac -movflags $flags
  for codec in aac alac libmp3lame ac3 libopus flac; do
    more audio/mp4 "$codec-$flags.m4a" "${sound[@]}" -ar 48000 -c:a $codec -movflags $flags -f mp4
  done
done
more video/mp4 phone.3gp "${both[@]}" -c:v h263 -c:a aac
more video/mp4 phone.3g2 "${both[@]}" -c:v mpeg4 -c:a aac
more audio/mp4 phone-sound.3gp "${sound[@]}" -c:a aac
more video/mp4 flash.f4v "${both[@]}" "${x264[@]}" -c:a aac
more video/mp4 film.m4v "${both[@]}" "${x264[@]}" -c:a aac -f ipod
more audio/mp4 song.m4a "${sound[@]}" -c:a aac -f ipod
more audio/mp4 book.m4b "${sound[@]}" -c:a aac -f ipod
more video/mp4 smooth.ismv "${both[@]}" "${x264[@]}" -c:a aac
more video/mp4 player.psp.mp4 "${both[@]}" "${x264[@]}" -c:a aac -ar 48000 -f psp
more audio/mp4 cover.m4a -map 0:a -map 1:v -c:a aac -c:v mjpeg -pix_fmt yuvj420p -frames:v 1 -disposition:v attached_pic -f ipod
for codec in prores_ks qtrle svq1 rawvideo mjpeg; do
  more video/quicktime "$codec.mov" "${both[@]}" -c:v $codec -c:a pcm_s16be $([ $codec = prores_ks ] && echo -pix_fmt yuv422p10le) \
    $([ $codec = svq1 ] && echo -pix_fmt yuv410p) $([ $codec = qtrle ] && echo -pix_fmt rgb24)
done

# Matroska and WebM.
sample video/x-matroska both.mkv "${both[@]}" "${vp8[@]}" -c:a libvorbis -q:a 0 -ar 16000
sample audio/x-matroska sound.mka "${sound[@]}" -c:a libmp3lame -b:a 8k -ar 8000
sample video/x-matroska live.webm "${picture[@]}" "${vp8[@]}" -live 1
for codec in libopus libvorbis flac pcm_s16le aac ac3 mp2 libmp3lame; do
  more audio/x-matroska "$codec.mka" "${sound[@]}" -ar 48000 -c:a $codec
  more video/x-matroska "$codec.mkv" "${both[@]}" "${x264[@]}" -ar 48000 -c:a $codec
done
for codec in mpeg4 libx265 mpeg2video mjpeg ffv1 libtheora libvpx-vp9; do more video/x-matroska "$codec.mkv" "${picture[@]}" -c:v $codec; done
for codec in libopus libvorbis; do
  more audio/x-matroska "$codec.webm" "${sound[@]}" -ar 48000 -c:a $codec
  more audio/x-matroska "$codec-live.webm" "${sound[@]}" -ar 48000 -c:a $codec -live 1
  more video/x-matroska "$codec.webm" "${both[@]}" "${vp8[@]}" -ar 48000 -c:a $codec
  more video/x-matroska "$codec-live.webm" "${both[@]}" "${vp8[@]}" -ar 48000 -c:a $codec -live 1 -cluster_time_limit 100
  more video/x-matroska "$codec-cues-first.webm" "${both[@]}" "${vp8[@]}" -ar 48000 -c:a $codec -cues_to_front 1
done
more audio/x-matroska cover.mka "${sound[@]}" -c:a flac -attach "$tools/../README.md" -metadata:s:t mimetype=text/plain

# Ogg.
sample audio/ogg vorbis.ogg "${sound[@]}" -c:a libvorbis -q:a 0 -ar 16000
sample audio/ogg opus.opus "${sound[@]}" -c:a libopus -b:a 12k -ar 48000
sample video/ogg theora.ogv "${both[@]}" -c:v libtheora -b:v 40k -c:a libvorbis -q:a 0 -ar 16000
sample video/ogg vp8.ogv "${picture[@]}" "${vp8[@]}" -f ogg
more audio/ogg flac.oga "${sound[@]}" -c:a flac
more audio/ogg speex.spx "${sound[@]}" -c:a libspeex -ar 16000
more video/ogg theora-only.ogv "${picture[@]}" -c:v libtheora
more video/ogg theora-flac.ogv -map 0:a -map 1:v -pix_fmt yuv420p -c:v libtheora -c:a flac -f ogg
more video/ogg theora-opus.ogv -map 0:a -map 1:v -pix_fmt yuv420p -c:v libtheora -c:a libopus -ar 48000 -f ogg
for rate in 8000 22050 44100 48000; do more audio/ogg "vorbis-$rate.ogg" "${sound[@]}" -c:a libvorbis -ar $rate -ac 2; done

# MPEG systems and elementary streams.
sample video/mp1s system.mpg "${both[@]}" -c:v mpeg1video -r 25 -b:v 60k -c:a mp2 -b:a 32k -ac 1 -f mpeg
sample video/mp2p program.vob "${both[@]}" -c:v mpeg2video -r 25 -b:v 60k -c:a ac3 -b:a 64k -ar 48000 -f vob
sample video/mp2t packets.ts "${both[@]}" -c:v mpeg2video -r 25 -b:v 60k -c:a mp2 -b:a 32k
sample video/mp2t packets.m2ts "${both[@]}" -c:v mpeg4 -b:v 60k -c:a mp2 -b:a 32k -mpegts_m2ts_mode 1 -f mpegts
sample video/mpeg picture.m1v "${picture[@]}" -c:v mpeg1video -r 25 -b:v 60k -f mpeg1video
sample video/mpeg2 picture.m2v "${picture[@]}" -c:v mpeg2video -r 25 -b:v 60k -f mpeg2video
sample video/mp4v-es picture.m4v "${picture[@]}" -c:v mpeg4 -b:v 40k -f m4v
sample video/x-motion-jpeg pictures.mjpeg "${picture[@]}" -c:v mjpeg -pix_fmt yuvj420p -q:v 12 -f mjpeg
for rate in 24 25 29.97 30 50; do
  video=(-r $rate -b:v 900k -g 12)
  more video/mp1s "system-$rate.mpg" "${both[@]}" -c:v mpeg1video "${video[@]}" -c:a mp2 -f mpeg
  more video/mp1s "mpeg2-in-system-$rate.mpg" "${both[@]}" -c:v mpeg2video "${video[@]}" -c:a mp2 -f mpeg
  more video/mp1s "picture-$rate.mpg" "${picture[@]}" -c:v mpeg1video "${video[@]}" -f mpeg
  more video/mp1s "vcd-$rate.mpg" "${both[@]}" -c:v mpeg1video "${video[@]}" -s 352x288 -c:a mp2 -ar 44100 -f vcd
  more video/mp2p "svcd-$rate.mpg" "${both[@]}" -c:v mpeg2video "${video[@]}" -s 480x576 -c:a mp2 -ar 44100 -f svcd
  more video/mp2p "dvd-$rate.vob" "${both[@]}" -c:v mpeg2video "${video[@]}" -s 720x576 -c:a ac3 -ar 48000 -f dvd
  more video/mpeg "picture-$rate.m1v" "${picture[@]}" -c:v mpeg1video "${video[@]}" -f mpeg1video
  more video/mpeg2 "picture-$rate.m2v" "${picture[@]}" -c:v mpeg2video "${video[@]}" -f mpeg2video
  more video/mpeg2 "intra-$rate.m2v" "${picture[@]}" -c:v mpeg2video -pix_fmt yuv422p -r $rate -g 1 -f mpeg2video
  more video/mp4v-es "picture-$rate.m4v" "${picture[@]}" -c:v mpeg4 "${video[@]}" -f m4v
  more video/mp4v-es "xvid-$rate.m4v" "${picture[@]}" -c:v libxvid "${video[@]}" -f m4v
  more video/x-motion-jpeg "pictures-$rate.mjpeg" "${picture[@]}" -c:v mjpeg -pix_fmt yuvj422p -r $rate -f mjpeg
done
more video/mp2p sound.vob "${sound[@]}" -c:a ac3 -ar 48000 -f vob
for codec in libx264 libx265 mpeg2video mpeg1video; do
  for audio in mp2 aac ac3 libmp3lame libopus dca; do
    more video/mp2t "$codec-$audio.ts" "${both[@]}" -c:v $codec -r 25 -c:a $audio -ar 48000 -ac 2 -f mpegts
  done
  more video/mp2t "$codec.m2ts" "${picture[@]}" -c:v $codec -r 25 -mpegts_m2ts_mode 1 -f mpegts
done
for audio in mp2 aac ac3 libmp3lame; do more video/mp2t "sound-$audio.ts" "${sound[@]}" -c:a $audio -ar 48000 -f mpegts; done
for standard in pal ntsc; do
  sample video/x-dv "$standard.dv" -map 1:v -map 0:a -t 0.2 -target $standard-dv -ac 2
done
more video/x-dv pal-50.dv -map 1:v -map 0:a -t 0.4 -target pal-dv50 -ac 2 -pix_fmt yuv422p

# ASF and RealMedia.
sample video/x-ms-wmv both.wmv "${both[@]}" -c:v wmv2 -b:v 40k -c:a wmav2 -b:a 32k -ar 22050 -packet_size 1600
sample audio/x-ms-wma sound.wma "${sound[@]}" -c:a wmav2 -b:a 32k -ar 22050 -packet_size 1600
for codec in wmv1 wmv2 msmpeg4 mpeg4 libx264; do
  more video/x-ms-wmv "$codec.wmv" "${both[@]}" -c:v $codec -c:a wmav2 -f asf
  more video/x-ms-wmv "$codec-picture.asf" "${picture[@]}" -c:v $codec -f asf
  more video/x-ms-wmv "$codec-mp3.asf" "${both[@]}" -c:v $codec -c:a libmp3lame -f asf
done
for codec in wmav1 wmav2 libmp3lame pcm_s16le aac; do more audio/x-ms-wma "$codec.wma" "${sound[@]}" -c:a $codec -f asf; done
sample video/x-pn-realmedia both.rm "${both[@]}" -c:v rv10 -b:v 40k -c:a ac3 -b:a 32k -ac 1 -f rm
sample audio/x-pn-realaudio sound.rm "${sound[@]}" -c:a ac3 -b:a 32k -ac 1 -f rm
more video/x-pn-realmedia rv20.rm "${both[@]}" -c:v rv20 -c:a ac3 -f rm
more video/x-pn-realmedia picture.rm "${picture[@]}" -c:v rv20 -f rm
more audio/x-pn-realaudio real144.ra "${sound[@]}" -c:a real_144 -ar 8000 -f rm

# No type of the table.
sample none tone.flac "${sound[@]}" -c:a flac -ar 8000
sample none clip.flv "${both[@]}" -c:v flv -b:v 40k -c:a libmp3lame -b:a 16k -ar 22050
sample none clip.h264 "${picture[@]}" "${x264[@]}" -bf 0 -f h264
sample none picture.jpg "${picture[@]}" -frames:v 1 -c:v mjpeg -pix_fmt yuvj420p
sample none picture.png "${picture[@]}" -frames:v 1 -pix_fmt rgb24
sample none picture.gif -map 1:v -frames:v 3
sample none picture.avif "${picture[@]}" -frames:v 1 -c:v libaom-av1 -cpu-used 8
sample none picture.webp "${picture[@]}" -frames:v 1 -c:v libwebp
sample none picture.jp2 "${picture[@]}" -frames:v 1 -c:v jpeg2000
more none clip.hevc "${picture[@]}" -c:v libx265 -f hevc
for form in bmp tiff tga pcx ppm sgi xwd xbm dpx exr jls ico qoi; do more none "picture.$form" -map 1:v -frames:v 1; done
for form in caf w64 tta wv voc ast sox rso nut gxf mxf wtv swf ivf ircam; do
  case $form in
    caf | w64 | voc | sox | ircam) more none "tone.$form" "${sound[@]}" ;;
    tta | rso | ast) more none "tone.$form" "${sound[@]}" -ar 44100 ;;
    wv) more none tone.wv "${sound[@]}" -c:a wavpack ;;
    ivf) more none clip.ivf "${picture[@]}" "${vp8[@]}" ;;
    swf) more none clip.swf "${both[@]}" -c:v flv -c:a libmp3lame ;;
    nut) more none clip.nut "${both[@]}" -c:v mpeg4 -c:a mp2 ;;
    wtv) more none clip.wtv "${both[@]}" -c:v mpeg2video -c:a mp2 ;;
    *) more none "clip.$form" "${both[@]}" -c:v mpeg2video -r 25 -s 720x576 -ar 48000 ;;
  esac
done
for raw in s8 s16le s16be f32le u8 alaw mulaw gsm sbc aptx g722 adx; do
  case $raw in gsm) rate=(-ar 8000 -c:a libgsm) ;; g722) rate=(-ar 16000 -c:a g722) ;; adx) rate=(-ar 44100) ;; *) rate=(-ar 32000) ;; esac
  more none "raw.$raw" "${sound[@]}" "${rate[@]}" -f $raw
done
more none raw.yuv "${picture[@]}" -c:v rawvideo -t 0.3 -f rawvideo
more none raw.dirac "${picture[@]}" -c:v vc2 -pix_fmt yuv422p -f dirac
more none clip.y4m "${picture[@]}" -t 0.4 -f yuv4mpegpipe

# Other programs than ffmpeg.
wav=$work/tone.wav
ffmpeg -v error -nostdin -y -f lavfi -i "sine=frequency=440:sample_rate=44100:duration=$seconds" -ac 2 -fflags +bitexact "$wav"
with mp2enc sh -c "mp2enc -v 0 -l 1 -b 64 -m -o '$(file audio/mp1 layer1.mp1)' <'$wav'"
if [ -z "$small" ]; then
  for rate in 32000 44100 48000; do
    for bits in 96 192 320 448; do
      ffmpeg -v error -nostdin -y -i "$wav" -ar $rate "$work/rate.wav"
      with mp2enc sh -c "mp2enc -v 0 -l 1 -b $bits -s -o '$(file audio/mp1 "$rate-$bits.mp1")' <'$work/rate.wav'"
      with mp2enc sh -c "mp2enc -v 0 -l 2 -b ${bits/448/384} -s -o '$(file audio/mp2 "mp2enc-$rate-$bits.mp2")' <'$work/rate.wav'"
    done
  done
  with lame lame --quiet --freeformat -b 200 "$wav" "$(file audio/mpeg free-format.mp3)"
  with lame lame --quiet --abr 90 -p --tt title --add-id3v2 "$wav" "$(file audio/mpeg crc-abr.mp3)"
  with lame lame --quiet -V 0 --id3v2-only --tt title --pad-id3v2-size 30000 "$wav" "$(file audio/mpeg padded-tag.mp3)"
  with oggenc oggenc -Q "$wav" -o "$(file audio/ogg oggenc.ogg)"
  with opusenc opusenc --quiet "$wav" "$(file audio/ogg opusenc.opus)"
  with opusenc opusenc --quiet --picture "$folder/none/picture.png" --padding 40000 "$wav" "$(file audio/ogg cover.opus)"
  for band in -n -w -u; do with speexenc speexenc --quiet $band "$wav" "$(file audio/ogg "speexenc$band.spx")"; done
  with flac flac -s --ogg "$wav" -o "$(file audio/ogg flac-tool.oga)"
  with flac flac -s "$wav" -o "$(file none tool.flac)"
  with wavpack wavpack -q "$wav" -o "$(file none tool.wv)"
  for kind in wav wavpcm aifc aiff au; do
    case $kind in wav*) type=audio/wav ;; a*f*) type=audio/aiff ;; au) type=audio/basic ;; esac
    with sox sox "$wav" -t $kind "$(file $type "sox.$kind")"
  done
  for kind in 8svx voc hcom avr gsrt maud prc smp sndt txw vox wve htk sf paf nist cvsd dvms la pvf mat4 caf w64 xi sds; do
    with sox sox "$wav" -c 1 -r 8000 -t $kind "$(file none "sox.$kind")"
  done
  mkv=$folder/video-x-matroska/mpeg4.mkv
  with mkvmerge mkvmerge -q -o "$(file video/x-matroska merged.mkv)" "$mkv" "$folder/audio-mpeg/layer3.mp3" --attach-file "$tools/make-samples.sh"
  with mkvmerge mkvmerge -q -w -o "$(file video/x-matroska merged.webm)" "$folder/video-x-matroska/libopus.webm"
  with mkvmerge mkvmerge -q -o "$(file audio/x-matroska merged.mka)" "$folder/audio-mpeg/layer3.mp3"
  sound_file=$folder/audio-mp2/layer2-44100-2.mp2
  with mplex mplex -v 0 -f 1 -o "$(file video/mp1s mplex-vcd.mpg)" "$folder/video-mpeg/picture-25.m1v" "$sound_file"
  for level in 4 8; do
    with mplex mplex -v 0 -f $level -o "$(file video/mp2p "mplex-$level.mpg")" "$folder/video-mpeg2/picture-25.m2v" "$sound_file"
  done
fi

python3 "$tools/make-samples.py" make $small "$folder" || exit 1

# What Debian ships as data: sorted by what ffprobe finds in it, and by where it comes from.
packages=(
  sound-theme-freedesktop oxygen-sounds yaru-theme-sound deepin-sound-theme lomiri-sounds psi-plus-sounds heroes-sound-effects
  asterisk-core-sounds-en-gsm asterisk-core-sounds-en-g722 codec2-examples pocketsphinx-testdata xblast-tnt-sounds xblast-tnt-musics
  libpython3.11-testsuite python3-pygame python3-scipy python-kivy-examples qtmultimedia5-examples supercollider-common puredata-doc
  forensics-samples-files gnome-user-docs xine-ui freetuxtv vdr-plugin-xineliboutput libheif-examples libde265-examples
  openttd-openmsx planetblupi-music-midi mma solfege rosegarden csound-data lmms-common xboard sound-icons speech-dispatcher
  lbreakout2-data tuxmath-data tuxtype-data chromium-bsu-data circuslinux-data funnyboat ceferino-data
)
if [ -z "$small" ]; then
  mkdir -p "$work/packages"
  for package in "${packages[@]}"; do
    (cd "$work" && apt-get download -qq "$package") >/dev/null 2>&1 || { echo "left out: package $package" >&2; continue; }
    dpkg-deb -x "$work/$package"_*.deb "$work/packages/$package"
    rm -f "$work/$package"_*.deb
  done
  python3 "$tools/make-samples.py" sort "$work/packages" "$folder"
fi
find "$folder" -type f -empty -delete
find "$folder" -type f | wc -l | sed 's/$/ samples/'
