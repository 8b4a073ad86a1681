#!/usr/bin/env python3
"""report_test.py PROGRAM FOLDER [EMULATOR...]: the configuration report through the workbench, read by a parser of
its own and held against what other programs say of the machine.
"""
import contextlib
import http.server
import os
import pathlib
import socket
import sys
import threading
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from workbench import EMULATOR, FOLDER, check, main, run, run_records  # noqa: E402

# Without the emulator, a user of this test's own.
USER = {} if EMULATOR else {"HOME": str(FOLDER), "XDG_CONFIG_HOME": str(FOLDER / "config")}
# The profile: on Windows a file of the whole prefix.
PROFILE = (pathlib.Path(os.environ.get("WINEPREFIX", "")) / "drive_c/windows/win.ini" if EMULATOR
           else FOLDER / "config/qv/profile.ini")


class ReportServer(http.server.BaseHTTPRequestHandler):
    """Answers with the status that the address ends in and keeps what it got; "/never" isn't answered."""
    protocol_version = "HTTP/1.1"
    got = []

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        self.got.append((dict(self.headers), body))
        last = self.path.rsplit("/", 1)[1]
        if last == "never":
            self.server.ended.wait(60)
            return
        if last == "shut":
            self.connection.shutdown(socket.SHUT_RDWR)
            return
        self.send_response(int(last))
        answer = b"" if last == "204" else b"thanks"
        self.send_header("Content-Type", "text/plain")
        self.send_header("Content-Length", str(len(answer)))
        self.end_headers()
        self.wfile.write(answer)

    def log_message(self, *_):
        pass


@contextlib.contextmanager
def server():
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), ReportServer) as one:
        one.daemon_threads = True
        one.handle_error = lambda *_: None  # clients that are gone are part of the test
        one.ended = threading.Event()
        threading.Thread(target=one.serve_forever, daemon=True).start()
        yield f"http://127.0.0.1:{one.server_port}"
        one.ended.set()
        one.shutdown()


@contextlib.contextmanager
def profile(text):
    """The user's profile with these lines."""
    before = PROFILE.read_bytes() if PROFILE.exists() else None
    PROFILE.parent.mkdir(parents=True, exist_ok=True)
    PROFILE.write_text(text)
    try:
        yield
    finally:
        PROFILE.write_bytes(before) if before is not None else PROFILE.unlink()


def post(address, words="machine"):
    """The exit code, the records, the errors and the lines of the log."""
    log = FOLDER / "out" / "post.log"
    log.unlink(missing_ok=True)
    code, out, err = run_records(f"set out=out\nreport r.xml {words} post={address} log=post.log\n", **USER)
    return code, out, err, log.read_text().splitlines() if log.exists() else []


def report(words):
    code, out, err = run_records(f"set out=out\nreport r.xml {words}\n", **USER)
    data = (FOLDER / "out" / "r.xml").read_bytes()
    check(f"report {words}", code == 0 and out == [["report", "r.xml", str(len(data))]], (out, err))
    check("no line ends", b"\n" not in data, data)
    return ElementTree.fromstring(data)


def shape(element):
    return [child.tag for child in element]


def test_parts():
    check("nothing", (found := shape(report(""))) == [], found)
    root = report('machine products user="R <&> ä€😀"')
    check("root", root.tag == "configinfo" and root.attrib == {"version": "2"}, root.attrib)
    check("user", root.findtext("user") == "R <&> ä€😀", root.findtext("user"))
    check("order", shape(root)[0] == "user" and shape(root)[-1] == "regmachine", shape(root))
    check("products only", set(shape(report("products"))) <= {"product"})


