#!/usr/bin/python3
"""The selection of events: random queries against a model, in each form that shows events; totals; wildcards."""
import collections
import csv
import io
import json
import os
import random
import re
import unittest

from tool import ToolTest, natively
import selection_model as model

QUERIES = 200 if os.environ.get("VARNEL_SOAK") else 60
MACHINE = 18  # columns of the list's machine
# Values that cannot be understood, and a part of the message.
UNCLEAR = (("since", "soon", "not a time"), ("until", "2026-02-30", "not a time"), ("since", "2026-11-22T10", "not a time"),
           ("since", "2026-11-22T10:00.5", "not a time"), ("since", "2026-11-22T10:00:00.", "not a time"),
           ("since", "h", "not a time"), ("since", "1234567890s", "not a time"), ("until", "", "not a time"),
           ("severity", "high", "not a number or a range"), ("severity", "..", "not a number"), ("id", "3..2", "not a number"),
           ("id", "3...4", "not a number"), ("id", "12345678901", "not a number"), ("id", "+3", "not a number"),
           ("where", "Name", "not NAME=TEXT"), ("where", "=x", "not NAME=TEXT"), ("last", "0", "--last"), ("last", "x", "--last"))


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
        self.assertGreater(found, QUERIES // 4)


if __name__ == "__main__":
    unittest.main()
