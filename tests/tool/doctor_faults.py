"""The faults that varnel doctor has to name: how each is made, and what its row says then."""
import dataclasses

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
SERVER = ("--software", "ORBASRVR_3500")


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


def value(name, row, state, key, setting, content, found, remedy, **more):
    return Fault(name, row, state, found, remedy, {key: {setting: content}}, **more)


def server(name, content, found, remedy="64-bit varnel.dll", state="failure", files=None, **more):
    """A fault of the file that is registered for 64-bit products."""
    return Fault(name, "64-bit class", state, found, remedy, {"64": {"": content}, "element 64": {"": content}}, files or {}, **more)


def agent_path(name, content, found, remedy="full path", state="failure", **more):
    return value(name, "agent folder", state, "agent", "Data Path", content, found, remedy, **more)


def event_filter(name, content, found, remedy, state="warning", file=FILTER, **more):
    return Fault(name, "event filter", state, found, remedy, files={file: content}, **more)


def log(name, setting, content, found, remedy="docs/settings.md"):
    return value(name, "log settings", "warning", "log", setting, content, found, remedy)


HOSTILE = (BUILT / "hostile.dll").read_bytes()
QWORD = Typed(11, (1).to_bytes(8, "little"))

REGISTRATION = (
    Fault("nothing registered", "registration", "failure", "products get 0x80040154 (REGDB_E_CLASSNOTREG)", "Install the package",
          {"64": None, "32": None}, arguments=("--write",), also={"trial report": "failure"}),
    Fault("64-bit class missing", "64-bit class", "warning", "not registered: 64-bit products get 0x80040154", "64-bit varnel.dll",
          {"64": None}),
    Fault("32-bit class missing", "32-bit class", "warning", "not registered: 32-bit products get 0x80040154", "32-bit varnel.dll",
          {"32": None}),
    server("path is a number", 1, "its default value is REG_DWORD 1, not a text"),
    server("path not set", OFF, "its default value is not set"),
    server("path empty", "", "its default value is empty"),
    server("path without folder", "varnel.dll", "varnel.dll: not a full path"),
    server("path in quotation marks", r'"C:\varnel\64.dll"', "quotation marks"),
    server("path too long", expand("C:\\" + "x" * 1500), "too long"),
    server("path too long when replaced", expand("C:\\" + "%windir%" * 120), "too long"),
    server("file gone", r"C:\gone.dll", r"C:\gone.dll: the file does not exist"),
    server("file is a folder", r"C:\varnel", r"C:\varnel: a folder, not a DLL"),
    server("32-bit DLL for 64-bit products", r"C:\varnel\32.dll", r"32.dll: a 32-bit DLL, registered for 64-bit products"),
    Fault("64-bit DLL for 32-bit products", "32-bit class", "failure", "a 64-bit DLL, registered for 32-bit products", "32-bit varnel.dll",
          {"32": {"": r"C:\varnel\64.dll"}}),
    server("DLL for ARM", r"C:\arm.dll", "a DLL for another processor", files={"arm.dll": patched(machine=0xAA64)}),
    server("program in place of a DLL", r"C:\program.dll", "not a DLL", files={"program.dll": patched(machine=0x8664, flags=0x22)}),
    server("text in place of a DLL", r"C:\text.dll", "not a DLL", files={"text.dll": b"hello"}),
    server("empty file", r"C:\empty.dll", "not a DLL", files={"empty.dll": b""}),
    server("cut behind its first bytes", r"C:\mz.dll", "damaged: its end is missing", files={"mz.dll": b"MZ"}),
    server("cut in the middle", r"C:\cut.dll", "damaged: its end is missing", files={"cut.dll": LIBRARY.read_bytes()[:100_000]}),
    Fault("cut 32-bit DLL", "32-bit class", "failure", "damaged: its end is missing", "32-bit varnel.dll", {"32": {"": r"C:\cut32.dll"}},
          {"cut32.dll": patched()[:100_000]}),
    server("header damaged", r"C:\bad.dll", "damaged: Windows refuses to load it (error 193)",
           files={"bad.dll": patched(machine=0x8664, magic=0x777)}),
    server("another product's DLL", r"C:\windows\system32\msimg32.dll", "a DLL of another product"),
    server("DLL that refuses to start", r"C:\refuse.dll", "its start-up code fails (error 1114)", files={"refuse.dll": HOSTILE}),
    server("DLL that crashes", r"C:\crash.dll", "its start-up code crashes (error 998)", files={"crash.dll": HOSTILE}),
    server("DLL that ends its program", r"C:\end.dll", "the program that loads it crashes: 0xC0000409", files={"end.dll": HOSTILE}),
    server("DLL that hangs", r"C:\hang.dll", "takes longer than 1 second", files={"hang.dll": HOSTILE}, arguments=("--timeout", "1")),
    Fault("DLL that everyone can change", "64-bit class", "warning", r"C:\varnel\64.dll can be changed by Everyone", "only administrators",
          modes={"varnel/64.dll": 0o666}, also={"type library": "warning"}),
    Fault("folder that everyone can change", "64-bit class", "warning", r"C:\open\ lets it be replaced by Everyone", "only administrators",
          {"64": {"": r"C:\open\64.dll"}, "element 64": {"": r"C:\open\64.dll"}}, {"open/64.dll": LIBRARY.read_bytes()}, {"open": 0o777},
          ("--write",), {"trial report": "failure"}),
    Fault("folder above that everyone can change", "32-bit class", "warning", r"C:\high\ lets it be replaced by Everyone", "only administrators",
          {"32": {"": r"C:\high\low\32.dll"}, "element 32": {"": r"C:\high\low\32.dll"}}, {"high/low/32.dll": patched()}, {"high": 0o777}),
    value("apartment threading", "64-bit class", "warning", "64", "ThreadingModel", "Apartment", 'ThreadingModel is REG_SZ "Apartment"',
          "64-bit varnel.dll"),
    value("no threading model", "32-bit class", "warning", "32", "ThreadingModel", OFF, "ThreadingModel is not set", "32-bit varnel.dll"),
    Fault("class sent elsewhere", "64-bit class", "warning", "TreatAs redirects products to another class", "64-bit varnel.dll",
          {"treat as": {"": "{00000000-0000-0000-0000-000000000001}"}}),
    Fault("element class missing", "64-bit class", "warning", "EventElement, is not registered", "64-bit varnel.dll", {"element 64": None}),
    value("element class in another file", "32-bit class", "warning", "element 32", "", r"C:\varnel\64.dll",
          r"EventElement, is registered with C:\varnel\64.dll", "32-bit varnel.dll"),
    Fault("registration of the account's own", "own registration", "warning", r"C:\varnel\32.dll: its programs use this DLL", "HKCU",
          {"of user": {"": r"C:\varnel\32.dll"}}),
    Fault("script name missing", "script name", "warning", "Varnel.OrbaEventInf is not registered", "regsvr32", {"script": None}),
    value("script name of another class", "script name", "warning", "script", "", ELEMENT, "leads to another class", "regsvr32"),
    Fault("type library missing", "type library", "warning", "not registered: PowerShell", "regsvr32", {"type": None}),
    value("type library gone", "type library", "warning", "type", "", r"C:\gone.dll", r"C:\gone.dll: the file does not exist", "regsvr32"),
    Fault("type library of another kind", "type library", "warning", "not the type library VARNELLib", "regsvr32", {"type": {"": r"C:\text.tlb"}},
          {"text.tlb": b"hello"}),
    Fault("interface missing", "type library", "warning", "its interface IOrbaEventInf3 is not registered", "regsvr32", {"interface": None}),
    Fault("versions differ", "versions", "warning", f"64-bit products use version {FACTS.version}.0, 32-bit products version 2.3.0.0", "same package",
          {"32": {"": r"C:\other.dll"}, "element 32": {"": r"C:\other.dll"}}, {"other.dll": patched(version=0x20003)}))

