#!/usr/bin/python3
"""varnel show: what a list, a tree and JSON say of files, and files that appear while it looks."""
import json
import os
import queue
import re
import subprocess
import threading
import time
import unittest

from tool import DLL, ROOT, ToolTest, identifiers, natively, windows_only
from wine import AGENT

REPORT = (ROOT / "tests/schema/report.xml").read_text(encoding="utf-8")
SENT = {"softwareId": "EXAMPLE__1000", "name": "Né", "version": "2.0", "family": "Server", "osName": "Some OS", "userName": "ann",
        "events": [{"name": "Found", "id": 7, "severity": 2, "time": "2024-03-07T09:05:03Z", "attributes": {"From": "a"},
                    "children": [{"name": "File", "text": "x", "attributes": {"K.1": "v"}, "children": [{"name": "Part", "text": "p"}]},
                                 {"name": "File", "text": "y"}]}]}

HEAD = '<R><MachineInfo/><S ProductName="" ProductVersion="" ProductFamily=""'
EVENT = "<E><EventID>1</EventID></E>"
# Files that make something repeat, and whether their first event has to leave something out.
GREEDY = {
    "path of an element": (HEAD + "><" + "n" * 36_000 + ">" + "<b/>" * 900 + "</" + "n" * 36_000 + ">" + EVENT * 100 + "</S></R>", True),
    "path in an event": (HEAD + "><E><EventID/><" + "n" * 30_000 + ">" + "<b/>" * 900 + "</" + "n" * 30_000 + "></E></S></R>", True),
    "attributes": (HEAD + "".join(f' a{i}="{"x" * 30}"' for i in range(800)) + ">" + EVENT * 2_000 + "</S></R>", False),
    "text": (HEAD + "><T>" + "x" * 40_000 + "</T>" + EVENT * 1_500 + "</S></R>", True),
    "name of the root": ((HEAD + ">" + EVENT * 1_500 + "</S></R>").replace("<R>", "<" + "é" * 15_000 + ">").replace("</R>", "</" + "é" * 15_000 + ">"), False),
    "small events": (HEAD + ">" + "<E><EventID/></E>" * 30_000 + "</S></R>", False),
    "depth": (HEAD + ">" + EVENT + "<a>" * 250 + "<a/>" * 20_000 + "</a>" * 250 + "</S></R>", True),
    "escapes": (HEAD + "><E><EventID/><a><![CDATA[" + "\x7f<" * 16_000 + "]]></a><b>" + "\u061c" * 16_000 + "</b></E></S></R>", False),
}

# What stands in report.xml, what takes its place, and what comes of it in the first object.
FIELDS = (
    ("", "", {"@timestamp": "2024-03-07T09:05:03Z", "event.code": "1024", "event.severity": 3,
              "event.action": "First", "host.ip": ["192.0.2.7"], "host.mac": ["01-23-45-67-89-AB"], "labels.Product_Licence": "first",
              "labels.File_Part_Severity": "high", "labels.Root_Behind_Level": "1", "labels.MachineInfo_Site": "1", "labels.root": "Root"}),
    ("2024-03-07T09:05:03", "2023-02-29T09:05:03", {"@timestamp": None, "labels.GMTTime": "2023-02-29T09:05:03"}),
    (">3<", ">high<", {"event.severity": None, "labels.Severity": "high"}),
    ("192.0.2.7", "::1", {"host.ip": ["::1"]}),
    ("192.0.2.7", "somewhere", {"host.ip": None, "labels.MachineInfo_IPAddress": "somewhere"}),
    ("0123456789ab", "", {"host.mac": None}),
    ("0123456789ab", "zz", {"host.mac": None, "labels.MachineInfo_RawMACAddress": "zz"}),
    ("<Scan>", "<EventID>5</EventID><Scan>", {"event.code": "1024", "labels.EventID": "5"}),
    ("<EventID>1024", "<X/><EventID>1024", {"event.code": "1024", "@timestamp": "2024-03-07T09:05:03Z", "labels.GMTTime": None}),
    ("<Severity>3</Severity>", "", {"event.severity": None, "labels.Severity": None}),
    ("<After2/>", "<MachineName>new</MachineName>", {"host.name": "PC1", "labels.MachineInfo_MachineName": "new"}),
    ("<Scan>on access", "<A_b>1</A_b><A><b>2</b></A><Scan>\u202e\u009b", {"labels.A_b": "1", "labels.A_b_2": "2", "labels.Scan": "\u202e\u009b"}),
)


