#!/usr/bin/env python3
"""make_typelib.py OUT IDL WIDL [WIDL ARGUMENTS] - run widl and mend the type library that it writes.

widl 7 and 8 damage a library whose first type that needs IDispatch is a dispinterface: the last byte of the library
GUID is overwritten and IDispatch gets a second, broken import record that every base reference uses. widl warns
"duplicate uuid" and succeeds. The repair restores the GUID (read from the IDL), sends the references to the good
record and drops the bad one. An undamaged library passes through unchanged; an unknown layout is an error, and so is
any other warning.
"""
import os
import re
import struct
import subprocess
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


def run_widl(command):
    # Both keep the time of the day out of the library: the same sources give the same bytes, wherever they are built.
    environment = dict(os.environ, WIDL_TIME_OVERRIDE="0", TZ="UTC")
    done = subprocess.run(command, env=environment, stderr=subprocess.PIPE, text=True)
    unexpected = [line for line in done.stderr.splitlines() if "duplicate uuid" not in line]
    if done.returncode != 0 or unexpected:
        sys.exit("\n".join(unexpected) or f"widl: status {done.returncode}")


def main():
    target, idl, *widl = sys.argv[1:]
    raw = target + ".raw"
    run_widl([*widl, "-t", "-o", raw, idl])
    with open(raw, "rb") as file:
        data = bytearray(file.read())
    mended = repair(data, library_guid(idl))
    with open(target, "wb") as file:
        file.write(mended)


if __name__ == "__main__":
    main()
