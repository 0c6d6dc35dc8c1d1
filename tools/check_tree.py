#!/usr/bin/env python3
"""check_tree.py - what the compiler does not check: layers, sizes and the parts that must build without Windows.

Prints each offence and returns 1 when there is one.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# A folder of src/ may include itself and these.
LAYERS = {
    "base": set(),
    "xml": {"base"},
    "logging": {"base"},
    "settings": {"base", "logging"},
    "probes": {"base", "logging"},
    "protection": {"base", "logging", "settings"},
    "events": {"base", "xml", "logging", "settings", "probes", "protection"},
    "com": {"base", "xml", "logging", "settings", "probes", "protection", "events"},
}
# Rules that fuzzers and sanitizers build on the host.
PORTABLE = ["xml/node", "xml/element", "xml/attribute", "xml/leaf_nodes", "xml/document", "xml/null_nodes",
            "xml/whitespace", "xml/write_context", "settings/disabled_event_list", "probes/os_name_rule",
            "probes/adapter_table", "com/registration_script", "com/load_restriction"]
MAX_LINES = {".h": 300, ".cpp": 400}
INCLUDE = re.compile(r'^#include "(\w+)/')


def offences():
    for path in sorted(ROOT.glob("src/**/*")):
        if path.suffix not in MAX_LINES:
            continue
        lines = path.read_text(encoding="utf-8").splitlines()
        name = path.relative_to(ROOT / "src")
        layer = name.parts[0]
        if len(lines) > MAX_LINES[path.suffix]:
            yield f"{name}: {len(lines)} lines; does it hold one idea?"
        for number, line in enumerate(lines, 1):
            included = INCLUDE.match(line)
            if included and included.group(1) not in LAYERS[layer] | {layer}:
                yield f"{name}:{number}: {layer} may not include {included.group(1)}"
            if str(name.with_suffix("")) in PORTABLE and "<windows.h>" in line:
                yield f"{name}:{number}: this rule must build without Windows"


def main():
    found = list(offences())
    print("\n".join(found) if found else "tree: nothing found")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