AGENT = (
    Fault("no agent", "agent", "failure", "not installed", "Install the agent", {"agent": None}, also={"agent folder": "failure"}),
    value("not managed", "managed", "failure", "agent", "AgentMode", 0, "AgentMode is REG_DWORD 0", "Enrol", arguments=("--write",),
          also={"trial report": "failure"}),
    value("mode not set", "managed", "failure", "agent", "AgentMode", OFF, "AgentMode is not set", "Enrol"),
    value("mode is the text 0", "managed", "warning", "agent", "AgentMode", "0", 'REG_SZ "0", which counts as managed', "REG_DWORD"),
    value("mode is a longer text", "managed", "failure", "agent", "AgentMode", "10", 'REG_SZ "10", so', "REG_DWORD"),
    value("mode of 64 bits", "managed", "failure", "agent", "AgentMode", QWORD, "REG_QWORD of 8 bytes, so", "REG_DWORD"),
    value("mode of one byte", "managed", "warning", "agent", "AgentMode", Typed(4, b"\1"), "REG_DWORD of 1 byte", "REG_DWORD"),
    Fault("settings in the 64-bit part", "registry", "warning", r"AgentMode: set in HKLM\SOFTWARE\Kestrane", r"HKLM\SOFTWARE\Wow6432Node",
          {"agent": {"AgentMode": OFF}, "agent in 64-bit part": {"AgentMode": 1}}, also={"managed": "failure"}),
    Fault("settings of the user", "registry", "warning", r"Brenn Size: set in HKCU\SOFTWARE\Wow6432Node", r"HKLM\SOFTWARE\Wow6432Node",
          {"agent of user": {"Brenn Size": 1}}),
    Fault("name misspelt", "registry", "warning", '"DataPath" (the name is "Data Path")', "names",
          {"agent": {"Data Path": OFF, "DataPath": "C:\\Agent\\"}}, also={"agent folder": "failure"}),
    value("identity garbage", "agent identity", "warning", "agent", "AgentGUID", "none", 'REG_SZ "none"', "enrol"),
    value("identity not set", "agent identity", "warning", "agent", "AgentGUID", OFF, "AgentGUID is not set", "enrol"),
    value("identity all zeros", "agent identity", "warning", "agent", "AgentGUID", "{00000000-0000-0000-0000-000000000000}", "all zeros", "enrol"),
    value("address garbage", "agent address", "warning", "agent", "IPAddress", "10.0.0.", "not an address", "Correct"),
    value("size limit 0", "size limit", "failure", "agent", "Brenn Size", 0, "no report is saved", "8912896"),
    value("size limit 100", "size limit", "failure", "agent", "Brenn Size", 100, "no report is saved", "8912896"),
    value("size limit low", "size limit", "warning", "agent", "Brenn Size", 5000, "below 5000 bytes", "remove"),
    value("size limit huge", "size limit", "warning", "agent", "Brenn Size", 0xFFFFFFFF, "268435456", "268435456"),
    value("size limit of one digit", "size limit", "failure", "agent", "Brenn Size", "5", 'REG_SZ "5", which is read as 53', "remove"),
    value("size limit of 64 bits", "size limit", "warning", "agent", "Brenn Size", QWORD, "which is ignored", "REG_DWORD"),
    value("trigger is a word", "trigger policy", "warning", "agent", "AgPlcyEnableEventTrigger", "yes", "which is ignored", "REG_DWORD"),
    value("trigger is a letter", "trigger policy", "warning", "agent", "AgPlcyEnableEventTrigger", "y", "neither a number below 48 nor one digit", "REG_DWORD"),
    value("threshold that is reduced", "trigger policy", "warning", "agent", "AgPlcyEventTriggerThreshold", 1000, "REG_DWORD 1000, neither", "REG_DWORD"),
    value("trigger without threshold", "trigger policy", "warning", "agent", "AgPlcyEnableEventTrigger", 1, "Threshold is not set", "lowest severity"),
    value("client without folder", "self-protection", "failure", "agent", "SelfProtectionClient", "client.dll", '"client.dll" is not a full path', "with its drive"),
    value("client is a number", "self-protection", "failure", "agent", "SelfProtectionClient", 5, "SelfProtectionClient is REG_DWORD 5, not a text",
          "Repair"),
    value("client gone", "self-protection", "warning", "agent", "SelfProtectionClient", r"C:\gone.dll", r"C:\gone.dll does not exist", "Install"),
    Fault("client of another publisher", "self-protection", "failure", "its publisher is not this library's", "signed by",
          {"agent": {"SelfProtectionClient": path(CLIENTS / "of_other_publisher.dll")}, "64": {"": r"C:\varnel\signed.dll"},
           "element 64": {"": r"C:\varnel\signed.dll"}},
          {"varnel/signed.dll": (CLIENTS / "varnel_signed.dll").read_bytes()}))

