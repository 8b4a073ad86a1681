#!/usr/bin/env python3
"""peer_test.py PROGRAM FOLDER [EMULATOR...]: runs a test program against servers on this machine.

The program finds them through the environment: QV_TEST_HTTP and QV_TEST_OTHER (host:port), QV_TEST_HTTPS (with a
certificate that SSL_CERT_FILE vouches for), and QV_TEST_FOLDER, a folder of its own.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import http_server  # noqa: E402

PROGRAM, FOLDER, EMULATOR = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3:]


def certificate():
    """A key and a certificate for 127.0.0.1 in one file."""
    key, cert, both = FOLDER / "key.pem", FOLDER / "cert.pem", FOLDER / "both.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=127.0.0.1",
                    "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key, "-out", cert], check=True,
                   stderr=subprocess.DEVNULL)
    both.write_bytes(key.read_bytes() + cert.read_bytes())
    return cert, both


def main():
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    cert, both = certificate()
    servers = {"QV_TEST_HTTP": http_server.start(), "QV_TEST_OTHER": http_server.start(),
               "QV_TEST_HTTPS": http_server.start(certificate=both)}
    places = {name: f"127.0.0.1:{server.server_address[1]}" for name, server in servers.items()}
    environment = {**os.environ, **places, "SSL_CERT_FILE": str(cert), "QV_TEST_FOLDER": str(FOLDER), "no_proxy": "*"}
    log = FOLDER / "log.txt"
    with open(log, "w+b") as out:
        done = subprocess.run([*EMULATOR, PROGRAM], stdin=subprocess.DEVNULL, stdout=out, stderr=out, env=environment,
                              timeout=500)
    text = log.read_text(errors="replace")
    print(text)
    passed = re.search(r"\[  PASSED  \] (\d+) test", text)
    failed = len(set(re.findall(r"\[  FAILED  \] (\w+\.\w+)", text)))
    good = passed and failed == 0 and (EMULATOR or done.returncode == 0)
    print(f"{passed[1] if passed else 0} passed, {failed if good or failed else 1} failed")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
