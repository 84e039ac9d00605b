#!/usr/bin/env python3
"""An HTTP/1.1 server on the loopback interface, over a link that the URL describes. It counts what it is asked.

    linkserver.py FOLDER        prints its URL, then serves until whoever started it has ended

What is served:
    /made/BYTES/NAME    so many bytes: zeros, and at each multiple of 256 KiB its position (8 bytes, the lowest first)
    /file/.../NAME      FOLDER/NAME
    /stats?of=PATH      JSON, then counted anew: requests, connections, most_open, now_open, sent, ranges (as asked for)
    /listen             JSON: the port of another listener
    /deafen?port=PORT   that listener breaks its connections off, and does not answer any more who wants to connect

The link, in the query of what is served. Each path is a link of its own, which its connections share:
    rtt=MS              a round trip: on connect, and for each request
    rate=N              bytes in a second
    on=S&off=S          so many seconds it carries, so many it does not, beginning with the first request
    ranges=0            the server has none;  chunked=1: nor does it tell the length
    stall=POS           no byte from POS on comes, but the connection stays
    mute=POS            requests for POS and beyond get no headers
    busy=POS            503 for POS and beyond, to be asked again in 30 seconds; bodies break off there
"""
import json, os, select, socket, sys, tempfile, threading, time
from urllib.parse import parse_qs, urlsplit

STAMP_STEP = 256 << 10
MOST_LATE = 0.05  # seconds: so much of the link's time is made up for when this process was not given the processor


class Link:
    """One path: its figures, and when the link is free for the next bytes."""

    def __init__(self):
        self.lock = threading.Lock()
        self.open = set()
        self.begun = self.free = None
        self.reset()

    def reset(self):
        self.requests = self.sent = 0
        self.connections, self.ranges = set(), []
        self.most_open = len(self.open)

    def figures(self):
        with self.lock:
            told = {'requests': self.requests, 'connections': len(self.connections), 'most_open': self.most_open,
                    'now_open': len(self.open), 'sent': self.sent, 'ranges': self.ranges}
            self.reset()
            return told

    def asked(self, connection, asked_range):
        with self.lock:
            self.begun = self.begun or time.monotonic()
            self.requests += 1
            self.ranges.append(asked_range)
            self.connections.add(connection)
            self.open.add(connection)
            self.most_open = max(self.most_open, len(self.open))

    def left(self, connection):
        with self.lock:
            self.open.discard(connection)

    def await_turn(self, count, model):
        """Sleeps until the link has carried `count` further bytes."""
        if not model.rate:
            return
        with self.lock:
            now = time.monotonic()
            at = self.free if self.free and now - self.free < MOST_LATE else now
            if model.off:
                into = (at - self.begun) % (model.on + model.off)
                if into > model.on:
                    at += model.on + model.off - into
            self.free = at + count / model.rate
            wait = self.free - now
        if wait > 0:
            time.sleep(wait)


class Model:
    def __init__(self, query):
        def number(name, default):
            return float(query[name][0]) if name in query else default

        self.rtt, self.rate = number('rtt', 0) / 1000, number('rate', 0)
        self.on, self.off = number('on', 0), number('off', 0)
        self.has_ranges, self.is_chunked = number('ranges', 1) > 0, number('chunked', 0) > 0
        self.stall, self.mute, self.busy = (number(name, float('inf')) for name in ('stall', 'mute', 'busy'))


