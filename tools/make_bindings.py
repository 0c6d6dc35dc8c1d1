#!/usr/bin/env python3
"""make_bindings.py           writes the contract as declarations for Rust and Go, into interop/
make_bindings.py --check   names the files that are not what it would write, and returns 1 when there is one

The files are committed, because Cargo and Go build from the sources that they find. Both come out as rustfmt and gofmt
lay them out.
"""
import sys

import contract

RUST = contract.ROOT / "interop/rust/src/contract.rs"
GO = contract.ROOT / "interop/go/contract_windows.go"
# What the bindings answer before the library is asked, or in place of its E_FAIL. The numbers are Windows's; the words
# replace those of varnel.h where that speaks of methods which a user of the bindings does not call.
OWN_RESULTS = [
    ("BAD_TEXT", "0x80070459", "a text is not well-formed Unicode, or holds a character that XML cannot hold",
     "Correct it where it comes from, or pass it through {repaired}, which puts U+FFFD in the place of each fault."),
    ("BAD_NAME", "0x8007007B", "the name of an element or attribute is not an XML name",
     "Begin it with a letter or '_', and go on with letters, digits, '-', '_' and '.', at most 10,000 characters."),
    ("RESERVED_NAME", "0x80071392", "the name belongs to an element or attribute that the library writes itself",
     "Choose another name; docs/event-format.md lists the reserved ones."),
    ("BAD_TIME", "0x8007076D", "the time is outside of the years 100 to 9999", "Pass the time of the event."),
    ("BAD_EVENT_ID", "0x80070057", "0 is not an event identifier", "Pass the number of the event, other than 0."),
    ("BAD_PATH", "0x800700A1", "the path is not a full one",
     "Pass the path with its drive: other paths are searched for, and a search can find an attacker's file."),
    ("TOO_DEEP", "0x800700D7", "the element would be more than 256 levels deep",
     "Nest less deeply: XML readers stop there."),
    ("NOT_OPEN", "0x80070006", "the report is not open, or the element belongs to no open report",
     "Use a report and its elements only until the report is closed."),
    ("NO_LIBRARY", "0x80040007", "the library is closed", "Close the library after its last report was made."),
    ("NO_MACHINE", "0x8007139F", "the report has no facts of the machine yet", "Call {add_machine} before {save}."),
    ("NO_EVENT", "0x800710D2", "the report has no event yet", "Call {add_event} before {save}."),
    ("MACHINE_TWICE", "0x800700B7", "the report already has the facts of the machine",
     "Call {add_machine} once for each report."),
]
OTHER_WORDS = [
    ("0x80004005", "the agent's event folder is not set, or its path is too long",
     "Set \"Data Path\", or \"EventsPath\" for the management server's own reports, to fewer than 260 characters; "
     "docs/settings.md has both."),
    ("0xFFFFF703", "the agent on this machine is not managed",
     "Enrol the agent at the management server, or make the report with {drop}."),
    ("0xFFFFFFF3", "the file extension is missing or too long", "Pass an extension of 1 to 200 characters."),
    ("0x80040154", "the component is not registered for programs of this kind, 32-bit or 64-bit",
     "Install the package, or run regsvr32 on the varnel.dll of this kind; or load it by its path."),
    ("0x8007007E", "the file does not exist", "Pass the full path of varnel.dll; if it is registered, install it again."),
    ("0x80070003", "the folder does not exist", "Pass the full path of varnel.dll; if it is registered, install it again."),
    ("0x80070005", "the file does not exist, or this account may not read it",
     "Let this account read varnel.dll and its folder; if it is registered, install it again."),
    ("0x800700C1", "the file is not a DLL of this program's kind, 32-bit or 64-bit",
     "Use the 64-bit varnel.dll in 64-bit programs and the 32-bit one in 32-bit programs."),
    ("0x8007007F", "the DLL is not varnel.dll", "Pass the full path of varnel.dll."),
]
NOT_CALLED = {"0x800401F0"}  # the bindings take care of COM
CALLS = {
    "rust": {"repaired": "Text::repaired", "add_machine": "add_machine", "add_event": "add_event", "save": "save",
             "drop": "Unmanaged::Drop"},
    "go": {"repaired": "varnel.Repaired", "add_machine": "AddMachine", "add_event": "AddEvent", "save": "Save",
           "drop": "varnel.Drop"},
}


