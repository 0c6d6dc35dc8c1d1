#!/usr/bin/env python3
"""make_interop.py OUT   writes the contract as C# declarations, for programs on .NET.

A derived interface repeats the methods of its bases, in the order of their slots, as the runtime wants it.
"""
import sys

import contract

HEAD = """// The contract of varnel.dll for C#, generated from src/com/varnel.idl. A method that fails throws COMException, whose
// ErrorCode is one of VarnelResults or a standard code; docs/integration.md explains them.
using System;
using System.Runtime.InteropServices;

namespace Varnel
{
    public static class VarnelResults
    {
"""
TYPES = {
    "BSTR": "[MarshalAs(UnmanagedType.BStr)] string",
    "long": "int",
    "DATE": "DateTime",
    "void*": "IntPtr",
    "IUnknown**": "[MarshalAs(UnmanagedType.IUnknown)] out object",
    "IEventElement**": "[MarshalAs(UnmanagedType.Interface)] out IEventElement",
}


def signature(method):
    words = ", ".join(f"{TYPES[kind]} {name}" for _, kind, name in method.parameters)
    return f"void {method.name}({words});"


def interface(entry, known):
    kind = "InterfaceIsDual" if entry.base else "InterfaceIsIDispatch"
    yield f'    [ComImport, Guid("{entry.guid[1:-1]}"), InterfaceType(ComInterfaceType.{kind})]'
    base = known.get(entry.base)
    yield f"    public interface {entry.name}" + (f" : {base.name}" if base else "")
    yield "    {"
    inherited = []
    while base:
        inherited = base.methods + inherited
        base = known.get(base.base)
    for method in inherited:
        yield f"        [DispId({method.dispid})] new {signature(method)}"
    for method in entry.methods:
        yield f"        [DispId({method.dispid})] {signature(method)}"
    yield "    }"


def coclass(entry, known):
    """So that `new OrbaEventInf()` makes an object of the class, by its default interface."""
    yield f'    [ComImport, Guid("{entry.guid[1:-1]}"), ClassInterface(ClassInterfaceType.None)]'
    yield f"    public class {entry.name}Class"
    yield "    {"
    yield "    }"
    yield ""
    yield f'    [ComImport, Guid("{known[entry.default].guid[1:-1]}"), CoClass(typeof({entry.name}Class))]'
    yield f"    public interface {entry.name} : {entry.default}"
    yield "    {"
    yield "    }"


def declarations(facts):
    for name, number in contract.results():
        words = "".join(word.capitalize() for word in name.split("_")[2:])
        yield f"        public const int {words} = unchecked((int){number});"
    yield "    }"
    known = {entry.name: entry for entry in facts.interfaces}
    for entry in facts.interfaces:
        yield ""
        yield from interface(entry, known)
    for entry in facts.served:
        yield ""
        yield from coclass(entry, known)
    yield "}"


def main():
    with open(sys.argv[1], "w", encoding="utf-8", newline="\r\n") as file:
        file.write(HEAD + "\n".join(declarations(contract.load("varnel.dll"))) + "\n")


if __name__ == "__main__":
    main()
