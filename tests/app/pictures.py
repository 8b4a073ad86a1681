"""PNG and BMP files made and read without the program under test: pictures are lists of rows of (red, green, blue,
alpha) tuples of 16-bit values."""
import struct
import zlib

SIGNATURE = b"\x89PNG\r\n\x1a\n"
SAMPLES = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}
PASSES = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]


def pack_bits(values, bits):
    """Values of 1 to 16 bits, the first one highest; the last byte is filled with zeros."""
    total = 0
    for value in values:
        total = total << bits | value
    count = len(values) * bits
    return (total << -count % 8).to_bytes((count + 7) // 8, "big")


def unpack_bits(data, bits, count):
    total = int.from_bytes(data, "big")
    return [total >> (len(data) * 8 - bits * (i + 1)) & ((1 << bits) - 1) for i in range(count)]


def paeth(a, b, c):
    p = a + b - c
    return min((abs(p - a), 0, a), (abs(p - b), 1, b), (abs(p - c), 2, c))[2]


def predicted(kind, line, above, i, step):
    a = line[i - step] if i >= step else 0
    c = above[i - step] if i >= step else 0
    return (0, a, above[i], (a + above[i]) // 2, paeth(a, above[i], c))[kind]


def chunk(name, body):
    return struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))


def png_lines(rows, colour, depth, interlaced):
    """Rows of sample lists as filtered lines; the filters take turns."""
    width, out, turn = len(rows[0]), b"", 0
    for x0, y0, dx, dy in PASSES if interlaced else [(0, 0, 1, 1)]:
        above = None
        for y in range(y0, len(rows), dy) if x0 < width else ():
            line = pack_bits([v for x in range(x0, width, dx) for v in rows[y][x]], depth)
            above = above or bytes(len(line))
            step = max(1, SAMPLES[colour] * depth // 8)
            out += bytes([turn % 5]) + bytes((line[i] - predicted(turn % 5, line, above, i, step)) & 255
                                             for i in range(len(line)))
            above, turn = line, turn + 1
    return out


def make_png(rows, colour, depth, interlaced=0, palette=b"", clear=b"", pieces=1, size=None):
    """rows hold the file's own samples, a tuple a pixel."""
    width, height = size or (len(rows[0]), len(rows))
    packed = zlib.compress(png_lines(rows, colour, depth, interlaced))
    cut = -(-len(packed) // pieces)
    out = SIGNATURE + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, interlaced))
    out += chunk(b"gAMA", b"\0\0\xb1\x8f") + (chunk(b"PLTE", palette) if palette else b"")
    out += chunk(b"tRNS", clear) if clear else b""
    out += b"".join(chunk(b"IDAT", packed[i:i + cut]) for i in range(0, len(packed), cut))
    return out + chunk(b"IEND", b"")


def meaning(sample, colour, depth, palette=b"", clear=b""):
    """What a pixel of these samples looks like."""
    full = 65535 // ((1 << depth) - 1)
    if colour == 3:
        r, g, b = palette[3 * sample[0]:3 * sample[0] + 3]
        a = clear[sample[0]] if sample[0] < len(clear) else 255
        return tuple(257 * v for v in (r, g, b, a))
    seen = clear and struct.unpack(f">{len(clear) // 2}H", clear) == sample[:len(clear) // 2]
    grey = sample[:1] * 3 if colour in (0, 4) else sample[:3]
    alpha = sample[-1] * full if colour in (4, 6) else 0 if seen else 65535
    return tuple(v * full for v in grey) + (alpha,)


def read_png(data):
    """A picture and the four numbers (width, height, depth, colour type); files that aren't interlaced only."""
    assert data[:8] == SIGNATURE
    at, packed, palette, names = 8, b"", b"", []
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        assert zlib.crc32(name + body) == struct.unpack(">I", data[at + 8 + length:at + 12 + length])[0]
        names.append(name)
        if name == b"IHDR":
            width, height, depth, colour, *rest = struct.unpack(">IIBBBBB", body)
            assert rest == [0, 0, 0]
        packed += body if name == b"IDAT" else b""
        palette = body if name == b"PLTE" else palette
        at += 12 + length
    assert names[0] == b"IHDR" and names[-1] == b"IEND"
    step, size = max(1, SAMPLES[colour] * depth // 8), (SAMPLES[colour] * depth * width + 7) // 8
    raw = zlib.decompress(packed)
    assert len(raw) == (size + 1) * height
    rows, above = [], bytes(size)
    for y in range(height):
        kind, *line = raw[y * (size + 1):(y + 1) * (size + 1)]
        for i in range(size):
            line[i] = (line[i] + predicted(kind, line, above, i, step)) & 255
        above = line
        values = unpack_bits(bytes(line), depth, SAMPLES[colour] * width)
        count = SAMPLES[colour]
        rows.append([meaning(tuple(values[x * count:(x + 1) * count]), colour, depth, palette) for x in range(width)])
    return rows, (width, height, depth, colour)


def stride(bits, width):
    return (bits * width + 31) // 32 * 4


def make_bmp(bits, lines, width, height, coding=0, colours=(), header=40, masks=(), extra=None):
    """lines: the rows' bytes in the order of the file, or the codes of runs. A negative height: top row first."""
    if header == 12:
        head = struct.pack("<IHHHH", 12, width, height, 1, bits)
        table = b"".join(bytes(c) for c in colours)
    else:
        head = struct.pack("<IiiHHIIiiII", header, width, height, 1, bits, coding, 0, 2835, 2835, len(colours), 0)
        head += struct.pack(f"<{len(masks)}I", *masks)
        head += bytes(max(0, header - len(head)))
        table = b"".join(bytes(c) + b"\0" for c in colours)
    table += extra or b""
    start, body = 14 + len(head) + len(table), lines if isinstance(lines, bytes) else b"".join(lines)
    return b"BM" + struct.pack("<IHHI", start + len(body), 0, 0, start) + head + table + body


def read_bmp(data):
    """A picture of bytes times 257, and (bits, coding, header bytes, whether the top row comes first)."""
    assert data[:2] == b"BM"
    size, _, start, header, width, height, planes, bits, coding = struct.unpack("<IIIIiiHHI", data[2:34])
    used = struct.unpack("<I", data[46:50])[0]
    assert size == len(data) and planes == 1
    masks = struct.unpack("<4I", data[54:70]) if coding == 3 else {16: (0x7C00, 0x3E0, 0x1F, 0)}.get(
        bits, (0xFF0000, 0xFF00, 0xFF, 0))
    masks = masks[:3] + (masks[3] if header > 40 else 0,)
    assert start == 14 + header + 4 * used + (12 if coding == 3 and header == 40 else 0)
    assert len(data) == start + stride(bits, width) * abs(height)
    rows = []
    for y in range(abs(height)):
        line = data[start + stride(bits, width) * y:start + stride(bits, width) * (y + 1)]
        row = []
        for x in range(width):
            if bits <= 8:
                entry = 14 + header + 4 * unpack_bits(line, bits, width)[x]
                b, g, r = data[entry:entry + 3]
                row.append((257 * r, 257 * g, 257 * b, 65535))
                continue
            value = int.from_bytes(line[x * bits // 8:(x + 1) * bits // 8], "little")
            row.append(tuple(round((value & m) * 65535 / m) if m else 65535 for m in masks))
        rows.append(row)
    return rows if height < 0 else rows[::-1], (bits, coding, header, height < 0)
