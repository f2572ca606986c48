#!/usr/bin/env python3
"""Cuts a file behind its last segment, so that nothing is left that has a section header.
Usage: INPUT OUTPUT (little-endian)"""

import struct
import sys

with open(sys.argv[1], "rb") as file:
    image = bytearray(file.read())
table, = struct.unpack_from("<I", image, 28)
size, count = struct.unpack_from("<HH", image, 42)
segments = [struct.unpack_from("<8I", image, table + i * size) for i in range(count)]
del image[max(segment[1] + segment[4] for segment in segments):]
struct.pack_into("<I", image, 32, 0)  # e_shoff
struct.pack_into("<HHH", image, 46, 0, 0, 0)  # e_shentsize, e_shnum, e_shstrndx
with open(sys.argv[2], "wb") as file:
    file.write(image)
