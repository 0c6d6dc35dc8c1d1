#!/usr/bin/python3
"""check_binary.py [--facts] DLL...   looks at what is shipped: imports, exports, resources, hardening and version.

Imports, exports and resources have to be those of tests/golden/binary.txt. Prints each offence and returns 1 when there
is one. --facts prints what stands in the libraries, for that file.
"""
import fnmatch
import pathlib
import re
import sys

import pefile

ROOT = pathlib.Path(__file__).resolve().parent.parent
VERSION = re.search(r"project\(varnel VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
FACTS = ROOT / "tests/golden/binary.txt"
SCRIPTS = ROOT / "tests/golden/unused_scripts.txt"
# What must not come back with a runtime or a careless change of the facts.
NEVER_IMPORTED = {
    "Crypt*": "loads libraries by name, in the runtime's case under the loader lock",
    "AddVectored*": "hooks the whole process, and outlives the library",
    "SetUnhandledExceptionFilter": "hooks the whole process",
    "[TF]lsAlloc": "is not given back: the runtime's slots are taken by src/com/compiler_runtime.cpp",
}
LARGEST_X64, LARGEST_X86 = 300_000, 320_000  # bytes; unwinding tables take more room in 32 bits
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


def resources(image):
    """Type and name of each resource, with its bytes."""
    for kind in image.DIRECTORY_ENTRY_RESOURCE.entries:
        name = str(kind.name) if kind.name else pefile.RESOURCE_TYPE.get(kind.id, str(kind.id))
        for entry in kind.directory.entries:
            data = entry.directory.entries[0].data.struct
            yield f"{name} {entry.id}", image.get_data(data.OffsetToData, data.Size)


def facts(image):
    """One line for each import, export and resource."""
    for entry in image.DIRECTORY_ENTRY_IMPORT + getattr(image, "DIRECTORY_ENTRY_DELAY_IMPORT", []):
        for function in entry.imports:
            yield f"{entry.dll.decode().lower()} {(function.name or b'?').decode()}"
    for symbol in image.DIRECTORY_ENTRY_EXPORT.symbols:
        yield f"export {symbol.name.decode()}"
    for name, _ in resources(image):
        yield f"resource {name}"


def expected(is_x86):
    lines = (line.split() for line in FACTS.read_text().splitlines() if line and not line.startswith("#"))
    return {" ".join(words[:-1] if words[-1] in ("x64", "x86") else words)
            for words in lines if words[-1] != ("x64" if is_x86 else "x86")}


def offences(path):
    image = pefile.PE(path)
    is_x86 = image.FILE_HEADER.Machine == pefile.MACHINE_TYPE["IMAGE_FILE_MACHINE_I386"]
    size, largest = pathlib.Path(path).stat().st_size, LARGEST_X86 if is_x86 else LARGEST_X64
    if size > largest:
        yield f"has {size} bytes, more than {largest}"
    found = set(facts(image))
    for fact in sorted(found - expected(is_x86)):
        yield f"has {fact}, which {FACTS.name} does not list"
    for fact in sorted(expected(is_x86) - found):
        yield f"lacks {fact}"
    for pattern, reason in NEVER_IMPORTED.items():
        for fact in fnmatch.filter(found, f"*.dll {pattern}"):
            yield f"imports {fact}, which {reason}"
    scripts = "".join(name.split()[1] + "\n" + data.decode() for name, data in resources(image)
                      if name in ("REGISTRY 102", "REGISTRY 103"))
    if scripts.replace("\r", "") != SCRIPTS.read_text():
        yield f"holds other scripts than {SCRIPTS.name}"
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


def print_facts(paths):
    of = {path: set(facts(pefile.PE(path))) for path in paths}
    common = set.intersection(*of.values())
    for line in sorted(common | {f"{fact} {'x86' if 'x86' in path else 'x64'}"
                                 for path, found in of.items() for fact in found - common}):
        print(line)


def main():
    if sys.argv[1:2] == ["--facts"]:
        return print_facts(sys.argv[2:])
    found = 0
    for path in sys.argv[1:]:
        listed = list(offences(path))
        found += len(listed)
        print("\n".join(f"{path}: {offence}" for offence in listed) or
              f"{path}: {pathlib.Path(path).stat().st_size} bytes, nothing found")
    return 1 if found or len(sys.argv) < 2 else 0


if __name__ == "__main__":
    sys.exit(main())
