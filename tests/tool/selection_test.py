#!/usr/bin/python3
"""The selection of events: random queries against a model, in each form that shows events; totals; wildcards."""
import collections
import csv
import io
import json
import os
import random
import re
import subprocess
import unittest

from tool import NATIVE, ROOT, ToolTest, natively
import selection_model as model

REPORT = (ROOT / "tests/schema/report.xml").read_text(encoding="utf-8")
QUERIES = 200 if os.environ.get("VARNEL_SOAK") else 60 if NATIVE else 6
MACHINE = 18  # columns of the list's machine
# Values that cannot be understood, and a part of the message.
UNCLEAR = (("since", "soon", "not a time"), ("until", "2026-02-30", "not a time"), ("since", "2026-11-22T10", "not a time"),
           ("since", "2026-11-22T10:00.5", "not a time"), ("since", "2026-11-22T10:00:00.", "not a time"),
           ("since", "h", "not a time"), ("since", "1234567890s", "not a time"), ("until", "", "not a time"),
           ("severity", "high", "not a number or a range"), ("severity", "..", "not a number"), ("id", "3..2", "not a number"),
           ("id", "3...4", "not a number"), ("id", "12345678901", "not a number"), ("id", "+3", "not a number"),
           ("where", "Name", "not NAME=TEXT"), ("where", "=x", "not NAME=TEXT"), ("last", "0", "not in range"), ("last", "x", "not in range"))


def facts(events):
    """What JSON and page say of events, in any order."""
    without = [dict(event, event=dict(event["event"], id="")) for event in events]
    return sorted(json.dumps(event, sort_keys=True) for event in without)


