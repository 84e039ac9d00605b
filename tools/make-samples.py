"""The part of make-samples.sh that ffmpeg can't do: files put together byte by byte from the public standards, variations
of those that are there already, and the sorting of files found elsewhere.

    make-samples.py make [--small] FOLDER
    make-samples.py sort FILES FOLDER
"""
import gzip
import io
import json
import random
import struct
import subprocess
import sys
import tarfile
import uuid
import zipfile
from pathlib import Path

SMALL = "--small" in sys.argv
rng = random.Random(1)


def noise(count):
    return rng.randbytes(count)


def sine(count):
    return bytes(128 + (i * 7 % 64) for i in range(count))


class Samples:
    def __init__(self, folder):
        self.folder = Path(folder)

    def put(self, mime, name, content):
        path = self.folder / mime.replace("/", "-") / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)

    def more(self, mime, name, content):
        if not SMALL:
            self.put(mime, name, content)

    def get(self, mime, name):
        path = self.folder / mime.replace("/", "-") / name
        return path.read_bytes() if path.exists() else None

    def all(self, mime):
        folder = self.folder / mime.replace("/", "-")
        # Without those that this script has put tags before, so that a second run makes the same files.
        return sorted(path for path in folder.glob("*") if path.is_file() and not path.name.startswith(("tag", "damaged")))


# RIFF and its relatives.

def chunk(name, content, big=False):
    return name + struct.pack(">I" if big else "<I", len(content)) + content + bytes(len(content) % 2)


def riff(form, *chunks, magic=b"RIFF", big=False):
    return chunk(magic, form + b"".join(chunks), big)


def wave_format(tag, extra=b"", big=False, channels=1, rate=8000, bits=8):
    align = channels * bits // 8
    return struct.pack((">" if big else "<") + "HHIIHH", tag, channels, rate, rate * align, align, bits) + extra


def guid(text):
    return uuid.UUID(text).bytes_le


def make_riff(samples):
    pcm = chunk(b"fmt ", wave_format(1))
    data = chunk(b"data", sine(2000))
    samples.put("audio/wav", "big-endian.wav",
                riff(b"WAVE", chunk(b"fmt ", wave_format(1, big=True), True), chunk(b"data", sine(2000), True),
                     magic=b"RIFX", big=True))
    samples.put("audio/wav", "format-late.wav",
                riff(b"WAVE", chunk(b"JUNK", bytes(1001)), chunk(b"LIST", b"INFOINAM" + bytes(8)), pcm, data))
    samples.more("audio/wav", "bext.wav", riff(b"WAVE", chunk(b"bext", b"d" * 602), pcm, data))
    samples.more("audio/wav", "dts-syncs-inside.wav",
                 riff(b"WAVE", chunk(b"fmt ", wave_format(1, channels=2, rate=44100, bits=16)),
                      chunk(b"data", bytes.fromhex("FF1F00E8F107") + noise(20000))))
    atrac_extra = struct.pack("<HHIHHHH", 14, 1, 0x1000, 0, 0, 1, 0)
    atrac = wave_format(0x270, atrac_extra, channels=2, rate=44100)
    samples.put("audio/x-atrac3", "atrac3.wav", riff(b"WAVE", chunk(b"fmt ", atrac), chunk(b"data", noise(2000))))
    plus = struct.pack("<HHI", 34, 2048, 3) + guid("E923AABF-CB58-4471-A119-FFFA01E4CE62") + bytes(12)
    plus = wave_format(0xFFFE, plus, channels=2, rate=44100)
    samples.put("audio/x-atrac3", "atrac3plus.at3",
                riff(b"WAVE", chunk(b"fmt ", plus), chunk(b"fact", bytes(8)), chunk(b"data", noise(2000))))
    for codec, name in ((0, "atrac3"), (1, "atrac3plus")):
        header = b"EA3\x01\x00\x60\xff\xff" + bytes(24) + bytes((codec, 0, 0x20, 0x30)) + bytes(60)
        tag = b"ea3\x03\x00\x00\x00\x00\x17\x76" + bytes(3062)
        samples.put("audio/x-atrac3", name + ".oma", tag[:] + header + noise(2000))
        samples.more("audio/x-atrac3", name + "-untagged.oma", header + noise(20000))
    for form in (b"QLCM", b"CDDA", b"XWMA", b"ACON", b"sfbk", b"WEBP", b"DLS "):
        samples.put("none", "riff-%s.bin" % form.decode().strip().lower(),
                    riff(form, pcm if form in (b"XWMA", b"CDDA") else chunk(b"JUNK", bytes(40)), data))
    samples.put("none", "voice.8svx",
                riff(b"8SVX", chunk(b"VHDR", bytes(20), True), chunk(b"BODY", sine(500), True), magic=b"FORM", big=True))