def field(event, path):
    for name in re.split(r"\.", path, maxsplit=0 if not path.startswith("labels.") else 1):
        event = event.get(name) if isinstance(event, dict) else None
    return event


class Show(ToolTest):
    PREFIX = "tool_show"

    @windows_only
    def test_a_report_that_was_sent(self):
        path = self.varnel("send", "--json", "--dll", DLL, text=json.dumps(SENT))[0].strip()
        output, _ = self.varnel("show", "--json")
        event = json.loads(output)
        host = {name: event["host"].pop(name, None) for name in ("name", "ip", "mac")}
        self.assertRegex(host["name"], ".")
        for address, form in ((host["ip"], "[0-9a-f.:]+"), (host["mac"], "[0-9A-F]{2}(-[0-9A-F]{2}){5}")):
            self.assertTrue(address is None or re.fullmatch(form, *address), address)
        self.assertRegex(event["labels"].pop("MachineInfo_TimeZoneBias"), "^-?[0-9]+$")
        self.assertEqual({
            "@timestamp": "2024-03-07T09:05:03Z", "ecs": {"version": "8.11.0"},
            "event": {"kind": "event", "module": "varnel", "action": "Found", "code": "7", "severity": 2, "id": event["event"]["id"]},
            "host": {"os": {"full": "Some OS"}}, "user": {"name": "ann"}, "agent": {"id": event["agent"]["id"]},
            "observer": {"product": "Né", "version": "2.0"}, "log": {"file": {"path": path}},
            "labels": {"product_family": "Server", "root": "ProductEvents", "From": "a", "File": "x", "File_K_1": "v", "File_Part": "p",
                       "File_2": "y"}}, event)
        self.assertRegex(event["agent"]["id"], "^{?[-0-9A-F]{36}}?$")
        name = path.split("\\")[-1]
        content = (self.drive / "Agent/AgentEvents" / name).read_bytes()
        self.assertEqual(identifiers(name, content, 1, event["agent"]["id"].strip("{}")), [event["event"]["id"]])

    def test_identifiers_are_of_agent_name_place_and_bytes(self):
        guid = "6F1C0A52-3B7E-4d0a-9C44-2B7D5E1F8A90"
        for number, (agent, text) in enumerate(((guid, guid), (guid, "{" + guid + "}"), ("-", ""), ("-", "{" + guid), ("-", guid + "0"),
                                                ("-", guid.replace("F", "G")), ("-", guid.replace("-", "0")), ("-", "x" * 40_000))):
            content = REPORT.replace("{A}", text).encode()
            for folder, mark in ((f"i{number}", b""), (f"j{number}", b"\xef\xbb\xbf")):
                with self.subTest(text, folder=folder):
                    self.folder(folder, {"a#1-b.xml": mark + content})
                    output, _ = self.varnel("show", "--json", self.path(folder))
                    self.assertEqual(identifiers("a#1-b.xml", content, 2, agent),
                                     [json.loads(line)["event"]["id"] for line in output.splitlines()])

    @natively
    def test_fields_of_what_is_not_as_usual(self):
        for number, (old, new, expected) in enumerate(FIELDS):
            with self.subTest(new):
                self.folder(f"f{number}", {"a b.xml": REPORT.replace(old, new, 1) if old else REPORT})
                output, _ = self.varnel("show", "--json", self.path(f"f{number}"))
                event = json.loads(output.splitlines()[0])
                self.assertEqual(expected, {path: field(event, path) for path in expected})
                self.assertTrue(output.isascii())

    @natively
    def test_more_than_a_receiver_takes(self):
        self.folder("rich", {"a.xml": REPORT.replace("<Scan>", "<a/>" * 200_000 + "<Scan>").replace("heuristics", "x" + "é" * 20_000)})
        output, _ = self.varnel("show", "--json", self.path("rich"))
        labels = json.loads(output.splitlines()[0])["labels"]
        self.assertEqual(900, len(labels))
        self.assertIn("a_800", labels)
        self.assertRegex(labels["left_out"], "^labels: 199[0-9]{3}, cut texts: 1$")
        self.assertEqual("x" + "é" * 16_382, labels["Engine"])
        # Each event repeats what stands beside it.
        self.folder("repeated", {"a.xml": REPORT.replace("<Scan>", ("<x>" + "x" * 30_000 + "</x>") * 50 + "<Scan>", 1)})
        output, _ = self.varnel("show", "--json", self.path("repeated"))
        self.assertGreater(400_000, max(map(len, output.splitlines())))

    @natively
    def test_names_that_are_longer_in_json(self):
        for count, left_out in ((3, None), (4, "labels: 1"), (5, "labels: 2"), (6, "labels: 3")):
            with self.subTest(count):
                names = "".join(f"<{'é' * 16_000}{i}/>" for i in range(count))
                text = HEAD.replace("<MachineInfo/>", f"<MachineInfo><t>{'x' * 30_000}</t>{names}</MachineInfo>")
                self.folder(f"names{count}", {"a.xml": text + ">" + EVENT + "</S></R>"})
                output, _ = self.varnel("show", "--json", self.path(f"names{count}"))
                self.assertGreaterEqual(384 * 1024, len(output.rstrip("\n")))
                self.assertEqual(left_out, json.loads(output)["labels"].get("left_out"))

    @natively
    def test_no_file_becomes_more_than_ten_times_as_much(self):
        self.folder("g" * 200, {f"{number}.xml": text for number, (text, _) in enumerate(GREEDY.values())})
        for number, (name, (text, isShort)) in enumerate(GREEDY.items()):
            most = 10 * len(text.encode()) + 1024 * 1024
            path = self.path("g" * 200 + f"/{number}.xml")
            for form in ("--json", "--tree", f"--html={self.path('page.html')}", None):
                with self.subTest(name, form=form):
                    output, _ = self.varnel("show", path, *filter(None, [form]))
                    page = self.drive / "page.html"
                    self.assertGreater(most, len(output.encode()) + (page.stat().st_size if page.exists() else 0))
                    page.unlink(missing_ok=True)
                if form == "--json":
                    labels = [json.loads(line)["labels"] for line in output.splitlines()]
                    self.assertEqual(isShort, "left_out" in labels[0], name)
                    count = len(re.findall("<EventID", text))
                    left_out = sum(int(number) for label in labels for number in re.findall("events before this one: ([0-9]+)", label.get("left_out", "")))
                    self.assertEqual(count, len(labels) + left_out, name)
                elif form == "--tree" and name == "depth":
                    self.assertIn("lines left out: too long for a file of this size", output)

    @natively
    def test_what_cannot_be_seen_is_shown(self):
        marks = "a" + "\u0301" * 2 + "b" + "\u0e49" * 50
        unseen = "\u200b\u202e\u2066\u061c\ufeff\U000e0041\ufe0f\u2028"
        self.folder("unseen", {"a.xml": REPORT.replace("First", "Fi\u200crst").replace(">on access<", f">{unseen}{marks}<")})
        shown = "\\u{200b}\\u{202e}\\u{2066}\\u{61c}\\u{feff}\\u{e0041}\\u{fe0f}\\u{2028}a\u0301\u0301b\u0e49\u0e49" + "\\u{e49}" * 48
        self.assertIn("Scan: " + shown, self.varnel("show", "--tree", self.path("unseen"))[0])
        self.assertIn("Fi\\u{200c}rst ", self.varnel("show", self.path("unseen"))[0])
        self.varnel("show", "--html", self.path("unseen.html"), self.path("unseen"))
        page = (self.drive / "unseen.html").read_text(encoding="utf-8")
        event = json.loads(re.search('id="data">(.*?)</script>', page, re.DOTALL).group(1))[0]
        self.assertEqual((shown, "Fi\\u{200c}rst"), (event["labels"]["Scan"], event["event"]["action"]))
        event = json.loads(self.varnel("show", "--json", self.path("unseen"))[0].splitlines()[0])
        self.assertEqual((unseen + marks, "Fi\u200crst"), (event["labels"]["Scan"], event["event"]["action"]))

    def test_list_and_tree(self):
        self.folder("Liste é", {"2.xml": REPORT.replace("First", "Né").replace(">on access<", ">\u202eturned " + "x" * 300 + "<"),
                                "1.txt": REPORT})
        output, _ = self.varnel("show", self.path("Liste é"))
        self.assertEqual(["2024-03-07T09:05:03   3   1024  Né                        Name 1.2                  2.xml",
                          "0000-00-00T00:00:00   0     -5  Second                    Name 1.2                  2.xml",
                          "2024-03-07T09:05:03   3   1024  First                     Name 1.2                  1.txt"], output.splitlines()[:3])
        output, _ = self.varnel("show", "--tree", self.path("Liste é/2.xml"))
        self.assertIn(self.path("Liste é/2.xml") + '\n  Root\n    MachineInfo Site="1" Room="2"\n', output)
        self.assertIn('        File Action="quarantined" Size="0": C:\\a.exe\n          Part: text\n            Inner\n', output)
        self.assertRegex(output, r"Scan: \\u\{202e\}turned x{192}\.\.\. \(308 characters\)\n")

    def test_other_files_are_passed_over(self):
        self.folder("mixed", {"cut.xml": REPORT[:300], "empty.xml": "", "picture.png": b"\x89PNG\n", "settings.xml": "<Settings/>",
                              "dtd.xml": '<!DOCTYPE Root [<!ENTITY a "b">]>' + REPORT, "right.xml": REPORT, "esc.xml": b"<a>\x1b[2J</a>"})
        output, errors = self.varnel("show", self.path("mixed"), status=1)
        self.assertEqual(2, len(output.splitlines()))
        self.assertEqual([f"varnel: {self.path('mixed/' + name)}: {words}" for name, words in (
            ("picture.png", "not XML"), ("settings.xml", "not an event document"),
            ("dtd.xml", "a document type; event documents have none"),
            ("esc.xml", "a control character, which XML does not allow"))], errors.splitlines())
        missing = self.path("missing")
        for arguments, status, words in (([missing], 2, missing + ": "), ([self.path("mixed/cut.xml")], 1, "not finished"),
                                         (["--tree", "--json"], 2, "--tree"), (["--empty"], 2, "--html")):
            output, errors = self.varnel("show", *arguments, status=status)
            self.assertEqual("", output)
            self.assertIn(words, errors)
            self.assertEqual(1, len(errors.splitlines()), errors)

    def test_page_takes_the_place_of_a_link_and_of_nothing_else(self):
        folder = self.folder("paged", {"a.xml": REPORT})
        kept = folder / "kept.txt"
        kept.write_text("mine")
        os.link(kept, folder / "hard.html")
        os.symlink(kept, folder / "link.html")
        for name in ("dangling.html", "new.html.1.new"):
            os.symlink(folder / "missing", folder / name)
        for name in ("new.html", "hard.html", "link.html", "dangling.html", "hard.html"):
            self.varnel("show", "--html", self.path(f"paged/{name}"), self.path("paged/a.xml"))
            self.assertIn("</html>", (folder / name).read_text(encoding="utf-8"), name)
            self.assertFalse((folder / name).is_symlink(), name)
        self.assertEqual("mine", kept.read_text())
        self.assertFalse((folder / "missing").exists())
        (folder / "no file.html").mkdir()
        names = sorted(os.listdir(folder))
        for name in ("no file.html", "no folder/a.html"):
            _, errors = self.varnel("show", "--html", self.path(f"paged/{name}"), self.path("paged/a.xml"), status=2)
            self.assertIn("the page cannot be written", errors)
        self.assertEqual(names, sorted(os.listdir(folder)))

    def test_follow(self):
        folder = self.folder("followed", {"old.xml": REPORT})
        program = self.launch("show", "--follow", self.path("followed"), stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        lines = queue.Queue()
        threading.Thread(target=lambda: [lines.put(line.decode()) for line in program.stdout], daemon=True).start()

        def shown(name):
            for event in ("1024", "-5"):
                line = lines.get(timeout=20)
                self.assertIn(f" {event} ", line)
                self.assertTrue(line.endswith(name + "\n"), line)

        shown("old.xml")
        (folder / "half.xml").write_text(REPORT[:500])
        (folder / "broken.xml").write_text("<a></b>")
        (folder / "next.xml").write_text(REPORT)
        shown("next.xml")
        (folder / "half.xml").write_text(REPORT)
        shown("half.xml")
        (folder / "old.xml").unlink()
        (folder / "later.xml").write_text(REPORT)
        shown("later.xml")  # so it has looked, and found the old one gone
        (folder / "old.xml").write_text(REPORT)  # another file of that name
        shown("old.xml")
        self.assertTrue(lines.empty())
        self.assertIsNone(program.poll())
        program.terminate()
        self.assertEqual(f"varnel: {self.path('followed/broken.xml')}: </b> instead of </a>",
                         program.communicate(timeout=20)[1].strip().replace(b"\r", b"").decode())

    def test_follow_continues_where_its_state_ends(self):
        folder = self.folder("resumed", {"a.xml": REPORT, "b.xml": REPORT.replace("First", "Other")})
        state = ["--state", self.path("resumed.state")]

        def shown(lines, records):
            """The files whose events the follower prints, and its errors, when it is killed after that many records."""
            program = self.launch("show", "--json", "--follow", self.path("resumed"), *state, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            names = [re.split(r"[\\/]", json.loads(program.stdout.readline())["log"]["file"]["path"])[-1] for _ in range(lines)]
            until = time.monotonic() + 20
            while (self.drive / "resumed.state").read_bytes().count(b"\nf ") < records and time.monotonic() < until:
                time.sleep(0.02)
            self.assertIn("in use by another varnel show", self.varnel("show", "--follow", self.path("resumed"), *state, status=2)[1])
            program.kill()
            output, errors = program.communicate()
            self.assertEqual(b"", output)
            return names, errors.decode().strip()

        self.assertEqual((["a.xml"] * 2 + ["b.xml"] * 2, ""), shown(4, 2))
        (folder / "a.xml").write_text(REPORT.replace("First", "Else"))
        (folder / "broken.xml").write_text("broken")
        self.assertEqual((["a.xml"] * 2, f"varnel: {self.path('resumed/broken.xml')}: not XML"), shown(2, 4))
        (folder / "c.xml").write_text(REPORT)
        self.assertEqual((["c.xml"] * 2, ""), shown(2, 4))
        self.assertIn("--follow", self.varnel("show", self.path("resumed"), *state, status=2)[1])

    def test_output_that_cannot_be_written_is_a_failure(self):
        self.folder("full", {"a.xml": REPORT})
        for arguments in ([], ["--follow"]):
            with open("/dev/full", "w") as full:
                program = self.launch("show", self.path("full"), *arguments, stdout=full, stderr=subprocess.PIPE)
                errors = program.communicate(timeout=60)[1]
            self.assertEqual(2, program.returncode)
            self.assertIn(b"the output cannot be written", errors)

    @windows_only
    def test_folder_that_cannot_be_looked_at_is_a_failure(self):
        self.prefix.run("reg", "add", AGENT, "/v", "Data Path", "/d", "C:\\a|b\\", "/f")
        self.addCleanup(self.prefix.run, "reg", "add", AGENT, "/v", "Data Path", "/d", "C:\\Agent\\", "/f")
        _, errors = self.varnel("show", status=2)
        self.assertIn("C:\\a|b\\AgentEvents: ", errors)

    def test_follow_ends_with_its_reader(self):
        folder = self.folder("closing", {"old.xml": REPORT})
        program = self.launch("show", "--follow", self.path("closing"), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        program.stdout.readline()
        program.stdout.close()
        (folder / "new.xml").write_text(REPORT)
        self.assertEqual(0, program.wait(timeout=20))


if __name__ == "__main__":
    unittest.main()
