#!/usr/bin/python3
"""varnel compare: planted differences are found, and nothing else."""
import random
import re
import unittest
import xml.sax.saxutils

from tool import ToolTest, natively

ROW = re.compile(r"(only|more) in the (first|second) +(\d+) +(\d+)  +(\S+)  (\S+?)(?:  (\S+)=(.*))?$")


class Side:
    """Event files of one side: events as (identifier, name, attributes)."""
    def __init__(self):
        self.events = []

    def files(self, machine):
        """Some files have several events."""
        files, place = {}, 0
        shuffled = random.Random(1).sample(self.events, len(self.events))
        while place < len(shuffled):
            events = "".join(
                f"<{name}" + "".join(f" {key}={xml.sax.saxutils.quoteattr(value)}" for key, value in attributes) +
                f"><EventID>{number}</EventID><Severity>3</Severity><GMTTime>2024-03-07T09:05:03</GMTTime></{name}>"
                for number, name, attributes in shuffled[place:place + 1 + place % 9])
            files[f"{place}.xml"] = (f"<R><MachineInfo><MachineName>{machine}</MachineName></MachineInfo>"
                                     f'<P ProductName="N" ProductVersion="1" ProductFamily="F">{events}</P></R>')
            place += 1 + place % 9
        return files


def plant(chosen, sides):
    """The rows of 50 differences, which are planted with 10 that are not large enough. The sides are alike before."""
    expected = set()
    for number in range(60):
        how = ("only event", "more events", "only value", "more values")[number % 4] if number < 50 else "three times"
        place = chosen.randrange(2)
        kind = (str(2_000 + number), f"Planted{number}")
        counts = [0, 0]
        label = None
        if how == "only event":
            counts[place] = chosen.randrange(1, 9)
        else:
            counts = [10, 10]
            counts[place] = 30 if how == "three times" else 31
        if "value" in how:
            label = ("Engine", f"value {number}")
            if how == "only value":
                counts[1 - place], counts[place] = 0, 2
        for side, count in zip(sides, counts):
            side.events += [(*kind, [label or ("Engine", "usual")])] * count
        if label:  # so that the kind is no difference
            for side in sides:
                side.events += [(*kind, [("Engine", "usual")])] * 100
        if how != "three times":
            where = ("first", "second")[place]
            expected.add((how.split()[0], where, str(counts[0]), str(counts[1]), *kind, *(label or (None, None))))
    return expected


class Compare(ToolTest):
    PREFIX = "tool_compare"

    def usual(self, times):
        """The same events on each side, but for values that each event has for itself; `times` as many on the second."""
        sides, chosen = (Side(), Side()), random.Random(7)
        for number in range(1_000):
            event = (str(1_000 + number % 30), f"Usual{number % 30}")
            values = [("Engine", chosen.choice(("a", "b", "")))]
            for side, count in zip(sides, (1, times)):
                for _ in range(count):
                    own = [("At", f"2024-03-07T09:{number % 60:02}:{chosen.randrange(60):02}.{chosen.random()}"),
                           ("Id", f"{{{chosen.getrandbits(32):08X}-3B7E-4D0A-9C44-2B7D5E1F8A90}}"), ("Long", "x" * 300)]
                    side.events.append((*event, values + own))
        return sides

    def compare(self, name, sides, status):
        paths = [self.path(f"{name}{number}") for number in (1, 2)]
        for number, side in enumerate(sides, 1):
            self.folder(f"{name}{number}", side.files(f"PC{number}"))
        output, _ = self.varnel("compare", *paths, status=status)
        for number, side in enumerate(sides, 1):
            self.assertRegex(output, rf"{re.escape(paths[number - 1])}: {len(side.events)} events of these machines\n +{len(side.events)} .* PC{number}\n")
        return output, {match.groups() for match in map(ROW.match, output.splitlines()) if match}

    def test_planted_differences(self):
        sides = self.usual(1)
        expected = plant(random.Random(24), sides)
        output, found = self.compare("planted", sides, 1)
        self.assertEqual(expected, found)
        self.assertEqual(50, len(found))
        self.assertIn("\n50 differences; ", output)
        for label in ("At", "Id"):
            self.assertEqual(30, output.count(f"  {label}=*\n"))

    @natively
    def test_more_events_of_each_kind_are_no_difference(self):
        output, found = self.compare("long", self.usual(5), 0)
        self.assertEqual(set(), found)
        self.assertIn("the second has 5 times as many", output)

    @natively
    def test_more_than_there_is_room_for(self):
        events = "".join(f"<E{i}><EventID>1</EventID></E{i}>" for i in range(100_001))
        self.folder("wide", {"a.xml": f'<R><MachineInfo/><P ProductName="N">{events}</P></R>'})
        _, errors = self.varnel("compare", self.path("wide"), self.path("wide"), status=1)
        self.assertIn("only the first ones were compared", errors)

    def test_what_cannot_be_compared(self):
        self.folder("some", {"a.xml": next(iter(self.usual(1)[0].files("PC1").values()))})
        for arguments, words in (((self.path("some"), self.path("missing")), "missing: "),
                                 ((self.path("some"), self.path("some/*.txt")), "no file matches"),
                                 ((self.path("some"), self.path("some"), "--id", "7"), "so nothing was compared")):
            self.assertIn(words, self.varnel("compare", *arguments, status=2)[1])


if __name__ == "__main__":
    unittest.main()
