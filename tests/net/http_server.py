"""A real HTTP/1.1 server that does what an address asks of it, the wrong things too.

    /bytes?size=N            N bytes of a pattern, with their length
    /chunked?size=N          the same in chunks
    /close?size=N            the same without a length, ended by closing
    /slow?size=N&ms=T        the same a byte at a time
    /raw?say=TEXT            this very text, percent-encoded, and then the end of the connection
    /cut?at=N                the first N bytes of a good response
    /status?code=N           a page with this status
    /redirect?to=URL&code=N  to another address
    /circle                  to itself
    /secret                  the same as echo, for those who name themselves
    /echo                    the request as it came: its line, its headers, its body
    /form                    what a multipart form holds: name, file name, type, size and checksum of each part
    /headers                 header lines without end
    /silent                  nothing at all, for as long as the client waits
"""
import email.parser
import email.policy
import http.server
import socket
import ssl
import threading
import time
import urllib.parse
import zlib


def pattern(size):
    block = bytes((i * 7 + (i >> 8)) & 255 for i in range(65536))
    return (block * (size // 65536 + 1))[:size]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True
    silent = threading.Event()  # somebody waits for the page that says nothing

    def log_message(self, *_):
        pass

    def reply(self, body, status=200, kind="application/octet-stream", **headers):
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.end_headers()
        self.wfile.write(body)

    def raw(self, data):
        self.wfile.write(data)
        self.wfile.flush()
        self.close_connection = True
        self.connection.shutdown(socket.SHUT_WR)

    def number(self, name, default=0):
        return int(self.query.get(name, [default])[0])

    def text(self, name):
        return self.query.get(name, [""])[0]

    def body(self):
        return self.rfile.read(int(self.headers.get("Content-Length", 0)))

    def answer(self):
        url = urllib.parse.urlsplit(self.path)
        self.query = urllib.parse.parse_qs(url.query, encoding="latin-1")
        try:
            getattr(self, "do_" + url.path.strip("/").replace("/", "_"), self.missing)()
        except (ConnectionError, ssl.SSLError, TimeoutError):
            self.close_connection = True

    do_GET = do_POST = do_HEAD = answer

    def missing(self):
        self.body()
        self.reply(b"no such thing", 404, "text/plain")

    def do_bytes(self):
        self.reply(pattern(self.number("size")))

    def do_chunked(self):
        data = pattern(self.number("size"))
        self.send_response(200)
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        for at in range(0, len(data), 5000):
            part = data[at:at + 5000]
            self.wfile.write(b"%x\r\n%s\r\n" % (len(part), part))
        self.wfile.write(b"0\r\nContent-Length: 3\r\n\r\n")

    def do_close(self):
        self.raw(b"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + pattern(self.number("size")))

    def do_slow(self):
        data = pattern(self.number("size"))
        self.send_response(200)
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        for byte in data:
            self.wfile.write(bytes([byte]))
            time.sleep(self.number("ms") / 1000)

    def do_raw(self):
        self.raw(self.text("say").encode("latin-1"))

    def do_cut(self):
        whole = b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 20\r\n\r\n" + b"0123456789" * 2
        self.raw(whole[:self.number("at")])

    def do_status(self):
        self.reply(b"a page", self.number("code"), "text/html; charset=utf-8")

    def do_redirect(self):
        self.body()
        self.reply(b"elsewhere", self.number("code", 302), Location=self.text("to"))

    def do_circle(self):
        self.reply(b"", 302, Location="/circle")

    def do_secret(self):
        if "Authorization" in self.headers:
            self.do_echo()
        else:
            self.reply(b"", 401, WWW_Authenticate='Basic realm="test"')

    def do_echo(self):
        self.reply(f"{self.requestline}\n{self.headers}".encode() + self.body(), kind="text/plain")

    def do_form(self):
        head = f"Content-Type: {self.headers['Content-Type']}\r\n\r\n".encode()
        form = email.parser.BytesParser(policy=email.policy.HTTP).parsebytes(head + self.body())
        lines = []
        for part in form.iter_parts():
            data = part.get_payload(decode=True)
            lines.append("|".join([part.get_param("name", "", "content-disposition"), part.get_filename() or "",
                                   part.get_content_type(), str(len(data)), f"{zlib.crc32(data):08x}"]))
        self.reply("\n".join(lines).encode(), kind="text/plain")

    def do_headers(self):
        self.wfile.write(b"HTTP/1.1 200 OK\r\n")
        while True:
            self.wfile.write(b"X-More: " + b"x" * 1000 + b"\r\n")

    def do_silent(self):
        self.silent.set()
        self.rfile.read(1)
        self.close_connection = True


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 64

    def handle_error(self, *_):
        pass


def start(address="127.0.0.1", certificate=None):
    """A server in a thread of its own; the result's server_address[1] is its port."""
    server = Server((address, 0), Handler)
    if certificate:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate)
        server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server
