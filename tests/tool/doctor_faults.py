"""The faults that varnel doctor has to name, from doctor_faults.txt: how each is made, and what its row says then."""
import configparser
import dataclasses
import pathlib
import re

from tool import LIBRARY, ROOT
from wine import FACTS

BUILT = ROOT / "build/mingw-x64-tests/tests"
CLIENTS = BUILT / "clients"
INTERFACES = {entry.name: entry.guid for entry in FACTS.interfaces}
GUIDS = {entry.name: entry.guid for entry in FACTS.classes}
REPORT, ELEMENT = GUIDS["OrbaEventInf"], GUIDS["EventElement"]
FRAMEWORK = r"Kestrane\QRN\Shared Components\Framework"
MACHINE = "HKEY_LOCAL_MACHINE\\SOFTWARE\\"
USER = "HKEY_CURRENT_USER\\SOFTWARE\\"
KEYS = {
    "agent": MACHINE + "Wow6432Node\\" + FRAMEWORK, "agent in 64-bit part": MACHINE + FRAMEWORK,
    "agent of user": USER + "Wow6432Node\\" + FRAMEWORK,
    "log": MACHINE + r"Wow6432Node\Kestrane\Orbacon", "parser": MACHINE + r"Wow6432Node\Kestrane\Orbacon\EventParser",
    "64": MACHINE + rf"Classes\CLSID\{REPORT}\InprocServer32", "32": MACHINE + rf"Classes\Wow6432Node\CLSID\{REPORT}\InprocServer32",
    "element 64": MACHINE + rf"Classes\CLSID\{ELEMENT}\InprocServer32",
    "element 32": MACHINE + rf"Classes\Wow6432Node\CLSID\{ELEMENT}\InprocServer32",
    "of user": USER + rf"Classes\CLSID\{REPORT}\InprocServer32", "treat as": MACHINE + rf"Classes\CLSID\{REPORT}\TreatAs",
    "interface": MACHINE + rf"Classes\Interface\{INTERFACES['IOrbaEventInf3']}\ProxyStubClsid32",
    "script": MACHINE + r"Classes\Varnel.OrbaEventInf\CLSID", "type": MACHINE + rf"Classes\TypeLib\{FACTS.guid}\1.0\0\win64"}
CLASS_KEYS = KEYS.keys() - {"agent", "agent in 64-bit part", "agent of user", "log", "parser"}
SERVER_64 = {"": r"C:\varnel\64.dll", "ThreadingModel": "Free"}
SERVER_32 = {"": r"C:\varnel\32.dll", "ThreadingModel": "Free"}
HEALTHY = {
    "agent": {"AgentMode": 1, "Data Path": "C:\\Agent\\", "AgentGUID": "{3F2504E0-4F89-41D3-9A0C-0305E82C3301}"},
    "log": {}, "parser": {"EventsPath": r"C:\Server"}, "64": SERVER_64, "32": SERVER_32, "element 64": SERVER_64, "element 32": SERVER_32,
    "script": {"": REPORT}, "interface": {"": "{00020424-0000-0000-C000-000000000046}"}, "type": {"": r"C:\varnel\64.dll"}}
OFF = "which is not there"  # a key without that value
FOLDER = "a folder"  # in the place of a file
FILTER = "Agent/data/EvtFiltr.ini"


@dataclasses.dataclass
class Typed:
    """A registry value that is neither REG_SZ nor REG_DWORD."""
    kind: int
    content: bytes


def expand(text):
    return Typed(2, text.encode("utf-16-le") + b"\0\0")


def multi(*texts):
    return Typed(7, "\0".join([*texts, "", ""]).encode("utf-16-le"))


def path(file):
    return "Z:" + str(file).replace("/", "\\")


def patched(library=LIBRARY.read_bytes(), machine=0x14C, flags=None, version=None, magic=None):
    """A 64-bit DLL whose header says that it is of another kind."""
    content = bytearray(library)
    header = int.from_bytes(content[0x3C:0x40], "little")
    content[header + 4:header + 6] = machine.to_bytes(2, "little")
    if flags is not None:
        content[header + 22:header + 24] = flags.to_bytes(2, "little")
    if magic is not None:
        content[header + 24:header + 26] = magic.to_bytes(2, "little")
    if version:
        at = content.index(bytes.fromhex("bd04effe")) + 8
        content[at:at + 4] = version.to_bytes(4, "little")
    return bytes(content)


