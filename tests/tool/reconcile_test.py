#!/usr/bin/python3
"""varnel reconcile: what was handed over and what came out at the other end, of which some is lost, doubled, changed or foreign."""
import hashlib
import json
import random
import re
import unittest

from tool import ToolTest, natively


def line(number, shape="nested", **more):
    identifier = f"{{6F1C}}/{number}.xml#1\u20ac"
    named = {"nested": {"event": {"kind": "event", "id": identifier}}, "flat": {"event.id": identifier},
             "late": {"x": [{"event": {"id": "no"}}, {"id": "no"}], "event": {"a": {"id": "no"}, "id": identifier}}}[shape]
    return json.dumps({**named, "labels": {"id": "no", "event.id": "no"}, **more})


def receipt(lines, number=1):
    return json.dumps({"segment": f"{number:08}.jsonl", "lines": len(lines), "files": 1, "ids": [identifier(each) for each in lines],
                       "digests": [hashlib.sha256(each.encode()).hexdigest()[:16] for each in lines]})


def identifier(text):
    """As Python's parser finds it; None if there is none. Of two that are there, the command takes neither."""
    try:
        members = json.loads(text, object_pairs_hook=lambda pairs: pairs, parse_constant=lambda _: 1 / 0)
        if not isinstance(members, list) or text.lstrip()[:1] != "{":
            return None
        found = [value for name, value in members if name == "event.id"]
        for name, value in members:
            if name == "event" and isinstance(value, list):
                found += [inner[1] for inner in value if isinstance(inner, tuple) and inner[0] == "id"]
        found = [value for value in found if isinstance(value, str)]
        return found[0] if len(found) == 1 else None
    except (ValueError, ZeroDivisionError, RecursionError):
        return None