def words(language):
    """Number, meaning and remedy of each result, and the words for all others."""
    described, unknown = contract.described_results()
    own = [(number, *texts) for _, number, *texts in OWN_RESULTS] + OTHER_WORDS
    replaced = {entry[0] for entry in own} | NOT_CALLED
    return [(number, meaning, remedy.format(**CALLS[language]))
            for number, meaning, remedy in own + [entry for entry in described if entry[0] not in replaced]], unknown


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def interfaces(facts):
    """Those of the classes that are served, and what they derive from."""
    known = {entry.name: entry for entry in facts.interfaces}
    wanted = set()
    for name in (entry.default for entry in facts.served):
        while name in known:
            wanted.add(name)
            name = known[name].base
    return [entry for entry in facts.interfaces if entry.name in wanted]


def guids(facts):
    """Kind, name and GUID of each class that is served and each interface."""
    return ([("CLSID", entry.name, entry.guid) for entry in facts.served] +
            [("IID", entry.name, entry.guid) for entry in interfaces(facts)])


def fields(guid):
    digits = guid.strip("{}").lower().split("-")
    tail = digits[3] + digits[4]
    return [f"0x{digit}" for digit in digits[:3]], [f"0x{tail[at:at + 2]}" for at in range(0, 16, 2)]


RUST_HEAD = """// Generated by tools/make_bindings.py from the contract of varnel.dll; edit that, not this file.
//! The contract of varnel.dll: tables of the interfaces, identifiers, result codes and their words.
#![allow(non_camel_case_types, non_snake_case)]

use core::ffi::c_void;

pub type HRESULT = i32;
/// A text as COM passes it, with its length in front; null is no text.
pub type BSTR = *mut u16;
/// The object that a method is called on.
pub type This = *mut c_void;

#[repr(C)]
#[derive(Clone, Copy, PartialEq, Eq, Debug)]
pub struct Guid(pub u32, pub u16, pub u16, pub [u8; 8]);

#[repr(C)]
pub struct IUnknownVtbl {
    pub QueryInterface: unsafe extern "system" fn(This, *const Guid, *mut *mut c_void) -> HRESULT,
    pub AddRef: unsafe extern "system" fn(This) -> u32,
    pub Release: unsafe extern "system" fn(This) -> u32,
}

/// Late binding is for scripts: its four methods are not declared.
#[repr(C)]
pub struct IDispatchVtbl {
    pub base: IUnknownVtbl,
    _late_binding: [*const c_void; 4],
}
"""
RUST_COLUMNS = 110  # as rustfmt.toml has it
RUST_TYPES = {"BSTR": "BSTR", "long": "i32", "DATE": "f64", "void*": "*mut c_void", "IUnknown**": "*mut *mut c_void",
              "IEventElement**": "*mut *mut IEventElement"}


def rust_method(method):
    types = ", ".join(["This"] + [RUST_TYPES[kind] for _, kind, _ in method.parameters])
    line = f'    pub {method.name}: unsafe extern "system" fn({types}) -> HRESULT,'
    if len(line) > RUST_COLUMNS:
        line = line.replace(": ", ":\n        ", 1)
    return line