@dataclasses.dataclass
class Fault:
    name: str
    row: str
    state: str
    found: str  # what the row contains
    remedy: str  # what its remedy contains
    registry: dict = dataclasses.field(default_factory=dict)  # differences to HEALTHY; None: the key is missing
    files: dict = dataclasses.field(default_factory=dict)
    modes: dict = dataclasses.field(default_factory=dict)  # of files and folders that are there
    arguments: tuple = ()
    also: dict = dataclasses.field(default_factory=dict)  # states of other rows that are not ok

    def touches(self):
        """What no other fault of the same run may touch."""
        values = {(key, value) for key, values in self.registry.items() for value in values or HEALTHY.get(key, {})}
        if self.modes or self.registry.keys() & CLASS_KEYS:
            values.add("classes")
        if self.row == "folders" or any(file.startswith("Agent") for file in self.files):
            values.add(("agent", "Data Path"))
        return values | set(self.files) | set(self.modes) | {self.row, *self.also}

    def fits(self, other):
        """Whether both can be made at once and still be told apart."""
        missing = any(key in other.registry and None in (values, other.registry[key]) for key, values in self.registry.items())
        return self.arguments == other.arguments and not missing and not self.touches() & other.touches()


MARKS = {"clients": path(CLIENTS), "version": FACTS.version + ".0"}
DLLS = {
    "64-bit": LIBRARY.read_bytes(), "32-bit": patched(), "ARM": patched(machine=0xAA64), "program": patched(machine=0x8664, flags=0x22),
    "bad header": patched(machine=0x8664, magic=0x777), "other version": patched(version=0x20003), "cut 64-bit": LIBRARY.read_bytes()[:100_000],
    "cut 32-bit": patched()[:100_000], "signed": (CLIENTS / "varnel_signed.dll").read_bytes(), "hostile": (BUILT / "hostile.dll").read_bytes()}


def plain(text):
    """The text, with characters, repetitions and facts in the place of <1b>, <x*20> and <version>."""
    def meant(mark):
        part, _, times = mark[1].rpartition("*")
        return part * int(times) if part else MARKS.get(mark[1]) or chr(int(mark[1], 16))
    return re.sub("<([^<>]+)>", meant, text)


def setting(text):
    kind, _, content = text.partition(" ")
    if kind == "bytes":
        return Typed(int(content.split()[0]), bytes.fromhex(content.split()[1]))
    return {"unset": lambda _: OFF, "number": int, "text": plain, "expand": lambda text: expand(plain(text)),
            "lines": lambda text: multi(*text.split(";"))}[kind](content)


def content_of(text):
    kind, _, content = text.partition(" ")
    return FOLDER if kind == "folder" else DLLS[content] if kind == "DLL" else plain(content).encode("latin-1")


def read_faults():
    file = configparser.ConfigParser(delimiters=":", comment_prefixes="#", interpolation=None)
    with open(pathlib.Path(__file__).with_suffix(".txt"), encoding="utf-8") as text:
        file.read_file(text)
    for name in file.sections():
        def pairs(key, section=file[name]):
            return [line.split(" = ", 1) for line in section.get(key, "").splitlines()]
        registry = {}
        for place, text in pairs("set"):
            key, _, value = place.partition(", ")
            registry[key] = None if text == "missing" else registry.get(key, {}) | {value: setting(text)}
        yield Fault(name, *(plain(file[name][key]) for key in ("row", "state", "found", "remedy")), registry,
                    {place: content_of(text) for place, text in pairs("files")}, {place: int(mode, 8) for place, mode in pairs("modes")},
                    tuple(file[name].get("arguments", "").split()), dict(pairs("also")))


FAULTS = tuple(read_faults())

# What is unusual, and works.
WORKING = (
    ("slashes, digits, all log settings, an address of the new kind, a backslash behind the server's folder, a filter",
     {"agent": {"Data Path": "C:/Agent/", "AgPlcyEnableEventTrigger": "1", "AgPlcyEventTriggerThreshold": "3", "IPAddress": "2001:db8::1"},
      "log": {"LogLevel": 8, "LogSize": 20, "LogHiRes": 1, "LogFlags": "U", "LogDetailList": "Quorvel;netif_w"},
      "parser": {"EventsPath": "C:\\Server\\"}}, {FILTER: b"\xef\xbb\xbfDisabledEvent=1;2;-3;\r\n"}),
    ("expanded texts, a low level with the library's own lines, no address, no server, an empty filter, a trusted client",
     {"agent": {"Data Path": expand("C:\\Agent\\"), "IPAddress": "N/A", "SelfProtectionClient": path(CLIENTS / "of_other_publisher.dll")},
      "64": {"": expand(r"%SystemDrive%\varnel\64.dll")}, "element 64": {"": expand(r"%SystemDrive%\varnel\64.dll")},
      "log": {"LogLevel": 1, "LogDetailList": "Quorvel"}, "parser": {"EventsPath": OFF}}, {FILTER: b""}))