LOG = (
    log("level is a text", "LogLevel", "7", 'LogLevel is REG_SZ "7", not a number (REG_DWORD)'),
    log("level too high", "LogLevel", 9, "LogLevel is REG_DWORD 9, not within 1 to 8"),
    log("level too low for failures", "LogLevel", 4, "logs its failures at level 5", "LogLevel to 5"),
    log("log size 0", "LogSize", 0, "LogSize is REG_DWORD 0, not within 1 to 100"),
    log("milliseconds of 64 bits", "LogHiRes", QWORD, "LogHiRes is REG_QWORD"),
    log("flags too long", "LogFlags", "x" * 40, "LogFlags has 40 characters"),
    log("list too long", "LogDetailList", "x;" * 200, "LogDetailList has 400 characters"),
    log("list of too many", "LogDetailList", "a;" * 15 + "b", "more than 15 entries"),
    log("list with commas", "LogDetailList", "Quorvel,netif_w", 'must be separated by ";"'),
    log("list of lines", "LogDetailList", multi("Quorvel", "netif_w"), "not a text (REG_SZ)"))

FOLDERS = (
    agent_path("agent path not set", OFF, '"Data Path" is not set'),
    agent_path("agent path is a number", 5, '"Data Path" is REG_DWORD 5, not a text'),
    agent_path("path of lines", multi("C:\\Agent\\"), "REG_MULTI_SZ"),
    agent_path("agent path empty", "", "is empty"),
    agent_path("agent path too long", "C:\\" + "x" * 257, "260 characters long", "shorter"),
    agent_path("path with variable", expand("%SystemDrive%\\Agent\\"), "has a variable, which is not replaced", "without variables"),
    agent_path("text with variable", "%SystemDrive%\\Agent\\", "has a variable, which is not replaced", "without variables"),
    agent_path("agent path in quotation marks", '"C:\\Agent\\"', "quotation marks", "without quotation marks"),
    agent_path("path ends in a blank", "C:\\Agent\\ ", "blank", "blank"),
    agent_path("path without drive", "Agent\\", "not a full path", "drive"),
    agent_path("path with a bad character", "C:\\A|B\\", "the character '|'", "Correct"),
    agent_path("path with an escape", "C:\\\x1b[31mred\\", "C:\\\\u{1b}[31mred\\", "Correct"),
    agent_path("no backslash", r"C:\Agent", r"reports go to C:\AgentAgentEvents", "Put a backslash"),
    agent_path("drive missing", "Q:\\Agent\\", "there is no drive Q:", "Connect"),
    agent_path("folder missing", "C:\\Gone\\", r"C:\Gone does not exist", "Repair the agent", arguments=("--write",),
               also={"trial report": "failure"}),
    agent_path("share missing", "\\\\nowhere\\share\\", "\\\\nowhere cannot be reached", "network share"),
    agent_path("event folder missing", "C:\\varnel\\", r"C:\varnel\AgentEvents does not exist", "Repair the agent"),
    agent_path("missing for the server's reports", "C:\\Gone\\", "does not exist", "Repair", "warning", arguments=SERVER),
    agent_path("file in place of the event folder", "C:\\taken\\", r"C:\taken\AgentEvents is a file", "Rename or remove the file",
               files={"taken/AgentEvents": b""}),
    agent_path("file in place of the agent's folder", "C:\\file\\", r"C:\file is a file", "Rename or remove the file", files={"file": b""}),
    agent_path("path that programs cannot use", "C:\\" + "x" * 215 + "\\", "longer than the 259 characters", "shorter", "warning",
               files={"x" * 215 + "/AgentEvents": FOLDER}),
    Fault("server's path not set", "server folder", "failure", '"EventsPath" is not set', "full path", {"parser": {"EventsPath": OFF}},
          arguments=SERVER),
    Fault("server's folder missing", "server folder", "failure", r"C:\a does not exist", "Create the folder above", {"parser": {"EventsPath": r"C:\a\b"}},
          arguments=SERVER),
    Fault("server's folder missing for others", "server folder", "warning", r"C:\a does not exist", "Create the folder above",
          {"parser": {"EventsPath": r"C:\a\b"}}),
    Fault("one folder for both", "folders", "warning", "are the same", "EventsPath", {"parser": {"EventsPath": r"C:\Agent\AgentEvents"}}))

