#!/usr/bin/python3
"""varnel bundle: what is in it, and with --redact that no secret is, however it is written."""
import base64
import hashlib
import html
import json
import os
import re
import unicodedata
import unittest
import urllib.parse
import zipfile
from xml.etree import ElementTree
from xml.sax.saxutils import escape, quoteattr

from tool import NATIVE, ToolTest, windows_only
from wine import AGENT

CATALOGUE = """catalogue = 1
[product]
software_id = "ACME____1000"
root = "AcmeEvents"
element = "AcmeSoftware"
name = "Acme Guard"
family = "Endpoint"
[types.Verdict]
values = ["clean", "quarantined"]
[[event]]
name = "Found"
id = 1024
severity = 3
[[event.attribute]]
name = "Note"
type = "text"
[[event.attribute]]
name = "Files"
type = "integer"
""" + "".join(f"""[[event.attribute]]
name = "{name}"
type = "{kind}"
sensitivity = "{sensitivity}"
""" for name, kind, sensitivity in (("Owner", "text", "personal"), ("Token", "text", "secret"), ("Document", "path", "personal"),
                                    ("Peer", "ip", "none"), ("Badge", "integer", "personal"), ("Born", "time", "personal"),
                                    ("Device", "guid", "personal"), ("Hash", "sha256", "secret"), ("Ill", "boolean", "personal"),
                                    ("Verdict", "Verdict", "secret"))) + """[[event.child]]
name = "File"
type = "path"
many = true
"""
# Marked by the catalogue or by the library's own places; the last two only by their form.
NAMES = ["Zoë Übermut", "O'Neill <Pat> & \"Co\"", "Ольга Петрова", "καλλιόπη", "山田太郎", "zqv", "Anne-Sophie d'Été", "percy%41nt"]
PLANTED = {
    "MachineName": ["WS-0142-NORTH", "pc77.corp.example", "küche-pc"],
    "UserName": ["CORP\\vandermeer", "xq7", "j.doe@corp.example", "Wilhelmina Oyelaran"],
    "IPAddress": ["10.20.30.40", "2001:db8:7::77"],
    "RawMACAddress": ["00a0c914c829", "f0de17fa11ed"],
    "AgentGUID": ["{3F2504E0-4F89-41D3-9A0C-0305E82C3301}", "{7D444840-9DC0-11D1-B245-5FFDCE74FAD2}"],
    "Owner": NAMES + [f"person{i}{'abcdefghij'[i]}" for i in range(10)],
    "Token": [f"tOken/{i}+Secret={i * 7919}" for i in range(8)] + ["C:\\keys\\dir\\new.key", "two\nlines of a secret"],
    "Document": ["D:\\private\\letters\\to the bank.docx", "\\\\fileserver9\\share\\tax 2023.pdf", "/srv/people/kim/cv.odt"],
    "Peer": ["172.16.99.3", "fe80::1234:5678:9abc:def0"],
    "Badge": ["4711991", "90210555"],
    "Born": ["1984-07-15T04:05:06Z", "2001-02-03T23:59:58Z"],
    "Device": ["{0F8FAD5B-D9CB-469F-A165-70867728950E}"],
    "Hash": [hashlib.sha256(b"1").hexdigest()],
    "": ["kim.larsen@post.example", "00-1B-44-11-3A-B7", "S-1-5-21-3623811015-3361044348-30300820-1013", "\\\\nas42x\\backup",
         "C:\\Users\\hvroman", "/home/qvisser", "192.168.177.201", "fd12:3456:789a::42"],
}
SECRETS = [(place, value) for place, values in PLANTED.items() for value in values]
assert len(SECRETS) >= 60, len(SECRETS)

