#!/usr/bin/python3
"""varnel send: what arrives, and what is said when nothing can."""
import json
import unittest

from tool import DLL, ToolTest

REPORT = {"softwareId": "ORBASRVR_3500", "name": "Né", "events": [
    {"name": "First", "id": -5, "severity": 2, "time": "2024-03-07T09:05:03Z", "attributes": {"Z": "<1>", "A": 2, "Yes": True},
     "children": [{"name": "Child", "text": "t", "attributes": {"K": ""}, "children": [{"name": "Below"}]}]},
    {"name": "Second"}]}


class Send(ToolTest):
    PREFIX = "tool_send"

    def read(self, output):
        """The report in the file whose path was printed."""
        path = output.strip().replace("\\", "/")
        return (self.prefix.drive / path.removeprefix("C:/")).read_text(encoding="utf-8")

    def test_report_from_the_command_line_and_from_json(self):
        output, _ = self.varnel("send", "--event", "Née", "--id", "7", "-a", "From=a=b", "-c", "What=€", "--dll", DLL)
        self.assertRegex(self.read(output), '<Née From="a=b"><EventID>7</EventID><Severity>1</Severity><GMTTime>[-0-9T:]*</GMTTime>'
                                            "<What>€</What></Née></Product></ProductEvents>$")
        output, _ = self.varnel("send", "--json", "--dll", DLL, text="\ufeff" + json.dumps(REPORT))
        self.assertIn('<Product ProductName="Né" ProductVersion="1.0" ProductFamily="Endpoint"><First Z="&lt;1&gt;" A="2" Yes="true">'
                      "<EventID>-5</EventID><Severity>2</Severity><GMTTime>2024-03-07T09:05:03</GMTTime>"
                      '<Child K="">t<Below></Below></Child></First><Second><EventID>1</EventID>', self.read(output))

    def test_what_cannot_be_sent_gets_one_line(self):
        events = self.prefix.events()
        deep = '{"events":[' + '{"name":"a","children":[' * 200 + "]}" * 200 + "]}"
        many = ",".join(f'"{"n" * 40}{i}":1' for i in range(250_000))  # the square of this would take minutes
        for arguments, text, words in (
                (["-a", "x"], None, "expected NAME=TEXT"),
                (["--event", "a b", "--dll", DLL], None, "not an XML name"),
                (["--dll", "varnel.dll"], None, "not a full path"),
                (["--json"], "{", "JSON: "),
                (["--json"], "[]", "expected an object"),
                (["--json"], '{"events":[{"id":2147483648}]}', "/events/0/id: expected a 32-bit whole number"),
                (["--json"], '{"events":[{"id":18446744073709551615}]}', "/events/0/id: expected a 32-bit whole number"),
                (["--json"], '{"events":[{"id":1e400}]}', "JSON: "),
                (["--json"], '{"events":[{"time":"2023-02-29T00:00:00Z"}]}', "/events/0/time: expected a time like"),
                (["--json"], '{"evnts\\u001b[2J":1}', "evnts\\u{1b}[2J: unknown name"),
                (["--json"], deep, "nested too deeply"),
                (["--json"], '{"events":[{"attributes":{' + many + '},"idd":1}]}', "/events/0/idd: unknown name"),
                (["--json"], '{"events":[{"attributes":{"a":1,"a":2}}]}', "/events/0/attributes/a: given twice"),
                (["--json"], '{"events":[]}', "JSON, /events: expected at least one event"),
                ([], None, "(0x80040154)")):  # as products get it: nothing is registered, and a DLL beside the program does not count
            output, errors = self.varnel("send", *arguments, status=2, text=text)
            self.assertEqual("", output)
            self.assertIn(words, errors)
            self.assertEqual(1, sum(line.startswith("varnel: ") for line in errors.splitlines()), errors)
        self.assertEqual(events, self.prefix.events())


if __name__ == "__main__":
    unittest.main()