FILTERS = (
    event_filter("everything disabled", b"DisabledEvent=1001;0;", "disables 1001, 0; 0 disables all reporting", "Remove 0 from DisabledEvent", "failure"),
    event_filter("UTF-16", "\ufeffDisabledEvent=1;".encode("utf-16-le"), "not an ANSI or UTF-8 text (UTF-16?)", "ANSI or UTF-8"),
    event_filter("capital letters", b"DISABLEDEVENT=1;", "has DISABLEDEVENT instead of DisabledEvent", "capital and small letters"),
    event_filter("no list", b"Disabled=1;2;", "has no DisabledEvent", "DisabledEvent=1001;1002;"),
    event_filter("folder in place of the filter", FOLDER, "is a folder", "Remove that folder"),
    event_filter("commas", b"DisabledEvent=1,2,3", 'match no event: "1,2,3"', '";" after each number'),
    event_filter("line ends", b"DisabledEvent=1;\r\n2;" + b"7;" * 21 + b"\r\n",
                 "disables 1" + ", 7" * 19 + ' and 2 more; these entries match no event: "\\u{d}\\u{a}2"', '";" after each number'),
    event_filter("two lists", b"DisabledEvent=1;\r\nDisabledEvent=2;", "several DisabledEvent", "after the first"),
    event_filter("minus first", b"DisabledEvent=-3;", "minus sign", "another number first"),
    event_filter("name of a text file", b"DisabledEvent=1;", "there is EvtFiltr.ini.txt", "Rename", file=FILTER + ".txt"),
    Fault("filter outside of the code page", "event filter", "warning", "ANSI code page", "Choose a", {"agent": {"Data Path": "C:\\\u65e5\\"}},
          {"\u65e5/data/EvtFiltr.ini": b"x", "\u65e5/AgentEvents": FOLDER}))

FAULTS = (*REGISTRATION, *AGENT, *LOG, *FOLDERS, *FILTERS)

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