class Server:
    def __init__(self, folder):
        self.folder = folder
        self.lock = threading.Lock()
        self.links, self.files, self.listeners = {}, {}, {}

    def link(self, path):
        with self.lock:
            return self.links.setdefault(path, Link())

    def file_of(self, path):
        """The file's descriptor, or None."""
        with self.lock:
            parts = path.split('/') + ['', '']
            kind, name = parts[1], parts[2] if parts[1] == 'made' else os.path.basename(path)
            key = kind, name
            if key not in self.files:
                self.files[key] = self.open_file(kind, name)
            return self.files[key]

    def open_file(self, kind, name):
        if kind == 'made':
            file = tempfile.TemporaryFile()
            os.ftruncate(file.fileno(), int(name))
            for at in range(0, int(name) - 8, STAMP_STEP):
                os.pwrite(file.fileno(), at.to_bytes(8, 'little'), at)
            return os.dup(file.fileno())
        try:
            return os.open(os.path.join(self.folder, name), os.O_RDONLY) if kind == 'file' else None
        except OSError:
            return None

    # ---- listeners

    def listen(self, backlog):
        listener = Listener(self, backlog)
        self.listeners[listener.port] = listener
        return listener

    def control(self, path, query):
        """The JSON answer to a path that steers the server, or None."""
        if path == '/stats':
            return self.link(query['of'][0]).figures()
        if path == '/listen':
            return {'port': self.listen(0).port}
        if path == '/deafen':
            self.listeners[int(query['port'][0])].deafen()
            return {}
        return None

    # ---- one connection

    def serve(self, connection):
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        lines = connection.makefile('rb')
        link = None
        while True:
            words = lines.readline(65536).split()
            if len(words) < 3:
                break
            headers = {}
            while (line := lines.readline(65536).strip()):
                name, _, value = line.decode('latin-1').partition(':')
                headers[name.lower()] = value.strip()
            target = urlsplit(words[1].decode('latin-1'))
            query = parse_qs(target.query)
            told = self.control(target.path, query)
            if told is not None:
                body = json.dumps(told).encode()
                connection.sendall(b'HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s' % (len(body), body))
                continue
            is_new, former, link = link is None, link, self.link(target.path)
            if former not in (None, link):
                former.left(connection)
            link.asked(connection, headers.get('range', ''))
            try:
                if not self.answer(connection, link, is_new, target.path, Model(query), words[0] == b'HEAD', headers):
                    break
            except (BrokenPipeError, ConnectionResetError):
                break
        if link:
            link.left(connection)

    def answer(self, connection, link, is_new, path, model, is_head, headers):
        """False: the connection is of no more use."""
        time.sleep(model.rtt * (2 if is_new else 1))
        file = self.file_of(path)
        if file is None:
            connection.sendall(b'HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n')
            return True
        length = os.fstat(file).st_size
        begin, end = 0, length
        tag = f'"{length}"'
        asked = headers.get('range') if headers.get('if-range', tag) == tag and model.has_ranges else None
        is_part = False
        if asked and asked.startswith('bytes=') and ',' not in asked:
            first, _, last = asked[6:].partition('-')
            begin = int(first) if first else max(0, length - int(last))
            end = min(length, int(last) + 1) if first and last else length
            is_part = True
        head = [f'ETag: {tag}', 'Content-Type: application/octet-stream']
        if begin >= max(model.mute, 1):
            return self.await_end(connection)
        if begin >= max(model.busy, 1):
            status, end, head = '503 Service Unavailable', begin, ['Retry-After: 30', 'Content-Length: 0']
        elif is_part and begin >= end:
            status, end, head = '416 Range Not Satisfiable', begin, [f'Content-Range: bytes */{length}', 'Content-Length: 0']
        elif is_part:
            status = '206 Partial Content'
            head += [f'Content-Range: bytes {begin}-{end - 1}/{length}', f'Content-Length: {end - begin}']
        else:
            status = '200 OK'
            head.append('Transfer-Encoding: chunked' if model.is_chunked else f'Content-Length: {length}')
        head.append('Accept-Ranges: ' + ('bytes' if model.has_ranges else 'none'))
        connection.sendall('\r\n'.join([f'HTTP/1.1 {status}', *head, '', '']).encode())
        if is_head:
            return True
        return self.send_body(connection, link, model, file, begin, end, not is_part and model.is_chunked)

    def send_body(self, connection, link, model, file, at, end, is_chunked):
        step = int(min(max(model.rate / 200, 512), 256 << 10)) if model.rate else 1 << 20
        stop = min(end, model.stall, model.busy)
        while at < stop:
            count = int(min(step, stop - at))
            link.await_turn(count, model)
            if is_chunked:
                connection.sendall(b'%X\r\n' % count)
            chunk_end = at + count
            while at < chunk_end:
                sent = os.sendfile(connection.fileno(), file, at, chunk_end - at)
                at += sent
                link.sent += sent  # of several connections: near enough
            if is_chunked:
                connection.sendall(b'\r\n')
        if at >= end:
            if is_chunked:
                connection.sendall(b'0\r\n\r\n')
            return True
        return self.await_end(connection) if at >= model.stall else False

    @staticmethod
    def await_end(connection):
        """Says nothing until the client goes."""
        while connection.recv(65536):
            pass
        return False


class Listener:
    def __init__(self, server, backlog):
        self.server, self.connections = server, set()
        self.socket = socket.create_server(('127.0.0.1', 0), backlog=backlog)
        self.port = self.socket.getsockname()[1]
        self.is_deaf, self.has_stopped = False, threading.Event()
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while not self.is_deaf:
            if select.select([self.socket], [], [], 0.02)[0]:
                connection = self.socket.accept()[0]
                self.connections.add(connection)
                threading.Thread(target=self.serve, args=(connection,), daemon=True).start()
        self.has_stopped.set()

    def serve(self, connection):
        try:
            self.server.serve(connection)
        except OSError:
            pass
        finally:
            self.connections.discard(connection)
            connection.close()

    def deafen(self):
        """Who connects afterwards hears nothing: the queue of those who wait to be accepted is full."""
        self.is_deaf = True
        self.has_stopped.wait()
        self.waiting = [socket.socket() for _ in range(3)]
        for each in self.waiting:
            each.setblocking(False)
            each.connect_ex(('127.0.0.1', self.port))
        for each in list(self.connections):
            try:
                each.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


def main():
    starter = os.getppid()
    server = Server(sys.argv[1])
    print(f'http://127.0.0.1:{server.listen(128).port}', flush=True)
    while os.getppid() == starter:
        time.sleep(1)


if __name__ == '__main__':
    main()
