#!/usr/bin/env python3
"""Lets ld.lld link debug sections that count from the static base: it refuses R_ARM_SBREL32 there,
so each becomes an R_ARM_ABS32 whose addend takes the base off. Usage: OBJECT BASE (little-endian)"""

import struct
import sys

R_ARM_ABS32, R_ARM_SBREL32, SHT_REL, SHF_ALLOC = 2, 9, 9, 2

path, base = sys.argv[1], int(sys.argv[2], 0)
with open(path, "rb") as file:
    image = bytearray(file.read())
table, = struct.unpack_from("<I", image, 32)
size, count = struct.unpack_from("<HH", image, 46)
sections = [struct.unpack_from("<10I", image, table + i * size) for i in range(count)]
for section in sections:
    target = sections[section[7]]
    if section[1] != SHT_REL or target[2] & SHF_ALLOC:
        continue
    for place in range(section[4], section[4] + section[5], 8):
        offset, info = struct.unpack_from("<II", image, place)
        if info & 0xFF == R_ARM_SBREL32:
            struct.pack_into("<I", image, place + 4, info & ~0xFF | R_ARM_ABS32)
            addend, = struct.unpack_from("<I", image, target[4] + offset)
            struct.pack_into("<I", image, target[4] + offset, (addend - base) & 0xFFFFFFFF)
with open(path, "wb") as file:
    file.write(image)
