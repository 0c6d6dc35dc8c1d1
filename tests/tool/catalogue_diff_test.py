#!/usr/bin/python3
"""varnel catalogue diff: a case for each rule, and on random changes the verdict of a compiler and of the schemas."""
import concurrent.futures
import json
import os
import re
import subprocess
import sys
import unittest

import jsonschema

from tool import ROOT, ToolTest, natively

sys.path.append(str(ROOT / "tests/support"))
from catalogue_changes import Caller, Changed, Files  # noqa: E402 (it needs the folder above)
from random_catalogue import RandomCatalogue  # noqa: E402

COUNT = 500 if os.environ.get("VARNEL_SOAK") else 20
COMPILER = "x86_64-w64-mingw32-g++-posix"
INCLUDES = [f"-I{ROOT}/include", f"-I{os.environ.get('VARNEL_CONTRACT', ROOT / 'build/mingw-x64/contract')}"]
CATALOGUE = """catalogue = 1
[product]
software_id = "ACME____1000"
root = "AcmeEvents"
element = "AcmeSoftware"
name = "Acme Guard"
family = "Endpoint"
[types.Verdict]
values = ["clean", "deleted"]
text = "A verdict."
[[event]]
name = "Found"
id = 1024
severity = 3
text = "Found."
[[event.attribute]]
name = "Engine"
type = "text"
required = true
text = "Engine."
[[event.attribute]]
name = "Score"
type = "integer"
text = "Score."
[[event.child]]
name = "File"
type = "path"
many = true
text = "File."
[[event.child.attribute]]
name = "Action"
type = "Verdict"
text = "Action."
[[event]]
name = "Finished"
id = 1025
severity = 1
text = "Finished."
"""
OPTIONAL = '[[event.attribute]]\nname = "Rule"\ntype = "text"\ntext = "Rule."\n'
# Replacements, and the rules that apply, in their order.
CASES = (
    ([], []),
    ([("ACME____1000", "ACME____1001")], ["POLICY: software identifier changed"]),
    ([("Endpoint", "Server")], ["FILES: product changed"]),
    ([('"Finished"', '"Ended"')], ["FILES: event gone", "POLICY: identifier of another event", "DOCS: added", "SOURCE: class gone"]),
    ([("1025", "1026")], ["FILES, POLICY: identifier changed"]),
    ([("severity = 1", "severity = 2")], ["FILES, POLICY: severity changed"]),
    ([('"Score"', '"score"')], ["FILES: attribute or child gone", "DOCS: added"]),
    ([('[[event.attribute]]\nname = "Score"', OPTIONAL + '[[event.attribute]]\nname = "Score"')], ["DOCS: added"]),
    ([('[[event.attribute]]\nname = "Score"', OPTIONAL + 'required = true\n[[event.attribute]]\nname = "Score"')],
     ["SOURCE: constructor changed", "FILES: now required"]),
    ([('required = true\ntext = "Engine."', 'text = "Engine."')], ["SOURCE: constructor changed", "DOCS: looser"]),
    ([('"integer"', '"text"')], ["SOURCE: setter changed", "DOCS: described otherwise"]),
    ([('"integer"', '"ip"')], ["SOURCE: setter changed", "FILES: type narrower", "DOCS: described otherwise"]),
    ([("many = true\n", "")], ["SOURCE: setter changed", "FILES: only once"]),
    ([('"clean", "deleted"', '"Clean", "deleted"')], ["FILES: value gone", "DOCS: added"]),
    ([('"clean", "deleted"', '"clean"')], ["SOURCE: enumerator gone", "FILES: value gone"]),
    ([('"clean", "deleted"', '"deleted", "clean"')], ["DOCS: order changed"]),
    ([('text = "Engine."', 'text = "The engine."')], ["DOCS: described otherwise"]),
)