def test_machine():
    machine = report("machine").find("regmachine")
    check("parts", shape(machine) == ["os", "cpu", "memory", "video"], shape(machine))
    check("processors", machine.findtext("cpu/numbercpus") == str(os.cpu_count()), machine.findtext("cpu/numbercpus"))
    cpuinfo = pathlib.Path("/proc/cpuinfo").read_text()
    name = next(line.split(":")[1].strip() for line in cpuinfo.splitlines() if line.startswith("model name"))
    check("processor's name", machine.findtext("cpu/class") == name, machine.findtext("cpu/class"))
    flags = next(line for line in cpuinfo.splitlines() if line.startswith("flags")).split()
    for feature in ("sse", "sse2", "ssse3", "sse4_1", "sse4_2"):
        check(feature, (machine.find(f"cpu/{feature}") is not None) == (feature in flags), shape(machine.find("cpu")))
    kib = int(pathlib.Path("/proc/meminfo").read_text().split()[1])
    physical = int(machine.findtext("memory/physical"))
    check("memory", abs(physical - kib // 1024) <= kib // 1024 // 50, (physical, kib))
    if not EMULATOR:
        release = os.uname().release.split("-")[0].split(".")
        version = f"{int(release[0])}.{int(release[1]):02}.{int(release[2]):03}"
        check("version", machine.findtext("os/version").startswith(version), machine.findtext("os/version"))


def test_refusals():
    code, _, err = run("report r.xml colours\n")
    check("another word", code != 0 and "products and machine" in err, err)


def test_delivery():
    with server() as address:
        for status in (200, 204, 299):
            code, out, err, log = post(f"{address}/{status}")
            check(f"status {status}", code == 0 and out[1:] == [["report", f"{address}/{status}", "delivered"]], (out, err))
            check("its line", log == ["INFOSuccessfully posted config data to alert server."], log)
        headers, body = ReportServer.got[0]
        check("the body is the report", body == (FOLDER / "out" / "r.xml").read_bytes(), body)
        check("content type", headers.get("Content-Type") == "text/xml", headers)
        check("agent", headers.get("User-Agent") == "QvReporter", headers)
        check("accept", headers.get("Accept") == "*/*", headers)


def test_failures():
    with server() as address:
        for last, line in (("404", "hrResult=0x0, HTTP status code=404"), ("500", "hrResult=0x0, HTTP status code=500"),
                           ("301", "hrResult=0x0, HTTP status code=301")):
            code, out, err, log = post(f"{address}/{last}")
            check(f"status {last}", code != 0 and "0x8004e0ec" in err and len(out) == 1, (code, out, err))
            check("its line", log[-1:] == ["ERR Could not post config data to alert server - " + line], log)
        code, _, err, log = post(f"{address}/shut")
        check("a closed connection", "0x8004e0ec" in err and log[-1].endswith(", no CQvHttpResponse object"), (err, log))
        code, out, err, log = post(f"{address}/never")
        check("no answer", code == 0 and out[1:] == [["report", f"{address}/never", "no answer in time"]], (out, err))
        check("its line", log[:1] == ["ERR Request timed out waiting for completion change hr=0x8004e02c"], log)
    with socket.socket() as unheard:
        unheard.bind(("127.0.0.1", 0))
        code, _, err, log = post(f"http://127.0.0.1:{unheard.getsockname()[1]}/")
    check("nobody there", "0x8004e0ec" in err and log[-1].endswith(", no CQvHttpResponse object"), (err, log))
    code, _, err, log = post("ftp://127.0.0.1/")
    check("another scheme", "0x8004e0ec" in err and "hrResult=0x8004e0f2" in log[-1], (err, log))
    code, _, err, log = post('""')
    check("no address", "0x80004005" in err and log[-1].startswith("ERR Could not read RegConfig key from registry.  "
                                                                   "ev = 0  type = 1  cb = 2"), (err, log))
    code, _, err, log = post("http://x/" + "y" * 2100)
    check("a long address", "0x80004005" in err and "ev = 234  type = 1" in log[-1], (err, log))


def test_debug_copies():
    sent, answer = FOLDER / "sent.xml", FOLDER / "answer.txt"
    path = (lambda p: f"Z:{p}".replace("/", "\\")) if EMULATOR else str
    with server() as address:
        with profile(f"[debug]\nRegXMLFile={path(sent)}\nRegXMLResponseFile={path(answer)}\n"):
            code, _, err, _ = post(f"{address}/200", "machine user=Robin")
            check("sent with copies", code == 0, err)
            check("what was sent", sent.exists() and sent.read_bytes() == ReportServer.got[-1][1])
            check("the user's name is in it", b"<user>Robin</user>" in ReportServer.got[-1][1])
            check("what came back", answer.exists() and answer.read_bytes() == b"thanks")
            answer.unlink(missing_ok=True)
            post(f"{address}/404")
            check("no answer of a failure", not answer.exists())
        with profile(f"[debug]\nRegXMLFile={path(FOLDER / 'no' / 'such' / 'folder.xml')}\n"):
            check("a copy that can't be written harms nothing", post(f"{address}/200")[0] == 0)


main(test_delivery, test_failures, test_debug_copies, test_parts, test_machine, test_refusals)
