#!/usr/bin/env python3
"""repair_typelib.py IN OUT IDL - mend a type library as widl writes it.

widl 7 and 8 damage a library whose first type that needs IDispatch is a dispinterface: the last byte of the library
GUID is overwritten and IDispatch gets a second, broken import record that every base reference uses. widl warns
"duplicate uuid" and exits 0. The repair restores the GUID (read from the IDL), sends the references to the good
record and drops the bad one. An undamaged library passes through unchanged; an unknown layout is an error.
"""
import re
import struct
import sys

GOOD_IDISPATCH, BAD_IDISPATCH = 0x01, 0x0D


def library_guid(idl_path):
    text = open(idl_path, encoding="utf-8").read()
    match = re.search(r"uuid\(([0-9A-Fa-f-]{36})\)[^\]]*\]\s*library\b", text)
    if not match:
        sys.exit(f"{idl_path}: no uuid in front of 'library'")
    digits = match.group(1).replace("-", "")
    return struct.pack("<IHH8s", int(digits[:8], 16), int(digits[8:12], 16), int(digits[12:16], 16),
                       bytes.fromhex(digits[16:]))


def repair(data, wanted):
    def u32(offset):
        return struct.unpack_from("<I", data, offset)[0]

    if data[:4] != b"MSFT":
        sys.exit("not a type library")
    segments = 0x54 + (4 if u32(0x14) & 0x100 else 0) + 4 * u32(0x20)  # after the header and the type offsets
    types, types_size = u32(segments), u32(segments + 4)
    imports, imports_size = u32(segments + 16), u32(segments + 20)
    guid = u32(segments + 5 * 16) + u32(0x08)
    if imports_size > 12 and u32(imports + 20) == 0xFFFFFFFF:
        if imports_size != 24 or u32(0x4C) != BAD_IDISPATCH or data[guid:guid + 15] != wanted[:15]:
            sys.exit("damaged type library of an unknown layout")
        data[guid:guid + 16] = wanted
        struct.pack_into("<I", data, 0x4C, GOOD_IDISPATCH)
        for record in range(types, types + types_size, 0x64):
            is_interface = u32(record) & 0xF in (3, 4)
            if is_interface and u32(record + 0x54) == BAD_IDISPATCH:
                struct.pack_into("<I", data, record + 0x54, GOOD_IDISPATCH)
        struct.pack_into("<I", data, segments + 20, 12)
    if data[guid:guid + 16] != wanted:
        sys.exit("the library GUID differs from the IDL's")
    return data


def main():
    source, target, idl = sys.argv[1:4]
    with open(source, "rb") as file:
        data = bytearray(file.read())
    mended = repair(data, library_guid(idl))
    with open(target, "wb") as file:
        file.write(mended)


if __name__ == "__main__":
    main()