def rust(facts):
    yield RUST_HEAD
    for entry in interfaces(facts):
        yield f"#[repr(C)]\npub struct {entry.name} {{\n    pub vtable: *const {entry.name}Vtbl,\n}}\n"
        yield f"#[repr(C)]\npub struct {entry.name}Vtbl {{\n    pub base: {entry.base}Vtbl,"
        yield from map(rust_method, entry.methods)
        yield "}\n"
    for kind, name, guid in guids(facts):
        numbers, tail = fields(guid)
        yield (f"pub const {kind}_{name.upper()}: Guid =\n"
               f"    Guid({', '.join(numbers)}, [{', '.join(tail)}]);")
    yield ""
    for name, number in contract.results():
        yield f"pub const {name.removeprefix('VARNEL_')}: HRESULT = {number}u32 as i32;"
    yield "\n// Of the bindings themselves, before the library is asked."
    for name, number, *_ in OWN_RESULTS:
        yield f"pub const {name}: HRESULT = {number}u32 as i32;"
    known, unknown = words("rust")
    yield "\n/// Returns what a result means, and what to do."
    yield "pub fn describe(code: HRESULT) -> (&'static str, &'static str) {\n    match code as u32 {"
    for number, meaning, remedy in known:
        yield f"        {number} => (\n            {quoted(meaning)},\n            {quoted(remedy)},\n        ),"
    yield "        _ => (\n" + "".join(f"            {quoted(text)},\n" for text in unknown) + "        ),\n    }\n}"


GO_HEAD = """// Code generated by tools/make_bindings.py from the contract of varnel.dll; DO NOT EDIT.

package varnel

import "syscall"

type unknownVtbl struct {
	QueryInterface, AddRef, Release uintptr
}

type dispatchVtbl struct {
	unknownVtbl
	_ [4]uintptr // late binding, for scripts
}
"""


def unexported(name):
    """The name of an interface without its I."""
    return name[1].lower() + name[2:]


def go_name(result):
    return "".join({"ID": "ID"}.get(word, word.capitalize()) for word in result.split("_"))


def go(facts):
    tables = {"IDispatch": "dispatchVtbl"} | {entry.name: unexported(entry.name) + "Vtbl" for entry in interfaces(facts)}
    yield GO_HEAD
    for entry in interfaces(facts):
        yield f"type {unexported(entry.name)} struct {{\n\tvtable *{tables[entry.name]}\n}}\n"
        names = ", ".join(method.name for method in entry.methods)
        yield f"type {tables[entry.name]} struct {{\n\t{tables[entry.base]}\n\t{names} uintptr\n}}\n"
    for kind, name, guid in guids(facts):
        numbers, tail = fields(guid)
        values = [*numbers, f"[8]byte{{{', '.join(tail)}}}"]
        keyed = ", ".join(f"Data{at}: {value}" for at, value in enumerate(values, 1))
        yield f"var {kind.lower()}{name} = syscall.GUID{{{keyed}}}\n"
    known, unknown = words("go")
    meanings = {number: meaning for number, meaning, _ in known}
    yield "// Results that callers may want to tell apart, with errors.Is."
    yield "const (\n" + "\n\n".join(
        f"\t// {go_name(name)} means: {meanings[number]}.\n\t{go_name(name)} Result = {number}"
        for name, number in [(name.removeprefix("VARNEL_E_"), number) for name, number in contract.results()] +
        [entry[:2] for entry in OWN_RESULTS]) + "\n)\n"
    yield "// describe returns what a result means, and what to do."
    yield "func describe(code Result) (meaning, remedy string) {\n\tswitch code {"
    for number, meaning, remedy in known:
        yield f"\tcase {number}:\n\t\treturn {quoted(meaning)},\n\t\t\t{quoted(remedy)}"
    yield f"\t}}\n\treturn {quoted(unknown[0])},\n\t\t{quoted(unknown[1])}\n}}"


def main():
    facts = contract.load("varnel.dll")
    made = {RUST: "\n".join(rust(facts)) + "\n", GO: "\n".join(go(facts)) + "\n"}
    if sys.argv[1:] == ["--check"]:
        stale = [path for path, text in made.items() if not path.is_file() or path.read_text(encoding="utf-8") != text]
        for path in stale:
            print(f"{path.relative_to(contract.ROOT)}: not what tools/make_bindings.py writes; run it and commit the file")
        return 1 if stale else 0
    if sys.argv[1:]:
        sys.exit(__doc__)
    for path, text in made.items():
        path.write_text(text, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
