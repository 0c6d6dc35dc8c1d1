"""What the sources say of the component, for the generators beside this file: the type library from src/com/varnel.idl,
the result codes from include/varnel/varnel.h, and the registry entries of the classes that the module serves.

Anything that is not understood ends the program: a generated file is complete or not there.
"""
import dataclasses
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
COM = ROOT / "src/com"
ATTRIBUTES = r"\[(?P<attributes>[^\]]*(?:\([^)]*\)[^\]]*)*)\]\s*"
METHOD = re.compile(r"\[id\((\d+)\)?[^\]]*\]\s*HRESULT (\w+)\(([^;]*)\);")
PARAMETER = re.compile(r"\[(in|out)\] ([\w ]+?\**) ?(\w+)$")
STANDARD_RESULTS = {"E_FAIL": "0x80004005", "E_OUTOFMEMORY": "0x8007000E", "REGDB_E_CLASSNOTREG": "0x80040154",
                    "CO_E_NOTINITIALIZED": "0x800401F0"}
# As the type library's own registration has them, for the interfaces that are called through it.
PROXY_OF_DUAL = "{00020424-0000-0000-C000-000000000046}"
PROXY_OF_DISPATCH = "{00020420-0000-0000-C000-000000000046}"


@dataclasses.dataclass
class Method:
    dispid: int
    name: str
    parameters: list  # of (direction, type, name)


@dataclasses.dataclass
class Interface:
    name: str
    guid: str
    base: str  # empty for a dispinterface
    methods: list

    @property
    def proxy(self):
        return PROXY_OF_DUAL if self.base else PROXY_OF_DISPATCH


@dataclasses.dataclass
class Coclass:
    name: str
    guid: str
    default: str
    keys: list = dataclasses.field(default_factory=list)  # its registration, for the classes that are served


@dataclasses.dataclass
class Contract:
    version: str  # of the product
    library: str
    guid: str
    library_version: str
    description: str
    interfaces: list
    classes: list

    @property
    def served(self):
        return [entry for entry in self.classes if entry.keys]


def only(pattern, text, what):
    match = re.search(pattern, text, re.S)
    if not match:
        sys.exit(f"{what}: not understood")
    return match


def braced(guid):
    return "{" + guid.upper() + "}"


def attribute(attributes, name):
    return only(rf'{name}\("?([^")]*)"?\)', attributes, name).group(1)


def methods_of(body, name):
    found = [Method(int(number), method, [PARAMETER.match(word.strip()).groups() for word in words.split(",") if word])
             for number, method, words in METHOD.findall(body)]
    if len(found) != body.count("HRESULT"):
        sys.exit(f"{name}: a method is not understood")
    return found


def parse_idl(text):
    text = re.sub(r"//[^\n]*", "", text)
    library = only(ATTRIBUTES + r"library (?P<name>\w+)", text, "library").groupdict()
    interfaces, classes = [], []
    for match in re.finditer(ATTRIBUTES + r"(?P<kind>dispinterface|interface|coclass) (?P<name>\w+)(?: : (?P<base>\w+))?\s*"
                             r"\{(?P<body>[^}]*)\}", text):
        name, body, guid = match["name"], match["body"], braced(attribute(match["attributes"], "uuid"))
        if match["kind"] == "coclass":
            classes.append(Coclass(name, guid, only(r"\[default\] interface (\w+);", body, name).group(1)))
        else:
            interfaces.append(Interface(name, guid, match["base"] or "", methods_of(body, name)))
    return library, interfaces, classes


def parse_script(text, variables):
    """The keys of a registration script, as (path, [(value name, text)]); the name of a default value is empty."""
    tokens = re.findall(r"'(?:[^']|'')*'|[^\s']+", text)
    keys = []

    def plain(token):
        bare = token[1:-1].replace("''", "'") if token[0] == "'" else token
        return re.sub(r"%(\w+)%", lambda match: variables[match.group(1)], bare)

    def value():
        if tokens[:2] != ["=", "s"]:
            sys.exit(f"registration script: {tokens[:3]} not understood")
        found = plain(tokens[2])
        del tokens[:3]
        return found

    def body(path):
        values = keys[-1][1] if keys else []
        tokens.pop(0)
        while tokens[0] != "}":
            word = tokens.pop(0)
            if word == "val":
                values.append((plain(tokens.pop(0)), value()))
                continue
            name = plain(tokens.pop(0) if word in ("NoRemove", "ForceRemove") else word)
            keys.append((path + [name], []))
            if tokens[0] == "=":
                keys[-1][1].append(("", value()))
            if tokens[0] == "{":
                body(path + [name])
        tokens.pop(0)

    if tokens.pop(0) != "HKCR":
        sys.exit("registration script: another root")
    body([])
    # Keys that only lead to others are there for all classes.
    return [("\\".join(path), values) for path, values in keys if values or len(path) > 1]


def served_scripts():
    """Class name and script of each entry of the module's class table."""
    resources = dict(re.findall(r"^(\d+) REGISTRY \"@CMAKE_CURRENT_SOURCE_DIR@/([^\"]+)\"",
                                (COM / "resources/varnel.rc.in").read_text(), re.M))
    table = re.findall(r"\{&CLSID_(\w+), &[^,]+, (\d+)\}", (COM / "class_table.cpp").read_text())
    if not table:
        sys.exit("class table: not understood")
    return {name: (COM / resources[number]).read_text() for name, number in table}


def load(module):
    """The contract, with `module` for the path of the DLL in the classes' keys."""
    library, interfaces, classes = parse_idl((COM / "varnel.idl").read_text())
    guid = braced(attribute(library["attributes"], "uuid"))
    scripts = served_scripts()
    for entry in classes:
        if entry.name in scripts:
            variables = {"MODULE": module, "CLSID": entry.guid, "LIBID": guid}
            entry.keys = parse_script(scripts[entry.name], variables)
    version = only(r"project\(varnel VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), "version").group(1)
    return Contract(version, library["name"], guid, attribute(library["attributes"], "version"),
                    attribute(library["attributes"], "helpstring"), interfaces, classes)


def results():
    """Name and number of each result code of the component's own."""
    found = re.findall(r"#define (VARNEL_E_\w+) VARNEL_RESULT\((0x[0-9A-F]{8})UL\)",
                       (ROOT / "include/varnel/varnel.h").read_text())
    if not found:
        sys.exit("result codes: not understood")
    return found


def described_results(header="varnel.h"):
    """Name, meaning and remedy of each result that this header below include/varnel has words for."""
    text = (ROOT / "include/varnel" / header).read_text()
    words = r'((?:L"(?:[^"\\]|\\.)*"\s*)+)'

    def joined(literals):
        return re.sub(r"\\(.)", r"\1", "".join(re.findall(r'L"((?:[^"\\]|\\.)*)"', literals)))

    pair = r"\{\s*" + words + r",\s*" + words + r"\}"
    named = {name: (joined(meaning), joined(remedy)) for name, meaning, remedy in re.findall(r"(\w+) = " + pair + ";", text)}
    entries = re.findall(r"\{(?:SystemResult\()?(\w+)\)?,\s*(?:" + pair + r"|(\w+))\}", text)
    return named | {name: named[other] if other else (joined(meaning), joined(remedy))
                    for name, meaning, remedy, other in entries}
