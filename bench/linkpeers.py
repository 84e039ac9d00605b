#!/usr/bin/env python3
"""What other programs need for some of the works of tvbench --link, on the same server.

    linkpeers.py URL        prints rows for tvbench: work, who, figure, requests, connections, bytes sent; tabs between

The works that take as long as the link does are done side by side: each has a link of its own.
"""
import json, random, subprocess, sys, tempfile, time, urllib.request
from concurrent.futures import ThreadPoolExecutor

FILM = 256 << 20
FAR = '?rtt=100&rate=20000000'
MOST_SECONDS = 60


def curl(url):
    return ['curl', '--silent', '--fail', '--output', '/dev/null', url]


def ffmpeg(url):
    return ['ffmpeg', '-v', 'error', '-nostdin', '-f', 'data', '-i', url, '-map', '0', '-c', 'copy', '-f', 'data', '-y', '/dev/null']


def gstreamer(url):
    return ['gst-launch-1.0', '--quiet', 'souphttpsrc', f'location={url}', 'blocksize=131072', '!', 'queue2',
            'max-size-buffers=0', 'max-size-time=0', 'max-size-bytes=16777216', '!', 'fakesink', 'sync=false']


READERS = {'curl': curl, 'ffmpeg': ffmpeg, 'souphttpsrc': gstreamer}


def run(command):
    """How many seconds it took; None: it failed."""
    begun = time.monotonic()
    try:
        subprocess.run(command, check=True, timeout=MOST_SECONDS, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    except (OSError, subprocess.SubprocessError):
        return None
    return time.monotonic() - begun


class Peers:
    def __init__(self, server):
        self.server = server

    def row(self, work, who, path, link, command, figure):
        took = run(command(self.server + path + link))
        with urllib.request.urlopen(f'{self.server}/stats?of={path}') as answer:
            told = json.load(answer)
        text = 'failed' if took is None else figure(took)
        row = [work, who, text, told['requests'], told['most_open'], told['sent']]
        print('\t'.join(map(str, row)) + '\n', end='', flush=True)  # in one go: rows come from several threads

    def read_film(self, work, link, at_once):
        with ThreadPoolExecutor(at_once) as pool:
            for who, command in READERS.items():
                path = f'/made/{FILM}/{who}{"-far" if link else ""}'
                pool.submit(self.row, work, who, path, link, command, lambda took: f'{FILM / took / 1e6:.1f} MB/s')

    def index_at_the_end(self):
        work = 'index at the end, until it plays'

        def seconds(took):
            return f'{took:.2f} s'

        # A file for each: the server counts by paths.
        self.row(work, 'ffmpeg', '/file/ffmpeg/index-last.mov', FAR, lambda url: [
            'ffmpeg', '-v', 'error', '-nostdin', '-i', url, '-t', '0.1', '-map', '0:a', '-f', 'null', '-'], seconds)
        self.row(work, 'souphttpsrc', '/file/souphttpsrc/index-last.mov', FAR, lambda url: [
            'gst-launch-1.0', '--quiet', 'souphttpsrc', f'location={url}', '!', 'qtdemux', '!', 'queue', '!', 'fakesink',
            'sync=false', 'num-buffers=5'], seconds)

    def random_reads(self):
        with tempfile.NamedTemporaryFile('w') as config:
            for number in range(200):
                at = random.Random(number).randrange(1 << 18) * 4096
                config.write(f'next\nsilent\nfail\nurl = "{self.server}/made/1073741824/random-curl"\n'
                             f'range = "{at}-{at + 4095}"\noutput = "/dev/null"\n')
            config.flush()
            self.row('200 random reads of 4 KiB', 'curl, its ranges', '/made/1073741824/random-curl', '',
                     lambda _: ['curl', '--config', config.name], lambda took: f'{took / 200 * 1000:.2f} ms each')


def main():
    peers = Peers(sys.argv[1])
    peers.read_film('256 MiB at full speed', '', 1)
    peers.read_film('256 MiB at 100 ms, 20 MB/s', FAR, len(READERS))
    peers.index_at_the_end()
    peers.random_reads()


if __name__ == '__main__':
    main()
