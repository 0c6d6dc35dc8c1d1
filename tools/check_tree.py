#!/usr/bin/env python3
"""check_tree.py - what the compiler does not check: layers, include cycles, sizes, and the parts that must build
without Windows.

Prints each offence and returns 1 when there is one.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# A folder of src/ may include itself and these; "varnel" are the client headers.
LAYERS = {
    "base": set(),
    "xml": {"base"},
    "logging": {"base"},
    "settings": {"base"},
    "probes": {"base", "logging"},
    "protection": {"varnel", "base", "logging", "settings"},
    "events": {"varnel", "base", "xml", "logging", "settings", "probes", "protection"},
    "com": {"varnel", "base", "events"},
    "runtime": {"base", "settings", "com"},
}
# A folder of cli/ may include itself, these, and what the program takes from src/.
PROGRAM = {
    "console": set(),
    "machine": {"console", "eventfile"},
    "eventfile": {"console"},
    "page": {"console", "eventfile"},
    "catalogue": {"console", "eventfile"},
    "collect": {"console", "eventfile"},
    "selection": {"console", "eventfile"},
    "report": {"console", "eventfile", "machine"},
    "trace": {"console", "machine"},
    "package": {"console"},
    "bundle": {"console", "eventfile", "catalogue", "package"},
    "doctor": {"console", "machine", "eventfile", "report", "trace"},
    "commands": {"console", "machine", "eventfile", "catalogue", "collect", "selection", "package", "page", "bundle", "report", "trace", "doctor"},
}
LIBRARY = {"varnel", "base", "xml", "logging", "settings", "protection", "events"}
# Rules of src/ that fuzzers and sanitizers build on the host.
PORTABLE = {"base/characters", "xml/arena", "xml/blocks", "xml/clone", "xml/document", "xml/document_store",
            "xml/markup_writer", "xml/node", "xml/text_form", "settings/disabled_event_list", "probes/os_name_rule",
            "probes/adapter_table", "com/registration_script", "runtime/load_restriction"}
# Folders of cli/ that build on every system, except their files whose names end in _windows: they use nothing of src/.
PORTABLE_FOLDERS = {"bundle", "catalogue", "collect", "console", "eventfile", "package", "page", "selection"}
WINDOWS = re.compile(r"^#include <(windows|winsock2|ws2tcpip|io)\.h>")
# Headers for their own folder, and for the program, which explains what they decide.
PRIVATE = {"settings/registry_text", "settings/disabled_event_list"}
MAX_LINES = {".h": 300, ".cpp": 400}
INCLUDE = re.compile(r'^#include "(\w+/\w+)\.h"')


def offences_of_file(path, name, lines, allowed):
    layer = name.split("/")[0]
    is_portable = name in PORTABLE or (layer in PORTABLE_FOLDERS and not name.endswith("_windows"))
    may = allowed[layer] | {layer}
    if is_portable and layer in PORTABLE_FOLDERS:
        may -= LIBRARY
    if len(lines) > MAX_LINES[path.suffix]:
        yield f"{len(lines)} lines; does it hold one idea?"
    for line in lines:
        match = INCLUDE.match(line)
        included = match.group(1) if match else f"{layer}/"
        if included.split("/")[0] not in may:
            yield f"{layer} may not include {included}"
        if included in PRIVATE and layer in LAYERS and not included.startswith(layer):
            yield f"{included} is private to its folder"
        if is_portable and WINDOWS.match(line):
            yield "this must build without Windows"


def cycles(includes):
    """Modules, that is a header with its source, that lead back to themselves."""
    def reachable(start):
        seen, pending = set(), list(includes[start])
        while pending:
            module = pending.pop()
            if module not in seen:
                seen.add(module)
                pending += includes.get(module, ())
        return seen
    return [module for module in sorted(includes) if module in reachable(module)]


def offences(folder, allowed):
    includes = {}
    for path in sorted(folder.glob("*/*")):
        if path.suffix not in MAX_LINES:
            continue
        name = path.relative_to(folder).with_suffix("").as_posix()
        lines = path.read_text(encoding="utf-8").splitlines()
        found = {match.group(1) for match in map(INCLUDE.match, lines) if match}
        includes.setdefault(name, set()).update(found - {name})
        for offence in offences_of_file(path, name, lines, allowed):
            yield f"{path.relative_to(ROOT)}: {offence}"
    for module in cycles(includes):
        yield f"{module}: includes itself through others"


def main():
    program = {name: folders | LIBRARY for name, folders in PROGRAM.items()}
    found = [*offences(ROOT / "src", LAYERS), *offences(ROOT / "cli", program)]
    print("\n".join(found) if found else "tree: nothing found")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