ACCOUNT = "S-1-5-21-1-2-3-1001"
# A text of a machine pc7.corp.example with the user CORP\\ann, and what is left of it.
TEXTS = {
    "ann, Ann's ANN_1 and \\u0061nn": "<user>, <user>'s <user>_1 and <user>",
    "Hannah planned the channel": "Hannah planned the channel",
    "by SYSTEM in C:\\Windows\\System32": "by SYSTEM in C:\\Windows\\System32",
    "corp\\ANN, CORP/ann": "<user>, <user>",
    "PC7 and pc7.CORP.example": "<machine> and <machine>",
    "version 4.2.0, v10.0.19041.1, 1.2.3.4.5, 09:05:03 on 2024-03-07": "version 4.2.0, v10.0.19041.1, 1.2.3.4.5, 09:05:03 on 2024-03-07",
    "10.1.2.3:80, [2001:db8::1]:443, ::ffff:10.1.2.3.": "<ip>:80, [<ip>]:443, <ip>.",
    "127.0.0.1 ::1 0.0.0.0": "127.0.0.1 ::1 0.0.0.0",
    "00a0c914c829 00-A0-C9-14-C8-29 00:a0:c9:14:c8:29": "<mac> <mac> <mac>",
    "mail (ann.x@corp.example), a@b": "mail (<mail>), <mail>",
    "C:\\Users\\ann\\My Documents\\a.doc": "C:\\Users\\<user>\\<path>",
    "'/home/ann/x y' \"C:\\\\Users\\\\ann\" z": "'/home/<user>/<path>\"C:\\\\Users\\\\<user>\" z",
    "C:\\Users\\ann\\a b.exe: not found": "C:\\Users\\<user>\\<path>: not found",
    "C:\\Users\\Public\\x": "C:\\Users\\Public\\<path>",
    "%APPDATA%\\Acme\\x.ini": "%APPDATA%\\<path>",
    "on \\\\pc7\\c$ by " + ACCOUNT: "on \\\\<machine>\\c$ by <sid>",
    "token " + base64.b64encode(b"user=ann;").decode() + ", word administration": "token <encoded>, word administration",
}


def percent(text):
    return "".join(f"%{byte:02X}" for byte in text.encode())


def units(text):
    data = text.encode("utf-16-be")
    return [data[i] << 8 | data[i + 1] for i in range(0, len(data), 2)]


# A value as it may be inside another text.
ENCODERS = {
    "plain": str,
    "capitals": lambda text: text.upper() if len(text.upper()) == len(text) else text,
    "small letters": str.lower,
    "decomposed": lambda text: unicodedata.normalize("NFD", text),
    "slashes": lambda text: text.replace("\\", "/"),
    "backslashes": lambda text: text.replace("/", "\\"),
    "C string": lambda text: text.replace("\\", "\\\\").replace('"', '\\"'),
    "JSON": lambda text: json.dumps(text)[1:-1].replace("/", "\\/"),
    "JSON numbers": lambda text: "".join(f"\\u{unit:04x}" for unit in units(text)),
    "C bytes": lambda text: "".join(f"\\x{byte:02x}" for byte in text.encode()),
    "braces": lambda text: "".join(f"\\u{{{ord(c):x}}}" for c in text),
    "address": urllib.parse.quote,
    "form": urllib.parse.quote_plus,
    "address, all": percent,
    "address in address": lambda text: percent(percent(text)),
    "entities": lambda text: escape(text, {'"': "&quot;", "'": "&apos;"}),
    "references": lambda text: "".join(f"&#{ord(c)};" for c in text),
    "references in references": lambda text: escape("".join(f"&#x{ord(c):X};" for c in text)),
    "invisible": lambda text: "\u200b".join(text),
    "base64": lambda text: base64.b64encode(b"start " + text.encode() + b" end").decode(),
    "base64 for addresses": lambda text: base64.urlsafe_b64encode(b"ok?>" + text.encode()).decode().rstrip("="),
    "base64 of UTF-16": lambda text: base64.b64encode(("say " + text).encode("utf-16-le")).decode(),
    "base64 of JSON": lambda text: base64.b64encode(json.dumps({"a": text}).encode()).decode(),
    "base64 of base64": lambda text: base64.b64encode(base64.b64encode(text.encode() + b" and more")).decode(),
    "hexadecimal": lambda text: ("- " + text).encode().hex(),
    "hexadecimal UTF-16": lambda text: ("(" + text).encode("utf-16-le").hex().upper(),
}


