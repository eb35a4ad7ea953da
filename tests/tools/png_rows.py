"""Reading PNG files in the tool tests, with nothing but the standard library."""
import struct
import zlib


def chunks(data):
    """Each chunk of a PNG file as (type, body, whether its CRC is right)."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "no PNG signature"
    pos = 8
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        crc, = struct.unpack(">I", data[pos + 8 + length:pos + 12 + length])
        yield kind, body, crc == zlib.crc32(kind + body) & 0xFFFFFFFF
        pos += 12 + length


def rows_of(raw, width, height, channels):
    """The rows of decompressed 8-bit image data, each row's filter undone."""
    stride = width * channels
    rows, prev = [], bytearray(stride)
    for y in range(height):
        kind = raw[y * (stride + 1)]
        line = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            a = line[i - channels] if i >= channels else 0
            b, c = prev[i], prev[i - channels] if i >= channels else 0
            if kind == 1: line[i] = (line[i] + a) & 255
            elif kind == 2: line[i] = (line[i] + b) & 255
            elif kind == 3: line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(line)
        prev = line
    return rows


def read_png(path):
    """(width, height, channels, rows, every CRC right) of an 8-bit,
    non-interlaced RGB or RGBA PNG."""
    idat, head, good = b"", None, True
    for kind, body, crc_ok in chunks(open(path, "rb").read()):
        good = good and crc_ok
        if kind == b"IHDR": head = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT": idat += body
    width, height, depth, colour, _, _, interlace = head
    assert depth == 8 and interlace == 0, head
    channels = {6: 4, 2: 3}[colour]
    return width, height, channels, rows_of(zlib.decompress(idat), width, height, channels), good
