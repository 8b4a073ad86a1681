"""A real FTP server on port 21 of a loopback address, with the wrong turns that a test wants.

User "me", password "secret". Below the root stand:

    small.txt, big.bin (5 GiB of nothing, sparse), folder/ (three files), sub folder/, cuts (ends a byte too soon),
    refuses/ (to be listed), endless/ and babble/ (whose listings go on for ever, with names and without)

"SITE REPF name first second" sends that stretch of a file: the bytes from first on, second of them. The file
"/control/logins" says how often somebody has connected. A second server names a data address of another host.
"""
import logging
import os
import socket
import sys
import threading
import time

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.filesystems import AbstractedFS
from pyftpdlib.handlers import ActiveDTP, FTPHandler, PassiveDTP
from pyftpdlib.servers import FTPServer

ADDRESSES, PORT = ("127.0.0.21", "127.0.0.22"), 21
SMALL = b"one\r\ntwo\r\n"
ENDLESS = {"endless": b"type=file;size=1; name\r\n", "babble": b"nothing " * 100 + b"\r\n"}


class Endless:
    """Lines for a data connection, until the client hangs up."""

    def __init__(self, line):
        self.lines = line * (65536 // len(line))

    def more(self):
        return self.lines


class Files(AbstractedFS):
    def open(self, filename, mode):
        name = os.path.basename(filename)
        if name == "logins" and "r" in mode:
            with open(filename, "w", encoding="ascii") as file:
                file.write(str(Handler.logins))
        return super().open(filename, mode)


class Active(ActiveDTP):
    """Forgets a data connection that it has handed on. The library's own takes it out of the loop again when the
    client leaves, by a number that may be the next client's by then: on a busy machine that one was never heard."""

    def handle_connect(self):
        super().handle_connect()
        self._fileno = None


class Handler(FTPHandler):
    active_dtp = Active
    logins = 0
    proto_cmds = {**FTPHandler.proto_cmds,
                  "SITE REPF": dict(perm="r", auth=True, arg=True, help="Syntax: SITE REPF name first second")}

    def on_connect(self):
        type(self).logins += 1

    def ftp_MLSD(self, path):
        self.list_unless_refused(path, super().ftp_MLSD)

    def ftp_LIST(self, path):
        self.list_unless_refused(path, super().ftp_LIST)

    def list_unless_refused(self, path, listing):
        folders = {os.path.basename(path), os.path.basename(self.fs.cwd)}
        endless = [lines for folder, lines in ENDLESS.items() if folder in folders]
        if "refuses" in folders:
            self.respond("550 Not for you.")
        elif endless:
            self.push_dtp_data(Endless(endless[0]), isproducer=True, cmd="MLSD")
        else:
            listing(path)

    def ftp_SIZE(self, path):
        if os.path.basename(path) == "cuts":
            self.respond("213 %d" % (os.path.getsize(path) + 1))
        else:
            super().ftp_SIZE(path)

    def ftp_SITE_REPF(self, line):
        name, first, second = line.rsplit(" ", 2)  # a path of the file system already
        try:
            with open(name, "rb") as file:
                file.seek(int(first))
                data = file.read(int(second))
        except OSError:
            self.respond("550 No such file.")
            return
        # Line ends are converted for text, as a device does that knows types.
        self.push_dtp_data(data if self._current_type == "i" else data.replace(b"\n", b"\r\n"), cmd="REPF")


class LyingPassive(PassiveDTP):
    """Names the data address of a host that nobody listens on."""

    def __init__(self, cmd_channel, extmode=False):
        real = cmd_channel.respond
        cmd_channel.respond = lambda text, *rest: real(text.replace("127,0,0,22", "192,0,2,1"), *rest)
        super().__init__(cmd_channel, extmode=extmode)
        cmd_channel.respond = real


class Liar(Handler):
    passive_dtp = LyingPassive

    def ftp_EPSV(self, line):
        self.respond("502 Not here.")


def fill(root):
    for folder in ("folder", "sub folder", "control", "refuses", *ENDLESS):
        os.makedirs(os.path.join(root, folder), exist_ok=True)
    contents = {"small.txt": SMALL, "folder/a.wav": b"a", "folder/b.wav": b"bb", "folder/c.txt": b"",
                "control/logins": b"0", "cuts": os.urandom(3 << 20)}
    for name, data in contents.items():
        with open(os.path.join(root, name), "wb") as file:
            file.write(data)
    with open(os.path.join(root, "big.bin"), "wb") as file:
        file.truncate(5 << 30)


def skip_without_port():
    with socket.socket() as probe:
        try:
            probe.bind((ADDRESSES[0], PORT))
        except PermissionError:
            print("SKIPPED: the port of FTP servers, 21, is not ours to listen on; run this as root")
            print("0 passed, 0 failed")
            sys.exit(0)
        except OSError:
            pass  # another test's, for now


def start(root):
    """The files under `root`, served. Tests at once take turns, as the port is one; where it isn't ours to listen on,
    the script ends."""
    skip_without_port()
    fill(root)
    for _ in range(240):
        try:
            return listen(root)
        except OSError:
            time.sleep(0.5)
    raise SystemExit("no port 21")


def listen(root):
    """Both servers, in one thread."""
    logging.disable(logging.ERROR)
    authorizer = DummyAuthorizer()
    authorizer.add_user("me", "secret", root, perm="elradfmwMT")
    servers = []
    for address, handler in zip(ADDRESSES, (Handler, Liar)):
        made = type("Made", (handler,), {"authorizer": authorizer, "abstracted_fs": Files, "timeout": 60})
        try:
            servers.append(FTPServer((address, PORT), made))
        except OSError:
            for server in servers:
                server.close()
            raise
    threading.Thread(target=servers[0].serve_forever, kwargs={"handle_exit": False}, daemon=True).start()
    return servers