def plain(text):
    """The form in which the check compares: without case, accents and invisible characters, one kind of slash."""
    text = unicodedata.normalize("NFKD", text)
    text = "".join(c for c in text if not unicodedata.combining(c) and unicodedata.category(c) not in ("Cf", "Cc") or c in "\r\n\t")
    return re.sub(r"\s+", " ", re.sub(r"[/\\]+", "/", text.casefold().replace("ς", "σ"))).strip(" {}")


def decoded(text):
    """Everything that a text may stand for."""
    yield html.unescape(text)
    yield urllib.parse.unquote(text, errors="replace")
    yield urllib.parse.unquote_plus(text, errors="replace")
    surrogates = re.sub(r"\\u(?:\{([0-9a-f]{1,6})\}|([0-9a-f]{4}))", lambda match: chr(int(match[1] or match[2], 16) % 0x110000), text)
    yield surrogates.encode("utf-16-le", "surrogatepass").decode("utf-16-le", "replace")
    yield re.sub(r"(?:\\x[0-9a-fA-F]{2})+", lambda match: bytes.fromhex(match[0].replace("\\x", "")).decode(errors="replace"), text)
    yield re.sub(r"\\([\"'/\\])", r"\1", text)
    yield re.sub(r"\\[nrt]", " ", text)
    for match in re.finditer(r"[A-Za-z0-9+/_-]{8,}", text):
        for start in range(4):
            run = match[0][start:].replace("-", "+").replace("_", "/")
            data = base64.b64decode(run[:len(run) // 4 * 4] + (run[len(run) // 4 * 4:] + "==" if len(run) % 4 > 1 else "").ljust(4, "=")[:4 if len(run) % 4 > 1 else 0])
            yield from (data.decode(errors="replace"), data.decode("utf-16-le", errors="replace"))
    for match in re.finditer(r"[0-9a-fA-F]{8,}", text):
        for start in range(2):
            run = match[0][start:]
            data = bytes.fromhex(run[:len(run) // 2 * 2])
            yield from (data.decode(errors="replace"), data.decode("utf-16-le", errors="replace"))


def readings(text, depth=3):
    """A text in all its readings, as one text."""
    text = re.sub(r"\b(user|machine|path|mail|sid|personal|secret|encoded|file)-[0-9a-f]{12}\b", r"\1", text)  # digits may spell anything
    seen, last = {text}, {text}
    for _ in range(depth):
        last = {reading for old in last for reading in decoded(old) if reading.count("\ufffd") * 4 <= len(reading)} - seen
        seen |= last
    return "\n\x01".join(map(plain, seen))


def leaves(element):
    """Every text of a document: names, values and texts."""
    for each in element.iter():
        yield from (each.tag, each.text or "", each.tail or "", *each.attrib, *each.attrib.values())


def found(secret, text):
    """Whether a secret is in a text in its plain form; short ones as a word."""
    value = plain(secret)
    return re.search(r"(?<![^\W\d_])" + re.escape(value) + r"(?![^\W\d_])" if len(value) < 5 else re.escape(value), text) is not None


def document(events, **facts):
    facts = {"MachineName": "HOST", "AgentGUID": "{}", "IPAddress": "", "OSName": "Windows 10", "UserName": "SYSTEM",
             "TimeZoneBias": "0", "RawMACAddress": "", **facts}
    machine = "".join(f"<{name}>{escape(value)}</{name}>" for name, value in facts.items())
    return (f'<?xml version="1.0" encoding="UTF-8"?><AcmeEvents><MachineInfo>{machine}</MachineInfo>'
            f'<AcmeSoftware ProductName="Acme Guard" ProductVersion="1.0" ProductFamily="Endpoint">{events}</AcmeSoftware></AcmeEvents>')


def event(attributes="", children="", name="Found"):
    return f"<{name} {attributes}><EventID>1024</EventID><Severity>3</Severity><GMTTime>2024-03-07T09:05:03</GMTTime>{children}</{name}>"


def attribute(name, value):
    return name + "=" + quoteattr(value, {"\n": "&#10;"})


def planted(place, value):
    """A document whose place has the value."""
    if place in ("MachineName", "UserName", "IPAddress", "RawMACAddress", "AgentGUID"):
        return document(event(), **{place: value})
    return document(event(attribute(place, value) if place else attribute("Note", f"from '{value}' \"")))


def mentions(value, number):
    """Events that have the value in other places, in every encoding."""
    for name, encode in ENCODERS.items():
        text = f"[{name}] '{encode(value)}' \""
        where = number % 3
        number += 1
        if where == 0:
            yield event(attribute("Note", text))
        elif where == 1:
            yield event("", f"<File>{escape(text)}</File>")
        else:
            yield event("", "<File><![CDATA[" + text.replace("]]>", "") + "]]></File>")
    yield event("", f"<!-- {value.replace('--', '')} --><?note {value.replace('?>', '')}?><Other Undeclared={quoteattr(value)}>{escape(value)}</Other>")
    yield event("xmlns:p=" + quoteattr("urn:" + value.strip("{}")))


class Bundle(ToolTest):
    PREFIX = "tool_bundle"

    def bundled(self, *arguments, status=0):
        """The files of a new bundle, and what was printed."""
        self.count = getattr(self, "count", 0) + 1
        name = f"{self.id().rpartition('.')[2]}_{self.count}.zip"
        output = self.varnel("bundle", "--files-only", "--to", self.path(name), *arguments, status=status)
        with zipfile.ZipFile(self.drive / name) as file:
            self.assertIsNone(file.testzip())
            return {entry: file.read(entry) for entry in file.namelist()}, output

    def catalogue(self):
        path = self.drive / "acme.toml"
        path.write_text(CATALOGUE, encoding="utf-8")
        return ("--redact", "--catalogue", self.path("acme.toml"))

    def unpack(self, files, name):
        """Writes the event files of a bundle to a new folder, which passes the check."""
        self.folder(name, {file.removeprefix("events/"): content for file, content in files.items() if file.startswith("events/")})
        self.varnel("check", self.path(name))

    def deviations(self, name):
        """The last line of a check with the catalogue."""
        return self.varnel("check", "--catalogue", self.path("acme.toml"), self.path(name), status=None)[0].splitlines()[-1]

    def test_no_secret_is_in_a_redacted_bundle(self):
        secrets = SECRETS if NATIVE else SECRETS[::4]
        files = {}
        for number, (place, value) in enumerate(secrets):
            files[f"{number:03d} {value.translate(str.maketrans(dict.fromkeys('/?*:<>|' + chr(34) + chr(10) + chr(92), '_')))}.xml"] = planted(place, value)
            files[f"{20240307100503123481700000000 + number}.xml"] = document("".join(mentions(value, number)))
        quiet = event(attribute("Note", "nothing") + " " + attribute("Files", "12")) * 100
        files |= {f"{20250307100503123481700000000 + number}.xml": document(quiet) for number in range(86 if NATIVE else 2)}
        folder = self.folder("secrets", files)
        before = {path.name: hashlib.sha256(path.read_bytes()).digest() for path in folder.iterdir()}
        lines = [f"2026-11-21 21:44:29 X Evt  280 Quorvel  c99860 Save '{encode(value)}' \"" for _, value in secrets for encode in ENCODERS.values()]
        (self.drive / "trace.txt").write_bytes("\r\n".join(lines).encode("utf-16"))
        log = ("--log", self.path("trace.txt"))

        for name, encode in ENCODERS.items():
            self.assertEqual([], [value for _, value in secrets if not found(value, readings(f"'{encode(value)}' "))], f"decodes {name}")

        def leaks(files):
            texts = [reading for name, content in files.items() for text in (
                {name, *leaves(ElementTree.fromstring(content))} if name.endswith(".xml") else
                content.decode("utf-16" if content.startswith(b"\xff\xfe") else "utf-8").splitlines()) for reading in [readings(text)]]
            texts += [plain(content.decode(errors="replace")) for content in files.values()]
            whole = "\n\x01".join(set(texts))
            return [value for _, value in secrets if found(value, whole)]

        self.assertEqual([value for _, value in secrets], leaks(self.bundled(*log, self.path("secrets"))[0]), "the check finds them")
        bundle, (output, _) = self.bundled(*self.catalogue(), "--free-text", *log, self.path("secrets"))
        self.assertEqual([], leaks(bundle))
        self.assertEqual(len(files) + 3, len(bundle), output)
        self.unpack(bundle, "checked")
        self.assertEqual(self.deviations("secrets"), self.deviations("checked"))
        self.assertEqual(before, {path.name: hashlib.sha256(path.read_bytes()).digest() for path in folder.iterdir()})
        events = sum(content.count(b"<GMTTime>") for name, content in bundle.items() if name.startswith("events/"))
        self.assertGreater(events, 10_000 if NATIVE else 500)

    def test_what_is_replaced_in_a_text(self):
        self.folder("texts", {f"{number}.xml": document(event(attribute("Note", text)), UserName="CORP\\ann", MachineName="pc7.corp.example",
                                                        RawMACAddress="00a0c914c829") for number, text in enumerate(TEXTS)})
        bundle, _ = self.bundled(*self.catalogue(), self.path("texts"))
        notes = [note for name in bundle if name.startswith("events/") for element in ElementTree.fromstring(bundle[name]).iter("Found")
                 for note in [element.get("Note")]]
        kinds = [re.sub("(user|machine|path|mail|sid|encoded)-[0-9a-f]{12}", r"<\1>", note) for note in notes]
        addresses = [re.sub(r"2(4\d|5[0-4])(\.\d+){3}|2001:db8(:[0-9a-f]{1,4}){6}", "<ip>", note) for note in kinds]
        macs = [re.sub("02([:-]?)[0-9a-f]{2}(\\1[0-9a-f]{2}){4}", "<mac>", note) for note in addresses]
        self.assertEqual(TEXTS, dict(zip(TEXTS, macs)))
        # The same value has the same stand-in in all spellings, and another one in another bundle.
        users = {standin for note in notes for standin in re.findall("user-[0-9a-f]{12}", note)}
        self.assertEqual(2, len(users), "ann and CORP\\ann")
        self.assertEqual(1, len({"".join(re.findall(r"(?<![-\w])02[-:0-9a-f]{10,15}", note)).replace("-", "").replace(":", "") for note in notes} - {""}))
        again, _ = self.bundled(*self.catalogue(), self.path("texts"))
        self.assertFalse(users & set(re.findall("user-[0-9a-f]{12}", "".join(map(bytes.decode, again.values())))))

    def test_undeclared_texts_stay_out(self):
        quiet = "Mike Oyster lives here"
        self.folder("free", {"1.xml": document(event(f'A="{quiet}" B="97" C="true"', f"<X>{quiet}<Y D='{quiet}'/></X>") + event(name=f"Other", children=f"<Z>{quiet}</Z>"))})
        (self.drive / "product.log").write_text(f"{quiet}\n2026-11-21 21:44:29 X  280 Quorvel  c99 CreateMachineElement os|Mike|x\n", encoding="utf-8")
        bundle, _ = self.bundled(*self.catalogue(), "--log", self.path("product.log"), self.path("free"))
        (name, xml), = [item for item in bundle.items() if item[0].startswith("events/")]
        self.assertRegex(name, r"\Aevents/file-[0-9a-f]{12}\.xml\Z")
        self.assertNotIn(b"Oyster", b"".join(bundle.values()))
        self.assertEqual(4, xml.count(b"[text, 22 characters]"))
        self.assertIn(b'B="[integer, 2 characters]" C="[boolean, 4 characters]"', xml)
        self.assertEqual("[text, 22 characters]\n2026-11-21 21:44:29 X  280 Quorvel  c99 CreateMachineElement [text, 9 characters]\n", bundle["logs/log_1.txt"].decode())
        bundle, _ = self.bundled(*self.catalogue(), "--free-text", self.path("free"))
        self.assertEqual(4, b"".join(bundle.values()).count(quiet.encode()))

    def test_the_list_and_damaged_files(self):
        right = document(event())
        self.folder("some", {"a.xml": right, "b.xml": right[:-3], "c.txml": "<Rita & Bob>", "d.xml": right.replace("<EventID>1024", "<EventID>0"), "notes.txt": "private"})
        bundle, (_, errors) = self.bundled(self.path("some"), status=1)
        again, _ = self.bundled(self.path("some"), status=1)
        self.assertEqual(bundle, again)
        contents = json.loads(bundle["contents.json"])
        self.assertEqual([("events/a.xml", "whole"), ("events/b.xml", "unfinished"), ("events/c.txml", "broken"), ("events/d.xml", "wrong"), ("README.txt", None)],
                         [(file["name"], file.get("state")) for file in contents["files"]])
        for file in contents["files"]:
            self.assertEqual((file["size"], file["sha256"]), (len(bundle[file["name"]]), hashlib.sha256(bundle[file["name"]]).hexdigest()))
        self.assertEqual([{"name": "notes.txt", "reason": "broken: not XML"}], contents["leftOut"])
        self.assertEqual(4, len(errors.splitlines()))
        redacted, (_, errors) = self.bundled("--redact", self.path("some"), status=1)
        contents = json.loads(redacted["contents.json"])
        self.assertEqual(["unfinished", "broken", "wrong", "broken"], [file["reason"] for file in contents["leftOut"]])
        self.assertEqual(3, len(redacted))
        self.assertNotIn(b"Rita", b"".join(redacted.values()))

    def test_what_is_refused(self):
        self.folder("refused", {"a.xml": document(event())})
        (self.drive / "empty").mkdir()
        (self.drive / "old.zip").write_text("old")
        for arguments, words in ((["--to", self.path("old.zip"), self.path("refused")], "old.zip exists; choose another name"),
                                 (["--to", self.path("refused/b.zip"), self.path("refused")], "--to is in the folder of the event files"),
                                 (["--to", self.path("refused/b.zip"), self.path("refused/a.xml")], "--to is in the folder of the event files"),
                                 (["--to", self.path("missing/b.zip"), self.path("refused")], "cannot write .*; does its folder exist"),
                                 (["--to", self.path("b.zip"), self.path("empty")], "nothing for a bundle"),
                                 (["--to", self.path("b.zip"), self.path("refused"), "--log", self.path("missing.log")], r"missing.log: .*\(2\)"),
                                 (["--to", self.path("b.zip"), self.path("refused"), "--free-text"], "--free-text requires --redact")):
            with self.subTest(words):
                self.assertRegex(self.varnel("bundle", "--files-only", *arguments, status=2)[1], words)
        self.assertEqual((["a.xml"], "old", []), (os.listdir(self.drive / "refused"), (self.drive / "old.zip").read_text(), list(self.drive.glob("b.zip*"))))

    @windows_only
    def test_this_machine(self):
        guid, profile = "{3F2504E0-4F89-41D3-9A0C-0305E82C3301}", "C:\\Users\\vandermeer\\varnel_client.dll"
        for name, value in (("AgentGUID", guid), ("SelfProtectionClient", profile)):
            self.prefix.run("reg", "add", AGENT, "/v", name, "/d", value, "/f")
        self.folder("here", {"a.xml": document(event())})
        self.varnel("bundle", "--to", self.path("here.zip"), self.path("here"))
        self.varnel("bundle", "--redact", "--to", self.path("redacted.zip"), self.path("here"))
        with zipfile.ZipFile(self.drive / "here.zip") as plainly, zipfile.ZipFile(self.drive / "redacted.zip") as redacted:
            self.assertEqual(plainly.namelist()[1:], redacted.namelist()[1:])
            self.assertRegex(plainly.read("doctor.txt").decode(), r"ok +managed +the server manages the agent\n")
            settings = plainly.read("settings.txt").decode()
            for line in ("AgentMode: REG_DWORD 1", f'AgentGUID: REG_SZ "{guid}"', f'SelfProtectionClient: REG_SZ "{profile}"'):
                self.assertIn(f"  {line}\r\n", settings)
            self.assertRegex(redacted.read("settings.txt").decode(), r'AgentGUID: REG_SZ "\{[0-9A-F-]{36}\}"')
            texts = b"".join(map(redacted.read, redacted.namelist())).decode()
            for secret in (guid, "vandermeer", "varnel_client"):
                self.assertNotIn(secret, texts)


if __name__ == "__main__":
    unittest.main()
