#!/usr/bin/env python3
"""check_link.py MAP   looks whether varnel.dll uses our definitions in place of those of the compiler's runtime.

MAP is what the linker writes with --cref. docs/runtime.md lists the symbols. Prints each offence and returns 1 when there
is one.
"""
import re
import sys

OURS = re.compile(r"/runtime/(compiler_runtime|stack_guard)\.cpp\.obj$")
# Symbols that have to be ours, without the underscores in front, of which 32-bit code has one more.
REPLACED = ("cxa_get_globals", "cxa_get_globals_fast", "gnu_cxx::__verbose_terminate_handler()", "std::__throw_bad_alloc()",
            "std::__throw_length_error(char const*)", "std::__throw_logic_error(char const*)", "stack_chk_guard",
            "stack_chk_fail", "chk_fail")
# Ours that some runtimes do not use: only the unwinder of 32-bit code needs a semaphore, and GCC 12's runtime takes no slot
# and does not read the environment.
# The list of imports in tests/golden/binary.txt notices when these no longer replace what a runtime uses.
OPTIONAL = re.compile(r"imp_.*(TlsAlloc|CreateSemaphoreW)|getenv|std::__throw_")
# What a compiler adds to every object, and the function that our own code calls.
NOT_A_REPLACEMENT = re.compile(r"\.|varnel::|(typeinfo|vtable)\b")


def cross_references(text):
    """Symbol, and the files that refer to it; the first one is the one that defines it."""
    table = {}
    users = []
    for line in text.split("\nCross Reference Table\n", 1)[1].splitlines()[3:]:
        *symbol, file = line.rsplit(None, 1)
        if symbol:
            users = table.setdefault(symbol[0].lstrip("_"), [])
        users.append(file)
    return table


def offences(table):
    for symbol in REPLACED:
        definer = table.get(symbol, ["nothing"])[0]
        if not OURS.search(definer):
            yield f"{symbol} is defined by {definer}, not by src/runtime"
    for symbol, (definer, *users) in table.items():
        if OURS.search(definer) and not users and not OPTIONAL.match(symbol) and not NOT_A_REPLACEMENT.match(symbol):
            yield f"{symbol} replaces nothing: this runtime does not use it"


def main():
    with open(sys.argv[1], encoding="utf-8", errors="replace") as file:
        found = list(offences(cross_references(file.read())))
    for offence in found:
        print(f"varnel.dll: {offence}; see docs/runtime.md", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
