#!/usr/bin/python3
"""check_binary.py [--facts] DLL|EXE...   looks at what is shipped: imports, exports, resources, hardening and version.

A library's imports, exports and resources have to be those of tests/golden/binary.txt, and so has the list of libraries that
a program imports. Prints each offence and returns 1 when there is one. --facts prints what the files have, for that list.
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
# Patterns of imports that are refused even if the list of facts has them.
NEVER_IMPORTED = {
    "*.dll Crypt*": "loads libraries by name, in the runtime's case under the loader lock",
    "advapi32.dll SystemFunction036": "makes Windows look for cryptbase.dll in the host's folder",
    "bcrypt*.dll *": "is a library that Windows looks for in the host's folder",
    "*.dll getenv": "lets the host's environment choose what the runtime does",
    "*.dll AddVectored*": "hooks the whole process, and outlives the library",
    "*.dll SetUnhandledExceptionFilter": "hooks the whole process",
    "*.dll [TF]lsAlloc": "is not given back: the runtime's slots are taken by src/runtime/compiler_runtime.cpp",
}
# Everything else that a file imports, Windows looks for in the program's folder first. These are the names under
# HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\KnownDLLs that Windows 7, 10 and 11 have in common; ntdll.dll is in
# every process from its start.
KNOWN_DLLS = {f"{name}.dll" for name in (
    "advapi32 clbcatq comdlg32 gdi32 imagehlp imm32 kernel32 msctf msvcrt normaliz nsi ntdll ole32 oleaut32 psapi rpcrt4 sechost "
    "setupapi shell32 shlwapi user32 wldap32 ws2_32").split()}
# Imported by the C++ runtime of GCC 13 and later, and not by that of GCC 12.
LATER_RUNTIME = "kernel32.dll TryEnterCriticalSection"
# Bytes, by tags; unwinding tables take more room in 32 bits.
LARGEST = {("x64", "gcc12"): 300_000, ("x64", "gcc13"): 325_000, ("x86", "gcc12"): 320_000, ("x86", "gcc13"): 375_000}
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


def imports(image):
    for entry in image.DIRECTORY_ENTRY_IMPORT + getattr(image, "DIRECTORY_ENTRY_DELAY_IMPORT", []):
        for function in entry.imports:
            yield f"{entry.dll.decode().lower()} {(function.name or b'?').decode()}"


def facts(image):
    """One line for each import, export and resource of a library; of a program, for each library that it imports."""
    if not image.is_dll():
        return {f"program {fact.split()[0]}" for fact in imports(image)}
    return {*imports(image), *(f"export {symbol.name.decode()}" for symbol in image.DIRECTORY_ENTRY_EXPORT.symbols),
            *(f"resource {name}" for name, _ in resources(image))}


def expected(image, tags):
    """The facts of the list for a file with these tags; behind a fact there are tags of those that have it."""
    lines = [line.split() for line in FACTS.read_text().splitlines() if line and not line.startswith("#")]
    known = {tag for pair in LARGEST for tag in pair}
    return {" ".join(word for word in words if word not in known) for words in lines
            if (words[0] == "program") != image.is_dll() and {*words} & known <= {*tags}}


def tags_of(image):
    is_x86 = image.FILE_HEADER.Machine == pefile.MACHINE_TYPE["IMAGE_FILE_MACHINE_I386"]
    return "x86" if is_x86 else "x64", "gcc13" if LATER_RUNTIME in set(imports(image)) else "gcc12"


def library_offences(path, image, tags):
    size = pathlib.Path(path).stat().st_size
    if size > LARGEST[tags]:
        yield f"has {size} bytes, more than {LARGEST[tags]}"
    for pattern, reason in NEVER_IMPORTED.items():
        for fact in fnmatch.filter(imports(image), pattern):
            yield f"imports {fact}, which {reason}"
    scripts = "".join(name.split()[1] + "\n" + data.decode() for name, data in resources(image)
                      if name in ("REGISTRY 102", "REGISTRY 103"))
    if scripts.replace("\r", "") != SCRIPTS.read_text():
        yield f"holds other scripts than {SCRIPTS.name}"


def origin_offences(image):
    """What is missing to tell whose file this is, and of which build."""
    said = list(versions(image)) if hasattr(image, "FileInfo") else []
    if len(said) < 4 or set(said) != {VERSION}:
        yield f"says it is version {said}, not {VERSION}"
    texts = image.FileInfo[0][0].StringTable[0].entries if said else {}
    for name in ("CompanyName", "LegalCopyright", "FileDescription"):
        if not texts.get(name.encode()):
            yield f"does not say its {name}"
    if not any(entry.entry and entry.entry.Signature_Data1 for entry in getattr(image, "DIRECTORY_ENTRY_DEBUG", [])):
        yield "has no build identifier, so its symbols cannot be found"


def offences(path):
    image = pefile.PE(path)
    tags = tags_of(image)
    found, listed = facts(image), expected(image, tags)
    for fact in sorted(found - listed):
        yield f"has {fact}, which {FACTS.name} does not list"
    for fact in sorted(listed - found):
        yield f"lacks {fact}"
    for library in sorted({fact.split()[0] for fact in imports(image)} - KNOWN_DLLS):
        yield f"imports {library}, which Windows looks for in the program's folder"
    if image.is_dll():
        yield from library_offences(path, image, tags)
    yield from origin_offences(image)
    for flag, on_x86 in HARDENING.items():
        if (on_x86 or tags[0] == "x64") and not getattr(image.OPTIONAL_HEADER, flag):
            yield f"lacks {flag}"
    if image.FILE_HEADER.IMAGE_FILE_RELOCS_STRIPPED or not image.DIRECTORY_ENTRY_BASERELOC:
        yield "cannot be moved"
    for section in image.sections:
        if section.IMAGE_SCN_MEM_WRITE and section.IMAGE_SCN_MEM_EXECUTE:
            yield f"section {section.Name.decode()} is writable and executable"


def print_facts(paths):
    """Behind each the tags that tell the files which have it from those of its kind that lack it."""
    files = [(set(tags_of(image)), facts(image), image.is_dll()) for image in map(pefile.PE, paths)]
    for fact in sorted(set().union(*(found for _, found, _ in files))):
        having = [tags for tags, found, _ in files if fact in found]
        lacking = [tags for tags, found, is_dll in files if fact not in found and is_dll != fact.startswith("program ")]
        common = set.intersection(*having)
        print(fact, *sorted((common.difference(*lacking) or common) if lacking else []))


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
