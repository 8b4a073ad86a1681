#!/usr/bin/env bash
# tests/golden/zip/make.sh: makes the ZIP files beside it anew, with Info-ZIP, 7-Zip, Python and libarchive
# (packages zip, p7zip-full, python3, libarchive-tools). All hold the same files:
#   notes.txt        some text
#   takes/           a folder
#   takes/one.bin    40,000 bytes, i * i / 7 mod 251
#   takes/deep/two   one byte, "2"
set -eu
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir -p takes/deep
printf 'Roll camera.\nSound speed.\n' >notes.txt
python3 -c 'import sys; sys.stdout.buffer.write(bytes(i * i // 7 % 251 for i in range(40000)))' >takes/one.bin
printf 2 >takes/deep/two
find . -exec touch -d '2021-06-05 04:03:02' {} +
rm -f "$here"/*.zip
zip -q -r -z "$here/infozip.zip" notes.txt takes <<<'A comment.'
zip -q -r -0 -D "$here/infozip_stored.zip" notes.txt takes
7z a -tzip -bso0 "$here/sevenzip.zip" notes.txt takes
python3 - "$here/python.zip" <<'PYTHON'
import os, sys, zipfile
with zipfile.ZipFile(sys.argv[1], 'w', zipfile.ZIP_DEFLATED) as z:
    for folder, _, files in os.walk('.'):
        for name in files:
            z.write(os.path.relpath(os.path.join(folder, name)))
PYTHON
bsdtar --format zip -cf "$here/libarchive.zip" notes.txt takes
