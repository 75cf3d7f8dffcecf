"""A web server on a loopback port that breaks off, waits or never ends, as its paths say; it notes what it is asked."""

import queue
import socket
import struct
import threading
import time

# Seconds to print, and tenths to edit; a second to print.
LONG, SHORTER = 12000, 3000


def page_that_tells(paragraphs):
    """Says when its printing begins."""
    # The browser's time grows with the square of what has the same parent.
    lines = '<section>' + '<p style="color:#a30">a line of <b>many</b> lines of text in this page' * 100 + '</section>'
    return ('<title>long</title><script>onbeforeprint=()=>{const x=new XMLHttpRequest;'
            'x.open("GET","/printing",false);x.send()}</script>' + lines * (paragraphs // 100)).encode()


class Web:
    def __init__(self):
        self.asked = queue.Queue()
        self.release = threading.Event()
        # A job that is done once more finds another page: whether it is done is the question, not how long it takes.
        self._printed = False
        self._closing = False
        self._listener = socket.create_server(('127.0.0.1', 0), backlog=100)
        self.address = f'http://127.0.0.1:{self._listener.getsockname()[1]}'
        threading.Thread(target=self._accept, daemon=True).start()

    def close(self):
        self._closing = True
        self.release.set()
        self._listener.close()

    def await_request(self, path, seconds=60):
        """Whether this path is asked for in this time."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            try:
                if self.asked.get(timeout=left) == path:
                    return True
            except queue.Empty:
                return False
        return False

    def _accept(self):
        while not self._closing:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        try:
            with connection:
                path = self._path(connection)
                if path:
                    self.asked.put(path)
                    getattr(self, '_' + path[1:], self._missing)(connection)
        except OSError:
            pass  # the browser has gone, as it may

    @staticmethod
    def _path(connection):
        head = b''
        while b'\r\n\r\n' not in head:
            piece = connection.recv(65536)
            if not piece:
                return None
            head += piece
        return head.split()[1].decode()

    @staticmethod
    def _send(connection, body, length=None, kind='text/html'):
        size = f'Content-Length: {len(body) if length is None else length}\r\n' if length != 'none' else ''
        connection.sendall(f'HTTP/1.1 200 OK\r\nContent-Type: {kind}\r\nConnection: close\r\n{size}\r\n'.encode()
                           + body)

    def _missing(self, connection):
        connection.sendall(b'HTTP/1.1 404 Not here\r\nContent-Length: 0\r\nConnection: close\r\n\r\n')

    def _plain(self, connection):
        self._send(connection, b'<p>plain')

    def _waiting(self, connection):
        self._send(connection, b'<p>waiting<img src=/held>')

    def _held(self, connection):
        self.release.wait(60)
        self._missing(connection)

    def _long_page(self, connection, paragraphs=LONG):
        self._send(connection, b'<p>once more' if self._printed else page_that_tells(paragraphs))

    def _shorter_page(self, connection):
        self._long_page(connection, SHORTER)

    def _printing(self, connection):
        self._printed = True
        self._send(connection, b'')

    def _closed(self, connection):
        pass

    def _reset_before(self, connection):
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack('ii', 1, 0))

    def _reset_within(self, connection):
        self._send(connection, b'<p>begun' + b'<p>and so on' * 500, 1000000)
        time.sleep(0.3)
        self._reset_before(connection)

    def _too_long(self, connection):
        self._send(connection, b'<p>begun' * 500, 1000000)

    def _too_short(self, connection):
        self._send(connection, b'<p>short and the rest', 8)

    def _broken_chunk(self, connection):
        connection.sendall(b'HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n'
                           b'1000\r\n<p>begun')

    def _slow(self, connection):
        self._send(connection, b'', 100000)
        while not self._closing:
            connection.sendall(b'x')
            time.sleep(1)

    def _endless(self, connection):
        self._send(connection, b'<p>begun', 'none')
        while not self._closing:
            connection.sendall(b'<p>and so on' * 10)
            time.sleep(0.05)

    def _torrent(self, connection):
        self._send(connection, b'<p>begun', 'none')
        while not self._closing:
            connection.sendall(b'<p>and so on' * 20000)

    def _broken_picture(self, connection):
        self._send(connection, b'<p>whole<img src=/too_long_picture><img src=/reset_within>')

    def _too_long_picture(self, connection):
        self._send(connection, b'GIF89a', 1000, 'image/gif')