def make_au_and_midi(samples):
    for order, magic in (("<", b"dns."), (">", b".snd")):
        samples.put("audio/basic", "header%s.au" % ("-little" if order == "<" else ""),
                    magic + struct.pack(order + "5I", 32, 2000, 1, 8000, 1) + b"a title\0" + sine(2000))

    def song(form, tracks):
        track = b"".join(bytes((0x10, 0x90, 60 + i % 12, 64, 0x30, 0x80, 60 + i % 12, 0)) for i in range(40))
        track += b"\x00\xff\x2f\x00"
        return struct.pack(">4sIHHH", b"MThd", 6, form, tracks, 96) + (b"MTrk" + struct.pack(">I", len(track)) +
                                                                      track) * tracks
    samples.put("audio/midi", "one-track.mid", song(0, 1))
    samples.put("audio/midi", "tracks.mid", song(1, 3))
    samples.more("audio/midi", "patterns.mid", song(2, 2))
    samples.put("audio/midi", "wrapped.rmi", riff(b"RMID", chunk(b"data", song(1, 2))))


# Ogg.

def ogg_page(packet, serial, number=0, flags=2, granule=0):
    lacing = bytes([255] * (len(packet) // 255) + [len(packet) % 255])
    page = struct.pack("<4sBBqIIIB", b"OggS", 0, flags, granule, serial, number, 0, len(lacing)) + lacing + packet
    crc = 0
    for byte in page:
        crc ^= byte << 24
        for _ in range(8):
            crc = (crc << 1 ^ (0x04C11DB7 if crc & 0x80000000 else 0)) & 0xFFFFFFFF
    return page[:22] + struct.pack("<I", crc) + page[26:]


def make_ogg(samples):
    skeleton = ogg_page(b"fishead\0" + struct.pack("<HHqqqq", 3, 0, 0, 1000, 0, 1000) + bytes(20), 77)
    for mime, name in (("audio/ogg", "vorbis.ogg"), ("video/ogg", "theora.ogv")):
        stream = samples.get(mime, name)
        if stream:
            samples.put(mime, "skeleton-" + name, skeleton + stream)
    video = b"\x01video\0\0\0DIVX" + struct.pack("<IqqIIHHII", 52, 400000, 1, 1, 100000, 24, 0, 64, 48)
    audio = b"\x01audio\0\0\0" + b"0055" + struct.pack("<IqqIIHHHHI", 52, 10000000, 44100, 1, 8192, 0, 0, 2, 1152, 16000)
    text = b"\x01text\0\0\0\0\0\0\0\0" + struct.pack("<IqqIIHH", 52, 10000, 1, 1, 16384, 0, 0) + bytes(8)
    frames = b"".join(ogg_page(noise(300), 1, i + 1, 0, i) for i in range(4))
    samples.put("video/ogg", "video-and-sound.ogm", ogg_page(video, 1) + ogg_page(audio, 2) + frames)
    samples.more("video/ogg", "sound-first.ogm", ogg_page(audio, 2) + ogg_page(text, 3) + ogg_page(video, 1) + frames)
    samples.more("audio/ogg", "sound.ogm", ogg_page(audio, 1) + frames)
    samples.more("audio/ogg", "pcm.oga", ogg_page(b"PCM     " + bytes(20), 1) + frames)
    samples.more("audio/ogg", "celt.oga", ogg_page(b"CELT    " + bytes(52), 1) + frames)
    samples.more("video/ogg", "dirac.ogv", ogg_page(b"BBCD\0\0\0\0\x0d" + bytes(20), 1) + frames)
    samples.put("application/ogg", "unknown.ogx", ogg_page(b"\x80strange\0" + bytes(40), 1) + frames)
    samples.put("application/ogg", "text.ogx", ogg_page(b"CMML\0\0\0\0" + bytes(21), 1) + frames)


# ASF.

def asf_object(identifier, content):
    return guid(identifier) + struct.pack("<Q", len(content) + 24) + content


def asf(streams, attributes=()):
    objects = [asf_object("8CABDCA1-A947-11CF-8EE4-00C00C205365", bytes(80))]
    for number, (kind, data) in enumerate(streams, 1):
        content = guid(kind) + guid("20FB5700-5B55-11CF-A8FD-00805F5C442B") + struct.pack("<QIIHI", 0, len(data), 0, number, 0)
        objects.append(asf_object("B7DC0791-A9B7-11CF-8EE6-00C00C205365", content + data))
    if attributes:
        content = struct.pack("<H", len(attributes))
        for name, value in attributes:
            name, value = (name + "\0").encode("utf-16-le"), (value + "\0").encode("utf-16-le")
            content += struct.pack("<H", len(name)) + name + struct.pack("<HH", 0, len(value)) + value
        objects.append(asf_object("D2D0A440-E307-11D2-97F0-00A0C95EA850", content))
    header = struct.pack("<IBB", len(objects), 1, 2) + b"".join(objects)
    packets = asf_object("75B22636-668E-11CF-A6D9-00AA0062CE6C", bytes(26) + noise(1600))
    return asf_object("75B22630-668E-11CF-A6D9-00AA0062CE6C", header) + packets


ASF_AUDIO = "F8699E40-5B4D-11CF-A8FD-00805F5C442B"
ASF_VIDEO = "BC19EFC0-5B4D-11CF-A8FD-00805F5C442B"
ASF_BINARY = "3AFB65E2-47EF-40F2-AC2C-70A90D71D343"
ASF_COMMAND = "59DACFC0-59E6-11D0-A3AC-00A0C90348F6"


def make_asf(samples):
    def picture(compression):
        return struct.pack("<IIBH", 64, 48, 2, 40) + struct.pack("<IiiHH4sIiiII", 40, 64, 48, 1, 24, compression, 0, 0, 0, 0, 0)
    sound = wave_format(0x161, struct.pack("<H", 10) + bytes(10), channels=2, rate=44100, bits=16)
    samples.put("video/x-ms-dvr", "compression.dvr-ms", asf([(ASF_AUDIO, sound), (ASF_VIDEO, picture(b"DVR "))]))
    samples.put("video/x-ms-dvr", "attribute.dvr-ms",
                asf([(ASF_BINARY, bytes(90)), (ASF_BINARY, bytes(90))], [("Title", "t"), ("DVR File Version", "1.0")]))
    samples.put("video/x-ms-wmv", "sound-first.wmv", asf([(ASF_AUDIO, sound), (ASF_COMMAND, b""), (ASF_VIDEO, picture(b"WMV3"))]))
    samples.put("audio/x-ms-wma", "long-header.wma",
                asf([(ASF_AUDIO, sound)], [("WM/%d" % i, "x" * 400) for i in range(4 if SMALL else 90)]))
    samples.put("none", "list.asx", b'<asx version="3.0"><entry><ref href="http://example.org/a.wmv"/></entry></asx>\r\n' * 3)


# MP4 and QuickTime.

def box(name, content):
    return struct.pack(">I", len(content) + 8) + name + content


def boxes(content):
    at = 0
    while at + 8 <= len(content):
        size = struct.unpack(">I", content[at:at + 4])[0] or len(content) - at
        yield content[at + 4:at + 8], content[at:at + size]
        at += size


def make_mp4(samples):
    plain = samples.get("video/mp4", "moov-at-end.mp4")
    fragmented = samples.get("video/mp4", "fragmented.mp4")
    song = samples.get("audio/mp4", "moov-at-end.m4a")
    for mime, content in (("video/mp4", plain), ("audio/mp4", song)):
        if not content:
            continue
        part = dict(boxes(content))
        ftyp, moov, mdat = part[b"ftyp"], part[b"moov"], part[b"mdat"]
        open_end = b"\0\0\0\0" + mdat[4:]
        long_size = struct.pack(">I4sQ", 1, b"mdat", len(mdat) + 8) + mdat[8:]
        samples.put(mime, "open-end.mp4", ftyp + box(b"free", bytes(50)) + moov + open_end)
        samples.more(mime, "long-size.mp4", ftyp + box(b"free", b"") + long_size + moov)
        samples.more(mime, "data-of-200k-first.mp4", ftyp + box(b"mdat", noise(200_000)) + moov)
        samples.more(mime, "uuid-first.mp4", ftyp + box(b"uuid", noise(3000)) + box(b"skip", b"") + moov + mdat)
        quicktime = mime.replace("mp4", "quicktime")
        samples.put(quicktime, "no-brand.mov", box(b"wide", b"") + mdat + moov)
        samples.more(quicktime, "moov-first.mov", moov + mdat)
        samples.more(quicktime, "pnot.mov", box(b"pnot", bytes(12)) + box(b"PICT", noise(700)) + mdat + moov)
        for brand in ((b"M4A ", b"M4B ") if mime.startswith("audio") else (b"3gp5", b"MSNV", b"dash", b"f4v ", b"M4V ", b"avc1")):
            name = "brand-%s.mp4" % brand.decode().strip().lower()
            samples.more(mime, name, box(b"ftyp", brand + bytes(4) + brand + b"isom") + mdat + moov)
    if fragmented:
        parts = [whole for name, whole in boxes(fragmented) if name in (b"moof", b"mdat")]
        samples.put("video/mp4", "segment.m4s", box(b"styp", b"msdh\0\0\0\0msdhmsix") + box(b"sidx", bytes(36)) + b"".join(parts))
        samples.more("video/mp4", "segment-bare.m4s", b"".join(parts))
    meta = box(b"meta", bytes(4) + box(b"hdlr", bytes(8) + b"pict" + bytes(13))) + box(b"mdat", noise(600))
    for brand in (b"heic", b"mif1", b"msf1", b"avif", b"crx "):
        samples.put("none", "picture.%s" % brand.decode().strip(), box(b"ftyp", brand + bytes(4) + brand + b"mif1") + meta)
    if song:
        samples.more("none", "protected.aax", box(b"ftyp", b"aax \0\0\0\1aax M4A isom") + song)


# Audio without a container.

def bits(fields):
    text = "".join(format(value, "0%db" % width) for value, width in fields if width)
    text += "0" * (-len(text) % 8)
    return bytes(int(text[i:i + 8], 2) for i in range(0, len(text), 8))


def make_frames(samples):
    fields = [(0, 1), (0, 1), (0, 1), (1, 1), (64000, 23), (0, 4)]  # a variable rate, one program
    fields += [(0, 4), (1, 2), (4, 4), (1, 4), (0, 4), (0, 4), (0, 2), (0, 3), (0, 4), (0, 1), (0, 1), (0, 1), (1, 1), (0, 4)]
    samples.put("audio/x-aac", "header.adif", bits([(byte, 8) for byte in b"ADIF"] + fields) + b"\0" + noise(2000))

    def swapped(content):
        return b"".join(content[i + 1:i + 2] + content[i:i + 1] for i in range(0, len(content) & ~1, 2))
    for codec, name in (("audio/x-ac3", "frames.ac3"), ("audio/x-dts", "frames.dts")):
        stream = samples.get(codec, name)
        if stream:
            samples.put(codec, "swapped-" + name, swapped(stream))
    stream = samples.get("audio/x-dts", "frames.dts")
    # On discs a frame has 1792 bytes, which fill 1024 words of 14 bits.
    disc = samples.get("audio/x-dts", "disc.dts")
    if disc and stream:
        text = "".join(format(byte, "08b") for byte in disc[:4 * 1792])
        words = [text[i:i + 14] for i in range(0, len(text) - 13, 14)]
        narrow = b"".join(struct.pack(">H", int(word, 2) | (0xC000 if word[0] == "1" else 0)) for word in words)
        samples.put("audio/x-dts", "narrow.dts", narrow)
        samples.put("audio/x-dts", "narrow-swapped.dts", swapped(narrow))
        samples.put("audio/x-dts", "chunks.dtshd",
                    b"DTSHDHDR" + struct.pack(">Q", 24) + bytes(24) + b"STRMDATA" + struct.pack(">Q", len(stream)) + stream[:3000])
    mp3 = samples.get("audio/mpeg", "layer3.mp3")
    if mp3:
        samples.put("audio/mpeg", "zeros-first.mp3", bytes(700) + mp3)
        samples.put("audio/mpeg", "cut-in-a-frame.mp3", mp3[50:])
        samples.more("audio/mpeg", "zeros-20k.mp3", bytes(20_000) + mp3)
        samples.more("audio/mpeg", "cut-twice.mp3", mp3[333:10_000] + mp3[10_500:])
        samples.more("audio/mpeg", "trailing-tags.mp3", mp3[:900] + b"TAG" + bytes(125))
        samples.more("audio/mpeg", "ape-tag.mp3", mp3 + b"APETAGEX" + struct.pack("<IIIIQ", 2000, 32, 0, 1 << 31, 0) + b"TAG" + bytes(125))
        samples.more("audio/mpeg", "text-first.mp3", b"ICY 200 OK\r\nicy-name: radio\r\n\r\n" + mp3)


def id3(size, footer=False, version=3):
    safe = bytes((size >> shift) & 0x7F for shift in (21, 14, 7, 0))
    flags = bytes((version, 0, 0x10 if footer else 0))
    picture = b"\xff\xd8\xff\xe0" + noise(max(0, size - 60))
    body = (b"APIC" + struct.pack(">I", size - 10) + b"\0\0\0image/jpeg\0\x03\0" + picture)[:size].ljust(size, b"\0")
    return b"ID3" + flags + safe + body + (b"3DI" + flags + safe if footer else b"")


def make_tagged(samples):
    """Tags of all sizes before all kinds of audio."""
    for mime in ("audio/mpeg", "audio/mp1", "audio/mp2", "audio/x-aac", "audio/x-ac3", "audio/x-dts", "audio/wav", "audio/aiff"):
        for path in samples.all(mime)[:3]:
            content = path.read_bytes()
            if SMALL:
                if mime in ("audio/mpeg", "audio/x-aac") and path == samples.all(mime)[0]:
                    samples.put(mime, "tagged-" + path.name, id3(300) + id3(40, True, 4) + content)
                continue
            samples.put(mime, "tag-300k-" + path.name, id3(300_000) + content)
            samples.put(mime, "tags-" + path.name, id3(1000) + id3(70_000, True, 4) + id3(20, version=2) + content)
            samples.put(mime, "tag-800k-" + path.name, id3(800_000) + content)
    for path in [path for path in samples.all("none") if path.suffix in (".flac", ".tta")]:
        samples.put("none", "tagged-" + path.name, id3(2000) + path.read_bytes())


# MPEG systems.

def make_packets(samples):
    ts = samples.get("video/mp2t", "packets.ts")
    if ts:
        packets = [ts[i:i + 188] for i in range(0, len(ts) - 187, 188)]
        samples.put("video/mp2t", "packets-204.ts", b"".join(packet + noise(16) for packet in packets[:20]))
        samples.put("video/mp2t", "packets-208.ts", b"".join(packet + noise(20) for packet in packets[:20]))
        samples.more("video/mp2t", "cut-in-a-packet.ts", ts[100:])
    system = samples.get("video/mp1s", "vcd-25.mpg") or samples.get("video/mp1s", "system.mpg")
    if system:
        size = 2324 if system[2324:2328] == b"\0\0\1\xba" else 2048
        sectors = b""
        for number in range(min(len(system) // size, 10 if SMALL else 40)):
            sync = b"\0" + b"\xff" * 10 + b"\0" + bytes((0, 2, number, 2)) + bytes((1, 1, 0x62, 0x0F)) * 2
            sectors += sync + system[number * size:number * size + size].ljust(2324, b"\0") + bytes(4)
        form = struct.pack("<4sI", b"fmt ", 16) + bytes(16)
        samples.put("video/mpeg", "video-cd.dat", riff(b"CDXA", form, chunk(b"data", sectors)))
    for mime, name in (("video/mpeg", "picture.m1v"), ("video/mpeg2", "picture.m2v")):
        stream = samples.get(mime, name)
        if stream:
            samples.put(mime, "zeros-first-" + name, bytes(100) + stream)
    for path in samples.all("video/x-dv") if SMALL else ():
        path.write_bytes(path.read_bytes()[:14400])  # a DIF sequence and a bit of the next


# What captures, recorders and careless programs make of them.

def make_damaged(samples):
    def each(mime, count=4):
        for path in samples.all(mime)[:count]:
            content = path.read_bytes()
            yield lambda name, changed, path=path: samples.more(mime, "damaged-%s-%s" % (name, path.name), changed), content

    for put, content in each("video/mp2t", 12):
        strides = [n for n in (188, 192, 204, 208) if content[n + 4 * (n == 192)] == 0x47]
        if not strides:
            continue
        stride = strides[0]
        sync = 4 if stride == 192 else 0
        for packet in (0, 1, 3):
            error = bytearray(content)
            error[packet * stride + sync + 1] |= 0x80
            put("error-%d" % packet, bytes(error))
        put("lost", content[:300] + content[310:])
        for count in (100, 1000, 9000):
            put("junk-%d" % count, noise(count) + content)
        put("zeros", bytes(5000) + content)
    for mime in ("video/mp1s", "video/mp2p"):
        for put, content in each(mime):
            for count in (7, 1000, 5000):
                put("inside-%d" % count, content[count:])
    for put, content in each("audio/mpeg", 8):
        put("inside", content[777:])
        put("zeros", bytes(100_000) + content[content.find(b"\xff", 3000):])
    for mime in ("audio/x-dts", "audio/x-aac", "audio/x-ac3"):
        for put, content in each(mime):
            if not content.startswith((b"ID3", b"ADIF", b"DTSHD")) and len(content) > 15_000:
                put("inside", content[333:])
    for put, content in each("audio/ogg", 6):
        second = content.find(b"OggS", 4)
        put("gap", content[:second] + content[second + 50:])
        put("strange", content[:second] + b"3" * 900 + content[second:])
    for mime in ("audio/mp4", "video/mp4"):
        for put, content in each(mime, 8):
            at = 0
            for name, whole in boxes(content):
                at += len(whole)
                if name == b"mdat" and at < len(content):
                    put("behind-data", content[:at] + noise(37) + content[at:])
    for mime in ("audio/x-pn-realaudio", "video/x-pn-realmedia"):
        for put, content in each(mime):
            if content.startswith(b".RMF"):
                put("no-data", content[:content.find(b"DATA")])


# No media.

def make_none(samples):
    text = "The quick brown fox jumps over the lazy dog, 1234 times. \u00e4\u00f6\u00fc \u4e2d\u6587\r\n" * 40
    samples.put("none", "little-endian.txt", b"\xff\xfe" + text.encode("utf-16-le"))
    samples.put("none", "big-endian.txt", b"\xfe\xff" + text.encode("utf-16-be"))
    samples.put("none", "utf-8.txt", text.encode())
    stride = bytearray((text * 3).encode()[:188 * 30])
    stride[::188] = b"G" * len(stride[::188])
    samples.put("none", "sync-bytes.txt", bytes(stride))
    samples.put("none", "titles.srt", "".join("%d\r\n00:00:%02d,000 --> 00:00:%02d,500\r\nhello\r\n\r\n" % (i, i, i)
                                              for i in range(1, 50)).encode())
    samples.put("none", "list.m3u", b"#EXTM3U\r\n#EXTINF:1,a\r\nhttp://example.org/a.mp3\r\n" * 10)
    samples.put("none", "voice.amr", b"#!AMR\n" + (b"\x3c" + b"\x55" * 31) * 60)
    samples.put("none", "random.bin", noise(8000))
    samples.put("none", "header-only.mkv", bytes.fromhex("1A45DFA3 88 4282 85") + b"other" + noise(500))
    samples.put("none", "song.ape", b"MAC " + struct.pack("<HH", 3990, 0) + noise(2000))
    samples.put("none", "song.mpc", b"MPCKSH" + noise(2000))
    samples.put("none", "one-page.riff", b"RIFF\x10\0\0\0????" + bytes(8))
    jpeg = samples.get("none", "picture.jpg")
    if jpeg:
        stereo = jpeg[:2] + b"\xff\xe2" + struct.pack(">H", 90) + b"MPF\0MM\0*\0\0\0\x08" + bytes(76) + jpeg[2:]
        samples.put("none", "stereo.mpo", stereo + jpeg)
    for byte in (0, 0xFF, 0x47, 0x1F, 0x01):
        samples.more("none", "only-%02x.bin" % byte, bytes((byte,)) * 100_000)
    for i in range(20):
        samples.more("none", "random-%d.bin" % i, noise(rng.randrange(1, 200_000)))
    for path in list(Path("/usr/share/fonts").rglob("*.ttf"))[:10] + [Path("/bin/ls"), Path("/bin/bash")]:
        samples.more("none", path.name, path.read_bytes())
    inside = [samples.folder / name for name in
              ("audio-mpeg/layer3.mp3", "video-mp1s/system.mpg", "audio-x-ac3/frames.ac3", "video-mp2t/packets.ts", "audio-x-aac/adts.aac")]
    for path in [path for path in inside if path.exists()]:
        content = path.read_bytes()[:3000 if SMALL else None]
        archive = io.BytesIO()
        with tarfile.open(fileobj=archive, mode="w", format=tarfile.USTAR_FORMAT) as tar:
            info = tarfile.TarInfo(path.name)
            info.size = len(content)
            tar.addfile(info, io.BytesIO(content))
        if not SMALL or path.suffix in (".mp3", ".ac3"):
            samples.put("none", path.name + ".tar", archive.getvalue()[:512 + len(content) + 1024])
        stored = io.BytesIO()
        with zipfile.ZipFile(stored, "w", zipfile.ZIP_STORED) as z:
            z.writestr(zipfile.ZipInfo(path.name), content)
        if not SMALL or path.suffix in (".mp3", ".aac"):
            samples.put("none", path.name + ".zip", stored.getvalue())
        samples.more("none", path.name + ".gz", gzip.compress(content, mtime=0))


# Files found elsewhere.

def probe(path):
    run = subprocess.run(["ffprobe", "-v", "error", "-of", "json", "-show_format", "-show_streams", str(path)],
                         capture_output=True, check=False)
    found = json.loads(run.stdout or b"{}")
    return found.get("format", {}), found.get("streams", [])


MEDIA = {".wav", ".mp3", ".mp2", ".ogg", ".oga", ".ogv", ".opus", ".spx", ".aiff", ".aif", ".aifc", ".au", ".snd", ".mid", ".kar",
         ".avi", ".mp4", ".m4a", ".mov", ".webm", ".mkv", ".mpg", ".mpeg", ".mpv", ".wmv", ".wma"}
OTHERS = {".gsm", ".g722", ".raw", ".flac", ".voc", ".8svx", ".png", ".jpg", ".gif", ".html", ".txt", ".py", ".gz", ".so", ".mat",
          ".mod", ".pdf", ".zip", ".bin", ".dat", ".npz", ".xiz", ".svg", ".heic", ".h265", ".docx", ".odt", ".xcf", ".mo", ".sav", ".mfc", ".pyc"}


def mime_of(path):
    """What the file is, or None when that isn't certain."""
    start = path.read_bytes()[:16]
    if path.suffix.lower() in (".mid", ".kar"):
        return "audio/midi" if start.startswith(b"MThd") else None
    if start.startswith(b"RIFX") and start[8:12] == b"WAVE":
        return "audio/wav"  # ffprobe doesn't know it
    form, streams = probe(path)
    names = form.get("format_name", "").split(",")
    real = [s for s in streams if not s.get("disposition", {}).get("attached_pic")]
    kind = "video" if any(s["codec_type"] == "video" for s in real) else "audio"
    codec = real[0].get("codec_name") if real else ""
    if "mov" in names:
        brand = form.get("tags", {}).get("major_brand", "qt  ")
        return kind + ("/quicktime" if brand == "qt  " else "/mp4")
    if "mpeg" in names:
        return "video/mp2p" if start[4] & 0xC0 == 0x40 else "video/mp1s"
    if "asf" in names:
        return "video/x-ms-wmv" if kind == "video" else "audio/x-ms-wma"
    if "mp3" in names:
        return {"mp1": "audio/mp1", "mp2": "audio/mp2", "mp3": "audio/mpeg"}.get(codec)
    if "mpegvideo" in names:
        return {"mpeg1video": "video/mpeg", "mpeg2video": "video/mpeg2"}.get(codec)
    for name, mime in (("wav", "audio/wav"), ("aiff", "audio/aiff"), ("au", "audio/basic"), ("avi", kind + "/avi"),
                       ("ogg", kind + "/ogg"), ("matroska", kind + "/x-matroska")):
        if name in names:
            return mime
    return None


def sort(source, samples):
    taken = {}
    for path in sorted(Path(source).rglob("*")):
        suffix = path.suffix.lower()
        if not path.is_file() or path.is_symlink() or path.stat().st_size < 100 or path.stat().st_size > 40_000_000:
            continue
        package = path.relative_to(source).parts[0]
        taken[package, suffix] = taken.get((package, suffix), 0) + 1
        if taken[package, suffix] > 25:
            continue
        mime = mime_of(path) if suffix in MEDIA else "none" if suffix in OTHERS else None
        if mime:
            samples.put(mime, "%s-%s" % (package, path.name), path.read_bytes())
        elif suffix in MEDIA:
            print("not sorted:", path.relative_to(source), file=sys.stderr)


def main():
    arguments = [argument for argument in sys.argv[1:] if argument != "--small"]
    if arguments[0] == "sort":
        sort(arguments[1], Samples(arguments[2]))
        return
    samples = Samples(arguments[1])
    for step in (make_riff, make_au_and_midi, make_ogg, make_asf, make_mp4, make_frames, make_packets, make_tagged, make_damaged, make_none):
        step(samples)


main()
