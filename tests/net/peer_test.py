#!/usr/bin/env python3
"""peer_test.py PROGRAM FOLDER [EMULATOR...]: runs a test program against servers on this machine.

The program finds them through the environment: QV_TEST_HTTP and QV_TEST_OTHER (host:port), QV_TEST_HTTPS (with a
certificate that SSL_CERT_FILE vouches for, and the emulator's own store), QV_TEST_STRANGER (with one that nobody
vouches for), and QV_TEST_FOLDER, a folder of its own. FTP servers stand on port 21, which the client knows no other
than, of 127.0.0.21 and 127.0.0.22.
"""
import contextlib
import hashlib
import os
import pathlib
import re
import shutil
import ssl
import struct
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import ftp_server  # noqa: E402
import http_server  # noqa: E402

PROGRAM, FOLDER, EMULATOR = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3:]


# The emulator looks for names in a certificate, not for addresses.
TLS_HOST = "localhost" if EMULATOR else "127.0.0.1"
ROOTS = r"HKCU\Software\Microsoft\SystemCertificates\Root\Certificates"


def certificate(name):
    """A certificate for this machine, and a file that holds it with its key."""
    key, cert, both = (FOLDER / f"{name}-{part}.pem" for part in ("key", "cert", "both"))
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost",
                    "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout", key, "-out", cert], check=True,
                   stderr=subprocess.DEVNULL)
    both.write_bytes(key.read_bytes() + cert.read_bytes())
    return cert, both


def registry(*arguments):
    subprocess.run([*EMULATOR, "reg", *arguments, "/f"], check=True, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


@contextlib.contextmanager
def trusted(cert):
    """Puts a certificate among the emulator's authorities meanwhile; elsewhere SSL_CERT_FILE does."""
    if not EMULATOR:
        yield
        return
    encoded = ssl.PEM_cert_to_DER_cert(cert.read_text())
    entry = ROOTS + "\\" + hashlib.sha1(encoded).hexdigest().upper()
    stored = struct.pack("<III", 32, 1, len(encoded)) + encoded  # a store's record: the certificate itself
    registry("add", entry, "/v", "Blob", "/t", "REG_BINARY", "/d", stored.hex())
    try:
        yield
    finally:
        registry("delete", entry)


def start_ftp():
    """The files stand outside the program's folder."""
    root = FOLDER / "ftp"
    root.mkdir()
    ftp_server.start(str(root))


def main():
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    cert, both = certificate("known")
    _, strangers = certificate("stranger")
    if "ftp" in pathlib.Path(PROGRAM).name:
        start_ftp()
    servers = {"QV_TEST_HTTP": http_server.start(), "QV_TEST_OTHER": http_server.start(),
               "QV_TEST_HTTPS": http_server.start(certificate=both),
               "QV_TEST_STRANGER": http_server.start(certificate=strangers)}
    places = {name: f"127.0.0.1:{server.server_address[1]}" for name, server in servers.items()}
    for name in ("QV_TEST_HTTPS", "QV_TEST_STRANGER"):
        places[name] = f"{TLS_HOST}:{servers[name].server_address[1]}"
    environment = {**os.environ, **places, "SSL_CERT_FILE": str(cert), "QV_TEST_FOLDER": str(FOLDER), "no_proxy": "*"}
    log = FOLDER / "log.txt"
    with open(log, "w+b") as out, trusted(cert):
        done = subprocess.run([*EMULATOR, PROGRAM], stdin=subprocess.DEVNULL, stdout=out, stderr=out, env=environment,
                              timeout=None if "QV_TEST_ROUNDS" in os.environ else 500)
    text = log.read_text(errors="replace")
    print(text)
    passed = re.search(r"\[  PASSED  \] (\d+) test", text)
    failed = len(set(re.findall(r"\[  FAILED  \] (\w+\.\w+)", text)))
    good = passed and failed == 0 and (EMULATOR or done.returncode == 0)
    print(f"{passed[1] if passed else 0} passed, {failed if good or failed else 1} failed")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
