#!/usr/bin/env python3
"""Reads and writes archives of the format that docs/formats/archive2.md describes; a second opinion on the toolkit's.

  archive2.py list FILE            one line an entry: name, sizes, method, attributes, checksum
  archive2.py check FILE           exits 1 unless every byte is accounted for and every checksum is right
  archive2.py extract FILE FOLDER  what is inside, below a folder
  archive2.py create FILE FOLDER   the tree below a folder, deflated where that is shorter
"""
import pathlib
import struct
import sys
import zlib

LOCAL = struct.Struct("<4sQIiQIIQQIII")
CENTRAL = struct.Struct("<4sQIiQIIQQIIIIIIQ")
END = struct.Struct("<4sIIIIQQQIII")
assert (LOCAL.size, CENTRAL.size, END.size) == (64, 84, 56)
LOCAL_MARK, CENTRAL_MARK, END_MARK = b"UM\x03\x0a", b"UM\x01\x0b", b"UM\x05\x0c"
FOLDER = 0x10
TAIL = 32768
UNIX_EPOCH = 116444736000000000


class Damaged(Exception):
    pass


def need(condition, what):
    if not condition:
        raise Damaged(what)


def volume_path(path, base, number):
    name, dot, extension = base.replace("\\", "/").split("/")[-1].rpartition(".")
    stem = name if dot else extension
    return path.with_name(f"{stem}{number}{'.' + extension if dot else ''}")


class Archive:
    """The whole of an archive in memory, as a list of entries (name, attributes, time, method, stored, original)."""

    def __init__(self, path):
        path = pathlib.Path(path)
        main = path.read_bytes()
        at = main.rfind(END_MARK, max(0, len(main) - TAIL), max(0, len(main) - END.size + 4))
        need(at >= 0, "no end record")
        (_, self.volumes, _, count, again, size, offset, self.prefix, comment, base, third) = END.unpack_from(main, at)
        need(count == again, "two numbers of entries")
        need(third == 0, "a third text")
        need(self.prefix + offset + size == at, "the directory doesn't end at the end record")
        texts = main[at + END.size:]
        self.comment = texts[:2 * comment].decode("utf-16-le")
        self.base = texts[2 * comment:2 * (comment + base)].decode("utf-16-le")
        region = main[self.prefix:self.prefix + offset]
        for number in range(2, self.volumes + 1):
            region += volume_path(path, self.base, number).read_bytes()
        self.entries = list(self._directory(main[self.prefix + offset:at], region, count))

    @staticmethod
    def _directory(directory, region, count):
        place = used = 0
        for _ in range(count):
            head = CENTRAL.unpack_from(directory, place)
            mark, _, method, level, time, stored_crc, crc, stored, original = head[:9]
            length, second, third, _, attributes, _, offset = head[9:]
            need(mark == CENTRAL_MARK, "no central entry")
            name = directory[place + CENTRAL.size:place + CENTRAL.size + 2 * length]
            place += CENTRAL.size + 2 * (length + second + third)
            local = LOCAL.unpack_from(region, offset)
            need(local == (LOCAL_MARK, *head[1:9], attributes, length, second), "the headers differ")
            need(region[offset + LOCAL.size:offset + LOCAL.size + 2 * length] == name, "the names differ")
            start = offset + LOCAL.size + 2 * (length + second)
            data = region[start:start + stored]
            need(len(data) == stored and zlib.crc32(data) == stored_crc, "stored bytes")
            plain = zlib.decompress(data, -15) if method == 1 and stored else data
            need(method in (0, 1), "an unknown method")
            need(len(plain) == original and zlib.crc32(plain) == crc, "original bytes")
            used += start + stored - offset
            yield name.decode("utf-16-le"), attributes, time, method, stored, plain
        need(place == len(directory), "the directory has another size")
        need(used == len(region), "bytes that belong to no entry")


def packed(name, attributes, time, plain):
    """An entry's local header, name and data, and the central entry without its offset."""
    squeezer = zlib.compressobj(9, zlib.DEFLATED, -15)
    data = squeezer.compress(plain) + squeezer.flush()
    method = 1 if len(data) < len(plain) else 0
    data = data if method else plain
    wide = name.encode("utf-16-le")
    shared = (0, method, 9, time, zlib.crc32(data), zlib.crc32(plain), len(data), len(plain))
    local = LOCAL.pack(LOCAL_MARK, *shared, attributes, len(wide) // 2, 0) + wide + data
    return local, lambda at: CENTRAL.pack(CENTRAL_MARK, *shared, len(wide) // 2, 0, 0, 0, attributes, 0, at) + wide


def create(path, folder, comment=""):
    folder = pathlib.Path(folder)
    region = directory = b""
    found = sorted(folder.rglob("*"))
    for item in found:
        name = str(item.relative_to(folder.parent)).replace("/", "\\")
        time = item.stat().st_mtime_ns // 100 + UNIX_EPOCH
        if item.is_dir():
            local, central = packed(name + "\\", FOLDER, time, b"")
        else:
            local, central = packed(name, 0x20, time, item.read_bytes())
        directory += central(len(region))
        region += local
    wide = comment.encode("utf-16-le")
    end = END.pack(END_MARK, 1, 0, len(found), len(found), len(directory), len(region), 0, len(wide) // 2, 0, 0)
    pathlib.Path(path).write_bytes(region + directory + end + wide)


def extract(path, folder):
    for name, attributes, _, _, _, plain in Archive(path).entries:
        parts = name.rstrip("\\").split("\\")
        need(not any(part in ("", ".", "..") or set(part) & set(':/\0') for part in parts), "a name that leads out")
        target = pathlib.Path(folder, *parts)
        if attributes & FOLDER:
            target.mkdir(parents=True, exist_ok=True)
        else:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(plain)


def main():
    what, path, *rest = sys.argv[1:]
    try:
        if what == "create":
            create(path, rest[0])
        elif what == "extract":
            extract(path, rest[0])
        else:
            for name, attributes, _, method, stored, plain in Archive(path).entries:
                if what == "list":
                    print(f"{name}\t{len(plain)}\t{stored}\t{method}\t{attributes:08x}\t{zlib.crc32(plain):08x}")
    except (Damaged, struct.error, zlib.error, OSError) as fault:
        sys.exit(f"{path}: {fault}")


if __name__ == "__main__":
    main()