class Reconcile(ToolTest):
    PREFIX = "tool_reconcile"

    def setUp(self):
        self.lines = [line(number, shape) for number, shape in enumerate(["nested", "flat", "late"] * 4)]
        if not (self.drive / "receipts").exists():
            self.folder("receipts", {"00000002.json": receipt(self.lines[7:], 2), "00000001.json": receipt(self.lines[:7]),
                                     "00000001.jsonl": "", "0000001.json": "{}"})

    def reconcile(self, lines, *options, status=0, end="\n"):
        """The rows that are printed, by their names, and standard error."""
        output, errors = self.varnel("reconcile", self.path("receipts"), "--against", "-", *options, status=status,
                                     text="".join(each + end for each in lines))
        return dict(re.split(r"  +", row.strip(), maxsplit=1) for row in output.splitlines() if not row.startswith("  ")), errors

    def test_what_differs_is_counted_and_named(self):
        first, second = (identifier(self.lines[number]) for number in (1, 8))
        everything = {"handed over": "12 events in 2 receipts", "arrived": "12 lines", "missing": "0", "twice": "0", "foreign": "0",
                      "changed": "0", "no event.id": "0"}
        for name, lines, options, status, rows in (
                ("everything", self.lines, [], 0, {}),
                ("in any order", self.lines[::-1], [], 0, {}),
                ("missing", self.lines[:1] + self.lines[2:], [], 1, {"missing": f"1, first: {first}", "arrived": "11 lines"}),
                ("missing in both", self.lines[2:8] + self.lines[9:], [], 1,
                 {"missing": f"3, first: {identifier(self.lines[0])}", "arrived": "9 lines"}),
                ("twice", self.lines + self.lines[1:2] * 3, [], 0, {"twice": f"3, first: {first}", "arrived": "15 lines"}),
                ("foreign", [*self.lines, line(99)], [], 0, {"foreign": f"1, first: {identifier(line(99))}", "arrived": "13 lines"}),
                ("changed", [*self.lines[:8], line(8, "late", added=1), *self.lines[9:]], [], 1, {"changed": f"1, first: {second}"}),
                ("changed and whole", [*self.lines, line(8, "late", added=1)], [], 1,
                 {"changed": f"1, first: {second}", "twice": f"1, first: {second}", "arrived": "13 lines"}),
                ("rewritten", [line(number, "flat", added=1) for number in range(12)], ["--ids-only"], 0, {"changed": None})):
            with self.subTest(name):
                expected = {row: text for row, text in {**everything, **rows}.items() if text}
                self.assertEqual((expected, ""), self.reconcile(lines, *options, status=status))
        self.assertEqual(everything, self.reconcile(self.lines, end="\r\n")[0])
        self.folder("moved", {"00000002.json": receipt(self.lines[7:], 2)})  # a copy: a shipper moves it just now
        self.assertEqual(everything, self.reconcile(self.lines, self.path("moved"))[0])
        output = self.varnel("reconcile", self.path("receipts"), "--against", "-", text="\n".join(self.lines[:6]), status=1)[0]
        self.assertIn("\n  of 00000001.jsonl: 1\n  of 00000002.jsonl: 5\n", output)

    def test_lines_without_an_identifier_are_named_by_their_number(self):
        odd = ["", "{", '{"event":{"id":5}}', '{"event":{"id":"a"},"event.id":"a"}', "5", '[{"event.id":"a"}]', "[" * 100_000,
               '{"event.id":"' + "x" * (5 << 20) + '"}', '{"event.id":"\\ud800"}']
        rows, errors = self.reconcile([*odd, *self.lines])
        self.assertEqual(str(len(odd)), rows["no event.id"])
        self.assertEqual([f"varnel: standard input:{number}: " for number in range(1, 10)],
                         [re.match(r"varnel: standard input:\d+: ", error)[0] for error in errors.splitlines()])
        self.assertIn("standard input:3: a JSON object without event.id\n", errors)
        self.assertIn("standard input:8: longer than 4 MB\n", errors)

    def test_nothing_seen_is_a_failure(self):
        self.folder("bad", {"a.json": receipt(self.lines)[:-1], "b.json": receipt(self.lines).replace('"lines": 12', '"lines": 11'),
                            "c.json": receipt(self.lines).replace('"digests": ["', '"digests": ["x'), "d.json": receipt([])})
        self.folder("empty", {})
        for receipts, against, words in (("receipts", "", "standard input: no line has an event.id"),
                                         ("receipts", "{}\n", "standard input: no line has an event.id"),
                                         ("empty", self.lines[0], "the receipts name no event"),
                                         ("bad/a.json", "", "is no receipt of varnel collect"),
                                         ("bad/b.json", "", "contradicts itself"), ("bad/c.json", "", "has a digest that is not"),
                                         ("bad/d.json", self.lines[0], "the receipts name no event"), ("missing", "", "missing")):
            with self.subTest(receipts):
                output, errors = self.varnel("reconcile", self.path(receipts), "--against", "-", text=against, status=2)
                self.assertEqual("", output)
                self.assertIn(words, errors)

    @natively
    def test_mutated_lines_are_read_as_another_parser_reads_them(self):
        chance = random.Random(1)
        lines = []
        for number in range(6000):
            text = list(chance.choice(self.lines))
            for _ in range(chance.randrange(1, 4)):
                at = chance.randrange(len(text))
                text[at:at + chance.randrange(3)] = chance.choice(['"', "{", "}", "[", "]", ",", ":", "\\", "event.id", "1e9", "", "id", " "])
            lines.append("".join(text))
        rows = self.reconcile(lines, status=None)[0]
        found = [identifier(text) for text in lines]
        known = {identifier(text) for text in self.lines}
        self.assertEqual(f"{sum(each is not None for each in found)} lines", rows["arrived"])
        self.assertEqual(str(sum(each is not None and each not in known for each in found)), rows["foreign"].partition(",")[0])
        self.assertLess(100, sum(each is None for each in found))
        self.assertLess(100, sum(each is not None for each in found))


if __name__ == "__main__":
    unittest.main()
