#!/usr/bin/env python3
"""Packs square PNG images into one Windows .ico: make-ico.py OUT.ico IN.png...

The 256-pixel image is stored as the PNG itself (Vista and later read it, and
it keeps the file small); the smaller ones as 32-bit BGRA bitmaps with their
AND mask, which every Windows and every icon tool reads. Only what rsvg-convert
writes is accepted: 8-bit RGBA, not interlaced.
"""
import struct
import sys
import zlib

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"


def png_chunks(data):
    if not data.startswith(PNG_SIGNATURE):
        raise ValueError("not a PNG file")
    pos = len(PNG_SIGNATURE)
    while pos < len(data):
        (length,) = struct.unpack(">I", data[pos:pos + 4])
        kind = data[pos + 4:pos + 8]
        yield kind, data[pos + 8:pos + 8 + length]
        pos += 12 + length


def paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    if pa <= pb and pa <= pc:
        return a
    return b if pb <= pc else c


def decode_rgba(data):
    """Width, height and the rows of RGBA bytes, top row first."""
    header, compressed = None, b""
    for kind, body in png_chunks(data):
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            compressed += body
    if header is None:
        raise ValueError("PNG without a header")
    width, height, depth, colour, _, _, interlace = header
    if depth != 8 or colour != 6 or interlace != 0:
        raise ValueError("only 8-bit RGBA PNGs without interlacing are packed")
    raw = zlib.decompress(compressed)
    stride = width * 4
    rows, previous, pos = [], bytearray(stride), 0
    for _ in range(height):
        kind = raw[pos]
        line = bytearray(raw[pos + 1:pos + 1 + stride])
        pos += 1 + stride
        for i in range(stride):
            left = line[i - 4] if i >= 4 else 0
            up = previous[i]
            upper_left = previous[i - 4] if i >= 4 else 0
            if kind == 1:
                line[i] = (line[i] + left) & 0xFF
            elif kind == 2:
                line[i] = (line[i] + up) & 0xFF
            elif kind == 3:
                line[i] = (line[i] + ((left + up) >> 1)) & 0xFF
            elif kind == 4:
                line[i] = (line[i] + paeth(left, up, upper_left)) & 0xFF
            elif kind != 0:
                raise ValueError("unknown PNG filter %d" % kind)
        rows.append(bytes(line))
        previous = line
    return width, height, rows


def bitmap_entry(width, height, rows):
    """A DIB as icons hold it: the header's height counts the mask too, rows go bottom up."""
    header = struct.pack("<IiiHHIIiiII", 40, width, height * 2, 1, 32, 0, 0, 0, 0, 0, 0)
    pixels = bytearray()
    mask = bytearray()
    mask_stride = ((width + 31) // 32) * 4
    for row in reversed(rows):
        bits = bytearray(mask_stride)
        for x in range(width):
            r, g, b, a = row[4 * x:4 * x + 4]
            pixels += bytes((b, g, r, a))
            if a == 0:
                bits[x // 8] |= 0x80 >> (x % 8)
        mask += bits
    return header + bytes(pixels) + bytes(mask)


def main(argv):
    if len(argv) < 3:
        sys.stderr.write("usage: make-ico.py OUT.ico IN.png...\n")
        return 2
    images = []
    for name in argv[2:]:
        with open(name, "rb") as f:
            data = f.read()
        width, height, rows = decode_rgba(data)
        if width != height or not 1 <= width <= 256:
            raise ValueError("%s: %dx%d is not an icon size" % (name, width, height))
        body = data if width >= 256 else bitmap_entry(width, height, rows)
        images.append((width, body))
    images.sort(key=lambda image: image[0])

    out = bytearray(struct.pack("<HHH", 0, 1, len(images)))
    offset = 6 + 16 * len(images)
    for size, body in images:
        # A dimension of 256 is written as 0.
        out += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(body), offset)
        offset += len(body)
    for _, body in images:
        out += body
    with open(argv[1], "wb") as f:
        f.write(out)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