class Selection(ToolTest):
    PREFIX = "tool_selection"

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.random = random.Random(24)

    def show(self, *arguments, status=0):
        return self.varnel("show", *arguments, status=status)[0]

    def lines(self, *arguments):
        return self.show(*arguments).splitlines()

    def test_random_queries(self):
        for name in ("one", "two"):
            self.folder(name, {f"{name}{i}.xml": model.random_file(self.random, i) for i in range(1, 41)})
        for names in (["one"], ["one", "two"]):
            paths = [self.path(name) for name in names]
            self.check_queries(paths, [self.read(path) for path in paths])

    def read(self, path):
        """Each event of a folder, with its row of the list, without the machine, and of the CSV, in the order of the files."""
        events = [json.loads(line) for line in self.lines("--json", path)]
        table = list(csv.reader(io.StringIO(self.show("--csv", path), newline="")))
        rows = [row[MACHINE:] for row in self.lines(path)]
        self.assertEqual([len(events)] * 2, [len(rows), len(table) - 1])
        return events, {event["event"]["id"]: row for event, row in zip(events, zip(rows, table[1:]))}

    def page(self, *arguments):
        """The events of a page."""
        self.show("--html", self.path("page.html"), *arguments)
        text = (self.drive / "page.html").read_text(encoding="utf-8")
        return json.loads(re.search('id="data">(.*?)</script>', text, re.DOTALL)[1])

    def check_queries(self, paths, read):
        events, rows = sum((events for events, _ in read), []), dict(collections.ChainMap(*(rows for _, rows in read)))
        found = 0
        for number in range(QUERIES // 2):
            query = model.random_query(self.random, events)
            with self.subTest(number=number, paths=len(paths), query=query):
                arguments = *model.as_options(query), *paths
                expected = model.select(events, query, by_time=len(paths) > 1)
                found += bool(expected)
                self.assertEqual(expected, [json.loads(line) for line in self.lines("--json", *arguments)])
                identifiers = [event["event"]["id"] for event in expected]
                table = list(csv.reader(io.StringIO(self.show("--csv", *arguments), newline="")))
                self.assertEqual([rows[identifier][1] for identifier in identifiers], table[1:])
                machines = [model.field(event, "host", "name") or "" for event in expected]
                has_machines = len({model.field(event, "host", "name") for event in model.select(events, [
                    term for term in query if term[0] not in ("last", "reverse")])}) > 1
                self.assertEqual([f"{machine:{MACHINE}}" * has_machines + rows[identifier][0]
                                  for machine, identifier in zip(machines, identifiers)], self.lines(*arguments))
                self.assertEqual(f"{len(expected)}\n", self.show("--count", *arguments))
                tree, files = self.show("--tree", *arguments), collections.Counter()
                for file in re.split("^(?=[^ \n])", tree, flags=re.MULTILINE)[1:]:
                    files[file.split("\n")[0]] += file.count("\n        EventID")
                self.assertEqual(list(collections.Counter(event["log"]["file"]["path"] for event in expected).items()),
                                 list(files.items()))
                if number % 10 == 0:
                    self.assertEqual(*map(facts, (expected, self.page(*arguments))))
        self.assertGreater(found, QUERIES // 8)

    @natively
    def test_what_cannot_be_understood(self):
        self.folder("unclear", {"a.xml": REPORT})
        for name, text, words in UNCLEAR:
            with self.subTest(name, text=text):
                errors = self.varnel("show", f"--{name}", text, self.path("unclear"), status=2)[1]
                self.assertRegex(errors, f"^varnel: --{name}.*{words}")
                self.assertEqual(1, errors.count("\n"))
                if name in ("since", "until"):
                    self.assertIsNone(model.moment(text, 0))
                elif name in ("severity", "id"):
                    self.assertIsNone(model.number_range(text))
        for option in (["--reverse"], ["--last", "2"]):
            self.assertIn("--follow shows events as they come", self.varnel("show", "--follow", *option, status=2)[1])

    @natively
    def test_follow(self):
        folder = self.folder("followed", {"a.xml": REPORT})
        with self.launch("show", "--follow", "--csv", "--id", "..0", self.path("followed"), stdout=subprocess.PIPE) as program:
            def next_file():
                return program.stdout.readline().decode().rstrip().rsplit(",", 1)[-1]
            self.assertEqual(["file", self.path("followed/a.xml")], [next_file(), next_file()])
            (folder / "none.xml").write_text(REPORT.replace(">-5<", ">5<"))
            (folder / "z.xml").write_text(REPORT)
            self.assertEqual(self.path("followed/z.xml"), next_file())
            program.terminate()

    def test_totals(self):
        self.folder("many", {f"{i}.xml": REPORT.replace("heuristics", f"{i}").replace("PC1", ("=1+1", "b,\"c\"")[i % 2]) for i in range(30)})
        path = self.path("many")
        self.assertEqual(["      30   50.0 %  ##########..........  First", "      30   50.0 %  ##########..........  Second"],
                         self.lines("--top", "event", path))
        rows = self.lines("--top", "Engine", path)
        self.assertEqual((20 + 1, "      30   50.0 %  ##########..........  (none)", "      11   18.3 %  ####................  (11 other values)"),
                         (len(rows), rows[0], rows[-1]))
        self.assertEqual("Engine,events,percent", self.lines("--top", "Engine", "--csv", path)[0])
        self.assertEqual(1 + 31, len(self.lines("--top", "Engine", "--csv", path)))
        self.assertEqual('host,events,percent\n\'=1+1,30,50.0\n"b,""c""",30,50.0\n', self.show("--top", "host", "--csv", path))
        self.assertEqual(["       2  100.0 %  ####################  1024"],
                         self.lines("--top", "id", "--last", "2", "--where", "Engine=*", path))

    @natively
    def test_csv_bytes(self):
        text = REPORT.replace("<First", "<Fi-rst").replace("/First", "/Fi-rst").replace(">1024<", "> \u202e1&#10;&quot;2<")
        self.folder("bytes", {"a.xml": text.replace('"Name"', '"@Né"')})
        output = subprocess.run([*self.command, "show", "--csv", "--last=1", self.path("bytes")], env=self.environment, capture_output=True, check=True)
        self.assertEqual("time,severity,id,event,product,version,machine,file\r\n"
                         f'2024-03-07T09:05:03,3," \\u{{202e}}1\n""2",Fi-rst,\'@Né,1.2,PC1,{self.path("bytes/a.xml")}\r\n', output.stdout.decode())

    def test_wildcards(self):
        names = ("a.xml", "AB.XML", "b.txt", "c.xml")
        self.folder("wild", {name: REPORT for name in names})
        upper = [] if NATIVE else ["AB.XML"]
        for pattern, expected in (("*", names), ("*.xml", ["a.xml", *upper, "c.xml"]), ("?.xml", ["a.xml", "c.xml"]), ("a*", ["a.xml", *upper]),
                                  ("*.t?t*", ["b.txt"]), ("??.XML", ["AB.XML"])):
            shown = [line.split()[-1] for line in self.lines("--id", "1024", self.path(f"wild/{pattern}"))]
            self.assertEqual(list(expected), shown, pattern)
        self.assertIn("wild" + self.path("/")[-1] + "?: no file matches", self.varnel("show", self.path("wild/?"), status=2)[1])

    @natively
    def test_machine_column_after_what_has_been_printed(self):
        """More than the list holds back until it knows whether there is a second machine."""
        events = "<First><EventID>1</EventID></First>" * 25_000
        text = f'<R><MachineInfo><MachineName>PC1</MachineName></MachineInfo><P ProductName="{"n" * 200}" ProductVersion="">{events}</P></R>'
        self.folder("held", {"a.xml": text, "b.xml": text.replace("PC1", "PC2"), "c.xml": text})
        starts = [line[:3] for line in self.lines(self.path("held"))]
        self.assertEqual(["   "] * 25_000 + ["PC2"] * 25_000 + ["PC1"] * 25_000, starts)
        starts = [line[:3] for line in self.lines("--id", "1", "--last", "60000", self.path("held"))]
        self.assertEqual(["PC1"] * 10_000 + ["PC2"] * 25_000 + ["PC1"] * 25_000, starts)
        self.assertEqual(["c.xml"] * 3, [line.split()[-1] for line in self.lines("--last", "3", self.path("held"))])


if __name__ == "__main__":
    unittest.main()