class Oracle:
    """Finds out by compiling and validating what a change breaks."""

    def __init__(self, folder):
        self.folder = folder
        header = folder / "precompiled.hpp"
        header.write_text("#include <array>\n#include <windows.h>\n#include <varnel/catalogue.hpp>\n", encoding="utf-8")
        run = subprocess.run(self.compile("-x", "c++-header", header, "-o", f"{header}.gch"), capture_output=True, text=True, check=False)
        assert run.returncode == 0, run.stderr

    @staticmethod
    def compile(*arguments):
        return [COMPILER, "-std=c++17", "-DUNICODE", "-DNOMINMAX", "-DWIN32_LEAN_AND_MEAN", *INCLUDES, *arguments]

    def compiles(self, generated, code, name):
        source = generated / f"{name}.cpp"
        source.write_text(code, encoding="utf-8")
        run = subprocess.run(self.compile("-fsyntax-only", "-include", self.folder / "precompiled.hpp", f"-I{generated}", source),
                             capture_output=True, text=True, check=False)
        assert "catalogue.hpp: No such" not in run.stderr and run.returncode in (0, 1), run.stderr
        return run.returncode == 0

    @staticmethod
    def accepts(generated, name, files, lines):
        run = subprocess.run(["xmllint", "--noout", "--relaxng", generated / f"{name}.rng", *files], capture_output=True, text=True, check=False)
        assert run.returncode in (0, 3), run.stderr
        schema = jsonschema.Draft7Validator(json.loads((generated / f"{name}.schema.json").read_text(encoding="utf-8")))
        return run.returncode == 0 and all(schema.is_valid(line) for line in lines)

    @staticmethod
    def policy(generated, name):
        """What each number means, and the severity of each event, as the header says."""
        header = (generated / f"{name}_events.hpp").read_text(encoding="utf-8-sig")
        events = re.findall(r'kName\[\] = L"(.*)";\n.* kId = (.*);\n.* kSeverity = (.*);\n', header)
        return {number: name for name, number, _ in events}, {name: rest for name, *rest in events}, \
            re.search('kSoftwareId.*', header).group()


def is_policy_broken(before, after):
    return any(before[0].get(number, name) != name for number, name in after[0].items()) or before[2] != after[2] \
        or any(before[1].get(name, facts) != facts for name, facts in after[1].items())


