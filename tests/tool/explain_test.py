#!/usr/bin/python3
"""varnel explain: its words and statuses, and that a report fares as it says. tests/tool/prediction_test.cpp looks at
many more settings."""
import json
import re
import unittest

from tool import DLL, NATIVE, ROOT, ToolTest, natively, windows_only
from wine import AGENT, FACTS

EVENT = ["--software", "EXAMPLE__1000", "--event", "7", "--severity", "3", "--own-dll"]
SERVER = ["--software", "ORBASRVR_3500", *EVENT[2:]]
ROW = re.compile(r"^\| (0x[0-9A-F]{8})[^|]*(?: \| `([A-Z_]+)`)? \| ([^|]+) \| ([^|]+) \|$", re.M)


class Explain(ToolTest):
    PREFIX = "tool_explain"

    def set(self, name, kind, value):
        self.prefix.run("reg", "add", AGENT, "/v", name, "/t", kind, "/d", value, "/f")

    @natively
    def test_codes_have_the_words_of_the_integration_page(self):
        rows = ROW.findall((ROOT / "docs/integration.md").read_text(encoding="utf-8"))
        self.assertEqual(23, len(rows))
        known = {row[0]: row for row in reversed(rows)}  # of two tables the first one counts, which is varnel.h's
        for code, name, meaning, remedy in known.values():
            words = json.loads(self.varnel("explain", "--json", "--code", code)[0])
            self.assertTrue(words["name"])
            self.assertEqual([code, name or words["name"], meaning, remedy], list(words.values()))

    def test_codes_in_every_form(self):
        too_large = self.varnel("explain", "--code", "0xFFFFFFC9")[0]
        self.assertRegex(too_large, r"^result +0xFFFFFFC9 VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN\nmeaning +the report is too large.*\n"
                                    r"what to do +Put fewer .*\n$")
        for code in "-55", "4294967241", "0XffffffC9":
            self.assertEqual(too_large, self.varnel("explain", "--code", code)[0])
        for code, status, words in (("0", 0, "0x00000000 S_OK\nmeaning +the call succeeded$"), ("1", 1, "0x00000001\nmeaning +the call succeeded$"),
                                    ("-1", 1, "0xFFFFFFFF\nmeaning +the call failed\nwhat to do +Run varnel trace")):
            self.assertRegex(self.varnel("explain", "--code", code, status=status)[0].strip(), "^result +" + words)

    def test_what_cannot_be_explained_gets_one_line(self):
        for arguments, words in (
                ([], "explain without --code" if NATIVE else "pass --software, --event and --severity, or --code"),
                (EVENT[:4], "on Windows only" if NATIVE else "pass --software"),
                (["--code", "ffffffc9"], "ffffffc9: not a result; pass a number like"),
                (["--code", "0x-5"], "a number like"),
                (["--code", "-2147483649"], "a number like"),
                (["--code", "4294967296"], "a number like"),
                (["--code", "\x1b[2J"], r"\u{1b}[2J: not a result; pass a number like"),
                (["--code", "-5", "--size", "1"], "--code excludes --size"),
                ([*EVENT, "--size", "-1"], "--size: Value -1 not in range 0 to 4294967295"),
                ([*EVENT[:2], "--event", "2147483648", "--severity", "1"], "--event"),
                ([*EVENT, "\x1b"], r"\u{1b}")):
            output, errors = self.varnel("explain", *arguments, status=2)
            self.assertEqual("", output)
            self.assertIn(words, errors)
            self.assertRegex(errors, r"\Avarnel: [^\n\x1b]*\n\Z")

    @windows_only
    def test_rules_are_told_in_their_order_and_nothing_is_written(self):
        events = self.prefix.events()
        output, _ = self.varnel("explain", *SERVER, "--managed-only")
        self.assertEqual([
            "Initialize3 managed yes", "Initialize3 filter, event 0 not disabled", "CreateEventElement filter, event 7 not disabled",
            "CreateEventElement trigger policy not a trigger event", "Save managed yes", "Save software identifier the server's",
            r"Save EventsPath C:\Server", "Save save mutex free", r"Save folder C:\Server is created", "Save size limit 500 is below 8912896", "",
            "decided by Save, size limit", "result 0x00000000 S_OK", "meaning the call succeeded", "log line at level 5 none",
            r"file C:\Server\<GUID>.xml",
            "not checked whether the registered DLL loads; free room on the disk; the self-protection service; the 32-bit registration"], [" ".join(line.split()) for line in output.splitlines()])
        self.assertEqual(events, self.prefix.events())
        self.assertFalse((self.prefix.drive / "Server").exists())

    @windows_only
    def test_registration_comes_first(self):
        key = r"HKLM\SOFTWARE\Classes\CLSID" + "\\" + FACTS.classes[0].guid + r"\InprocServer32"
        self.addCleanup(self.prefix.run, "reg", "delete", key, "/f")
        for file, status, code, finding in ((None, 1, "0x80040154", "not registered for 64-bit"), (r"C:\gone.dll", 1, "0x8007007E", r"C:\gone.dll"),
                                            (DLL.replace("/", "\\"), 0, "0x00000000", "varnel.dll")):
            if file:
                self.prefix.run("reg", "add", key, "/ve", "/d", file, "/f")
            answer = json.loads(self.varnel("explain", *EVENT[:-1], "--json", status=status)[0])
            self.assertEqual(code, answer["result"]["code"])
            self.assertEqual("registration", answer["rules"][0]["rule"])
            self.assertNotIn("width", json.dumps(answer))
            self.assertIn(finding, answer["rules"][0]["finding"])
            self.assertEqual(status == 1, "regsvr32" in answer["result"]["remedy"])

    @windows_only
    def test_a_report_fares_as_foretold(self):
        filter_file = self.prefix.drive / "Agent/data/EvtFiltr.ini"
        filter_file.parent.mkdir()
        self.prefix.run("reg", "export", AGENT, r"C:\agent.reg", "/y")
        self.addCleanup(self.prefix.run, "reg", "import", r"C:\agent.reg")
        self.addCleanup(self.prefix.run, "reg", "delete", AGENT, "/f")
        for setting, more, status, code, told, remedy in (
                ((), [], 0, "0x00000000", r"C:\Agent\AgentEvents\<time>.xml", ""),
                (("AgPlcyEnableEventTrigger", "REG_SZ", "1"), [], 0, "0x00000000", r"C:\Agent\AgentEvents\<time>.xml", ""),
                (("AgPlcyEventTriggerThreshold", "REG_SZ", "3"), [], 0, "0x00000000", r"C:\Agent\AgentEvents\<time>.txml", ""),
                (("Data Path", "REG_SZ", "C:\\A\x7f\\"), [], 1, "0xFFFFFFD7", "folder", "Create this folder"),
                (("Data Path", "REG_SZ", "x" * 260), [], 1, "0x80004005", "Data Path", 'Set "Data Path" to a full path'),
                (("Data Path", "REG_SZ", "C:\\Agent\\"), [], 1, "0xFFFFF704", "filter, event 7", "Remove 7 from DisabledEvent"),
                (("Brenn Size", "REG_DWORD", "9"), [], 1, "0xFFFFFFC9", "size limit", 'set "Brenn Size" to more than 500'),
                (("AgentMode", "REG_DWORD", "0"), [], 1, "0x00000000", "managed", "Enrol the agent"),
                ((), ["--managed-only"], 1, "0xFFFFF703", "managed", "Enrol the agent")):
            if setting:
                self.set(*setting)
            filter_file.write_text("DisabledEvent=7;" if told.startswith("filter") else "-", encoding="ascii")
            output, _ = self.varnel("explain", *EVENT, "--json", *more, status=status)
            self.assertTrue(output.isascii() and "\x7f" not in output, "a terminal may obey the rest")
            prediction = json.loads(output)
            self.assertEqual(code, prediction["result"]["code"])
            self.assertIn(remedy, prediction["result"]["remedy"])
            self.assertEqual(bool(remedy), bool(prediction["result"]["remedy"]))
            written = prediction["folder"] + "\\" + prediction["file"]
            self.assertEqual(told, written if prediction["written"] else prediction["rules"][-1]["rule"])
            failed = code != "0x00000000"
            output, errors = self.varnel("send", "--software", "EXAMPLE__1000", "--id", "7", "--severity", "3", "--dll", DLL,
                                         *more, status=2 if failed else status)
            self.assertEqual(told if prediction["written"] else "", re.sub(r"\d{21,22}[0-9A-F]{8}", "<time>", output.strip()))
            self.assertIn(f"({code})" if failed else "", errors)
            self.assertNotIn("\x7f", errors, "what the library logs is printable, too")


if __name__ == "__main__":
    unittest.main()
