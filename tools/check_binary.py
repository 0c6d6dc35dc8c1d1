#!/usr/bin/python3
"""check_binary.py DLL...   looks at what is shipped: imports, exports, hardening and version of each library.

Prints each offence and returns 1 when there is one.
"""
import pathlib
import re
import sys

import pefile

ROOT = pathlib.Path(__file__).resolve().parent.parent
VERSION = re.search(r"project\(varnel VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
SYSTEM = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "user32.dll", "ws2_32.dll"}
# The runtime's slots are taken through our own function (src/com/runtime_slots.cpp).
NEVER_IMPORTED = {"TlsAlloc"}
EXPORTS = {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"}
HARDENING = {
    "IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE": True,  # the value: on x86 too
    "IMAGE_DLLCHARACTERISTICS_NX_COMPAT": True,
    "IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA": False,
}


def versions(image):
    """Everything in the version resource that says which version this is; at least four texts."""
    for info in image.FileInfo[0]:
        for table in getattr(info, "StringTable", []):
            for name in (b"FileVersion", b"ProductVersion"):
                yield table.entries.get(name, b"").decode()
    fixed = image.VS_FIXEDFILEINFO[0]
    for high, low in ((fixed.FileVersionMS, fixed.FileVersionLS), (fixed.ProductVersionMS, fixed.ProductVersionLS)):
        yield f"{high >> 16}.{high & 0xFFFF}.{low >> 16}"


def offences(image):
    imports = {entry.dll.decode().lower(): {f.name.decode() for f in entry.imports if f.name}
               for entry in image.DIRECTORY_ENTRY_IMPORT + getattr(image, "DIRECTORY_ENTRY_DELAY_IMPORT", [])}
    for dll in imports.keys() - SYSTEM:
        yield f"imports {dll}"
    for function in NEVER_IMPORTED & set().union(*imports.values()):
        yield f"imports {function}"
    exports = {symbol.name.decode() for symbol in image.DIRECTORY_ENTRY_EXPORT.symbols}
    if exports != EXPORTS:
        yield f"exports {sorted(exports)}"
    is_x86 = image.FILE_HEADER.Machine == pefile.MACHINE_TYPE["IMAGE_FILE_MACHINE_I386"]
    for flag, on_x86 in HARDENING.items():
        if (on_x86 or not is_x86) and not getattr(image.OPTIONAL_HEADER, flag):
            yield f"lacks {flag}"
    if image.FILE_HEADER.IMAGE_FILE_RELOCS_STRIPPED or not image.DIRECTORY_ENTRY_BASERELOC:
        yield "cannot be moved"
    for section in image.sections:
        if section.IMAGE_SCN_MEM_WRITE and section.IMAGE_SCN_MEM_EXECUTE:
            yield f"section {section.Name.decode()} is writable and executable"
    said = list(versions(image))
    if len(said) < 4 or set(said) != {VERSION}:
        yield f"says it is version {said}, not {VERSION}"


def main():
    found = 0
    for path in sys.argv[1:]:
        image = pefile.PE(path)
        listed = list(offences(image))
        found += len(listed)
        print("\n".join(f"{path}: {offence}" for offence in listed) or
              f"{path}: {pathlib.Path(path).stat().st_size} bytes, nothing found")
    return 1 if found or len(sys.argv) < 2 else 0


if __name__ == "__main__":
    sys.exit(main())