class Diff(ToolTest):
    PREFIX = "tool_catalogue_diff"

    def write(self, name, text):
        (self.drive / name).write_text(text, encoding="utf-8")
        return self.path(name)

    def diff(self, before, after, *options, status=None):
        return self.varnel("catalogue", "diff", self.write("old.toml", before), self.write("new.toml", after), *options, status=status)[0]

    def test_each_rule_in_its_smallest_case(self):
        for replacements, expected in CASES:
            with self.subTest(replacements):
                changed = CATALOGUE
                for old, new in replacements:
                    self.assertIn(old, changed)
                    changed = changed.replace(old, new)
                *lines, last = self.diff(CATALOGUE, changed, status=1 if expected else 0).splitlines()
                self.assertEqual(sorted(expected), sorted(re.sub(r"^.*\.toml:\d+:\d+: ([A-Z, ]+: [^:]*): .*", r"\1", line) for line in lines))
                self.assertTrue(last.startswith(f"{len(expected)} change"), last)

    def test_every_rule_has_its_row_in_the_documents(self):
        rows = re.findall(r"^\| ([a-z ]+) \| ((?:SOURCE|FILES|POLICY|DOCS)(?:, POLICY)?) \|", (ROOT / "docs/catalogue.md").read_text(encoding="utf-8"), re.MULTILINE)
        self.assertEqual(sorted({rule for _, rules in CASES for rule in rules}), sorted(f"{kinds}: {name}" for name, kinds in rows))

    def test_what_is_allowed_and_where(self):
        changed = CATALOGUE.replace('"clean", ', "").replace('"Found."', '"It was found."')
        output = self.diff(CATALOGUE, changed, "--allow", "DOCS", "--allow", "FILES", status=1)
        self.assertIn(f"{self.path('old.toml')}:9:11: FILES: value gone: Verdict: clean\n", output)
        self.assertIn(f"{self.path('new.toml')}:12:8: DOCS: described otherwise: Found: text\n", output)
        self.assertTrue(output.endswith("\n3 changes: SOURCE, FILES, DOCS; not allowed: SOURCE\n"), output)
        self.diff(CATALOGUE, changed, "--allow", "SOURCE", "--allow", "DOCS", "--allow", "FILES", status=0)
        self.diff(CATALOGUE, changed, "--allow", "NOTHING", status=2)
        self.diff(CATALOGUE, changed.replace("1025", "1024"), status=2)
        self.varnel("catalogue", "diff", self.path("old.toml"), self.path("missing.toml"), status=2)

    @natively
    def test_random_changes_against_compiler_and_schemas(self):
        oracle = Oracle(self.drive)
        per_catalogue = 10
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            rounds = pool.map(lambda seed: self.changes(oracle, seed, per_catalogue), range(COUNT // per_catalogue))
            compared = [one for made in rounds for one in made]
        for expected, verdict, *story in compared:
            with self.subTest(story):
                self.assertEqual(expected, verdict if verdict == {"DOCS"} else verdict - {"DOCS"})
        verdicts = [verdict for _, verdict, *_ in compared]
        self.assertEqual(COUNT, len(verdicts))
        counts = {kind: sum(kind in verdict for verdict in verdicts) for kind in ("SOURCE", "FILES", "POLICY", "DOCS")}
        print("figures: random changes", len(verdicts), counts)
        self.assertTrue(all(counts.values()), counts)

    def generate(self, folder, catalogue):
        """Writes catalogue and generated files; false if a random change has made a catalogue with faults."""
        folder.mkdir()
        file = folder / "catalogue.toml"
        file.write_text(catalogue.toml(), encoding="utf-8")
        if "0 errors" not in self.varnel("catalogue", "check", str(file), status=None)[0]:
            return None
        self.varnel("catalogue", "generate", str(file), "--to", str(folder), "--name", catalogue.name)
        return file

    def changes(self, oracle, seed, count):
        """For some changes of one catalogue, the oracle's verdict, diff's, and how both came about."""
        base = RandomCatalogue(seed, events=5)
        old = self.drive / f"old{seed}"
        before = self.generate(old, base)
        files = [old / f"{i}.xml" for i in range(99)]
        files = [file for file, text in zip(files, Files(base).documents()) if file.write_text(text, encoding="utf-8")]
        lines = [json.loads(line) for line in self.varnel("show", "--json", *map(str, files))[0].splitlines()]
        code = Caller(base).text()
        self.assertTrue(oracle.compiles(old, code, "unchanged"), "the caller has an error of its own")
        self.assertTrue(oracle.accepts(old, base.name, files, lines), "the files have an error of their own")
        compared = []
        for attempt in range(10 * count):
            if len(compared) == count:
                break
            changed = Changed(base)
            for _ in range(base.random.choice([1, 1, 1, 2, 3])):
                changed.change()
            new = self.drive / f"new{seed}.{attempt}"
            after = self.generate(new, changed.now)
            if not after:
                continue
            expected = set()
            if not oracle.compiles(new, code, "caller"):
                expected.add("SOURCE")
            if not oracle.accepts(new, base.name, files, lines):
                expected.add("FILES")
            if is_policy_broken(oracle.policy(old, base.name), oracle.policy(new, base.name)):
                expected.add("POLICY")
            if not expected and (old / f"{base.name}.md").read_bytes() != (new / f"{base.name}.md").read_bytes():
                expected.add("DOCS")
            # The program's own check of yesterday's files finds what the schemas find.
            self.varnel("check", "--catalogue", str(after), *map(str, files), status=1 if "FILES" in expected else 0)
            output = self.varnel("catalogue", "diff", str(before), str(after), status=None)[0]
            verdict = set(re.findall("[A-Z]+", output.splitlines()[-1].partition(";")[0]))
            compared.append((expected, verdict, seed, attempt, changed.story, output))
        return compared


if __name__ == "__main__":
    unittest.main()
