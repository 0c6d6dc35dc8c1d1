#!/usr/bin/python3
"""varnel catalogue: the faults that check finds and where, and what generate makes of a catalogue."""
import json
import os
import random
import re
import subprocess
import unittest

import jsonschema

from tool import NATIVE, ROOT, ToolTest, natively

LONG = "VARNEL_SOAK" in os.environ
GOOD = re.search(r"```toml\n(.*?)```", (ROOT / "docs/catalogue.md").read_text(encoding="utf-8"), re.S).group(1)
SAMPLES = sorted((ROOT / "samples/catalogues").glob("*.toml"))
# What stands in GOOD, what takes its place, and what is said, with the line where it is said; 0: the line of the change.
FAULTS = {
    "nothing": (GOOD, "", 1, "a catalogue has no catalogue: add catalogue = 1"),
    "another version": ("catalogue = 1", "catalogue = 2", 0, "this program reads catalogues of version 1"),
    "not TOML": ("[product]", "[product", 0, "not TOML: "),
    "not UTF-8": ('name = "Acme', b'name = "\xff', 0, "not TOML: "),
    "zero": ('name = "Acme', 'name = "\0', 0, "not TOML: "),
    "foreign letter outside of a text": ('name = "Acme', 'é = "', 0, "not TOML: "),
    "no product": ("[product]", "[produkt]", 1, "the product is missing"),
    "unknown table": ("[product]", "[produkt]", 0, "unknown key produkt: the keys of a catalogue are catalogue, product, types, event"),
    "unknown key": ('since = "1.0"', 'sense = "1.0"', 0, "unknown key sense: the keys of an event are name, id"),
    "key twice": ("severity = 3", "severity = 3\nseverity = 3", 18, "cannot redefine"),
    "missing key": ("severity = 3\n", "", 14, "an event has no severity: add severity = 3"),
    "text for a number": ("severity = 3", 'severity = "3"', 0, "severity must be a whole number"),
    "number for a text": ('name = "Acme Guard"', "name = 7", 0, "name must be a text in quotation marks"),
    "number for a flag": ("many = true", "many = 1", 0, "many must be true or false"),
    "empty identifier": ("ACME____1000", "", 0, "software_id must not be empty"),
    "long identifier": ("ACME____1000", "A" * 260, 0, "software_id must have at most 259 characters"),
    "line end": ('family = "Endpoint"', r'family = "End\npoint"', 0, "family must be one line"),
    "identifier 0": ("id = 1024", "id = 0", 0, "id must be a 32-bit number other than 0"),
    "large severity": ("severity = 3", "severity = 2147483648", 0, "severity must be from -2147483648 to 2147483647"),
    "name with a blank": ("MalwareDetected", "Malware Detected", 0, "XML does not allow this name"),
    "name with a colon": ('"Engine"', '"a:b"', 0, "XML does not allow this name"),
    "long name": ('"Engine"', f'"{"n" * 101}"', 0, "XML does not allow this name"),
    "name without a letter": ('"Engine"', '"é_"', 0, "generated code has no name for this"),
    "library's event": ("MalwareDetected", "GMTTime", 0, "GMTTime is an element that the library writes itself"),
    "library's child": ('name = "File"', 'name = "Severity"', 0, "Severity is an element that the library writes itself"),
    "library's root": ('"AcmeSoftware"', '"MachineInfo"', 0, "MachineInfo is an element that the library writes itself"),
    "unknown type": ('type = "text"', 'type = "txt"', 0, r"unknown type txt: use text, integer, .*, or declare \[types.txt\]"),
    "unknown sensitivity": ('"personal"', '"private"', 0, "sensitivity must be none, personal or secret"),
    "built-in type": ("[types.Verdict]", "[types.text]\nvalues = ['a']\n[types.Verdict]", 10, "text is a built-in type"),
    "no values": ('values = ["clean", "quarantined", "deleted"]', "values = []", 0, "a type needs at least one value"),
    "value twice": ('"deleted"', '"clean"', 0, "the name clean is there twice"),
    "values alike": ('"deleted"', '"CLEAN", "Clean!"', 0, "both Clean: rename one"),
    "value with blanks": ('"deleted"', '" deleted"', 0, "one line without blanks at its ends"),
    "type that is an event": ("[types.Verdict]", "[types.MalwareDetected]\nvalues = ['a']\n[types.Verdict]", 17, "the name MalwareDetected is there twice"),
    "attribute and child": ('"Engine"', '"File"', 28, "the name File is there twice"),
    "names alike": ('name = "Engine"', 'name = "file"', 28, "generated code calls File and file both File: rename one"),
    "method": ('name = "File"', 'name = "AddTo"', 0, "generated code uses the name AddTo itself"),
    "example": ('type = "path"', 'type = "ip"\nexample = "1.2.3.04"', 30, "example must be an address like 192.0.2.7"),
    "example without a type": ('type = "path"', 'example = "x"', 0, "a child without a type has no text"),
    "deep": ("  [[event.child.attribute]]", "".join("[[event" + ".child" * level + ']]\nname = "C"\n' for level in range(2, 19)) +
             "[[event.child.attribute]]", 65, "children are nested more than 16 levels deep"),
    "dots": ("[product]", "[" + "a." * 3_000 + "b]\n[product]", 0, "not TOML that a catalogue needs: more than 32 dots in a line"),
    "brackets": ("catalogue = 1", "catalogue = " + "[" * 100_000, 0, "not TOML: "),
}
WARNINGS = {
    "event without text": ('text = "A file was found to be malicious."\n', "", 14, "the event has no text"),
    "unused type": ('type = "Verdict"', 'type = "text"', 10, "no attribute or child has the type Verdict"),
}
# Wrong lines of a sample, by regular expression: what takes their place, and whether the line of their table is named.
WRONG_LINES = (
    (r'^name = "\w+"$', 'name = "9x"', False), (r'^name = "(\w+)"$', r'name = "\1', False), (r"^id = \d+$", "id = 0", False),
    (r"^id = \d+$", "", True), (r"^severity = \d$", "severity = 1.5", False), (r'^type = "\w+"$', 'type = "none"', False),
    (r"^required = true$", "required = yes", False), (r"^(text = .*)$", r"\1\ntext = 'x'", None), (r"^sensitivity = .*$", "sensitivity = 'x'", False),
    (r'^name = "(\w+)"$', "", True), (r"^values = .*$", "values = 'x'", False), (r"^many = true$", "many = true\n???", None))

TYPES = """catalogue = 1
[product]
software_id = "A"
root = "R"
element = "P"
name = "N"
family = ""
[types.Verdict]
text = "It."
values = ["clean", "deleted"]
[types.Colour]
text = "It."
values = ["red"]
[[event]]
name = "Seen"
id = 1
severity = 1
text = "It."
""" + "".join(f"""[[event.attribute]]
name = "{name}"
type = "{kind}"
required = {'true' if name[0] < 'O' else 'false'}
text = "It."
""" for name, kind in (("Label", "text"), ("Count", "integer"), ("Flag", "boolean"), ("Moment", "time"), ("Key", "guid"), ("Hash", "sha256"),
                       ("Address", "ip"), ("Folder", "path"), ("Judgement", "Verdict"), ("Option", "integer"), ("Stamp", "time"),
                       ("Remark", "text"), ("Shade", "Colour"), ("Truth", "boolean"))) + """[[event.child]]
name = "File"
type = "path"
required = true
many = true
text = "It."
  [[event.child.attribute]]
  name = "Action"
  type = "Verdict"
  required = true
  text = "It."
[[event.child]]
name = "Part"
text = "It."
"""
ARGUMENTS = ['L"x"', "1", "true", "now", "guid", "hash", "ip", "path", "types::Verdict::kClean", "{types::Seen::File(path, types::Verdict::kClean)}"]
RIGHT = "types::Seen(" + ", ".join(ARGUMENTS) + ")"


def with_argument(index, argument):
    return "types::Seen(" + ", ".join(ARGUMENTS[:index] + [argument] + ARGUMENTS[index + 1:]) + ")"


# A wrong use, and the field that the compiler's message has to name.
WRONG_USES = (
    (with_argument(0, "5"), "field::Label"), (with_argument(0, "nullptr"), "field::Label"), (with_argument(0, "now"), "field::Label"),
    (with_argument(1, 'L"1"'), "field::Count"), (with_argument(1, "1.5"), "field::Count"), (with_argument(1, "now"), "field::Count"),
    (with_argument(2, "1"), "field::Flag"), (with_argument(2, 'L"true"'), "field::Flag"), (with_argument(3, "1024"), "field::Moment"),
    (with_argument(3, 'L"2024-03-07"'), "field::Moment"), (with_argument(4, 'L"{}"'), "field::Key"), (with_argument(5, 'L"00"'), "field::Hash"),
    (with_argument(5, "guid"), "field::Hash"), (with_argument(6, 'L"192.0.2.7"'), "field::Address"), (with_argument(6, "7"), "field::Address"),
    (with_argument(7, 'L"C:"'), "field::Folder"), (with_argument(8, 'L"clean"'), "field::Judgement"),
    (with_argument(8, "types::Colour::kRed"), "field::Judgement"), (with_argument(9, "{}"), "Many<.*File>"),
    (with_argument(9, "{path}"), "Many<.*File>"), ("types::Seen::File(path, true)", "field::Action"),
    (RIGHT + ".SetOption(true)", "field::Option"), (RIGHT + ".SetStamp(7)", "field::Stamp"), (RIGHT + ".SetShade(types::Verdict::kClean)", "field::Shade"),
    (RIGHT + ".SetTruth(0)", "field::Truth"), (RIGHT + ".SetPart(path)", "Part"))
PROGRAM = """#include "types_events.hpp"
#include <filesystem>
void Use(const std::filesystem::path& path, std::chrono::system_clock::time_point now, const GUID& guid,
         const std::array<unsigned char, 32>& hash, const in_addr& ip) {
"""


def compile_header(folder, text):
    """The compiler's messages."""
    contract = ROOT / "build/mingw-x64/contract"
    return subprocess.run(["x86_64-w64-mingw32-g++-posix", "-std=c++17", "-fsyntax-only", "-fmessage-length=0", "-Wall", "-Wextra", "-Wpedantic",
                           "-Wshadow", "-Wconversion", "-Wsign-conversion", f"-I{ROOT / 'include'}", f"-I{contract}", f"-I{folder}", "-x", "c++", "-"],
                          input=text, text=True, stderr=subprocess.PIPE, env={**os.environ, "LC_ALL": "C"}).stderr


class Check(ToolTest):
    PREFIX = "tool_catalogue"

    def check(self, content, status, *options):
        """The lines that are printed about a catalogue, without its path."""
        (self.drive / "c.toml").write_bytes(content if isinstance(content, bytes) else content.encode())
        output, _ = self.varnel("catalogue", "check", self.path("c.toml"), *options, status=status)
        return [line.removeprefix(self.path("c.toml")) for line in output.splitlines()]

    def changed(self, old, new, line):
        """GOOD with a change, and the line of the finding."""
        self.assertEqual(1, GOOD.count(old), old)
        new = new if isinstance(new, bytes) else new.encode()
        return GOOD.encode().replace(old.encode(), new), line or GOOD[:GOOD.index(old)].count("\n") + 1

    def test_every_fault_has_its_line(self):
        self.assertEqual(["1 event, 0 errors, 0 warnings"], self.check(GOOD, 0, "--warnings-as-errors"))
        for name, (old, new, line, words) in FAULTS.items():
            with self.subTest(name):
                content, line = self.changed(old, new, line)
                self.assertRegex("\n".join(self.check(content, 1)), rf"(?m)^:{line}:\d+: {'' if words.startswith('not') else '.*'}{words}")

    def test_warnings_are_errors_on_request(self):
        for name, (old, new, line, words) in WARNINGS.items():
            with self.subTest(name):
                content, line = self.changed(old, new, line)
                for status, options in ((0, ()), (1, ("--warnings-as-errors",))):
                    self.assertRegex(self.check(content, status, *options)[0], rf"^:{line}:\d+: warning: {words}")

    @natively
    def test_mutations_of_the_samples(self):
        chance = random.Random(1)
        count = 300 if LONG else 48
        for number in range(count):
            lines = chance.choice(SAMPLES).read_text(encoding="utf-8").splitlines()
            pattern, new, is_table = WRONG_LINES[number % len(WRONG_LINES)]
            places = [place for place, line in enumerate(lines) if place > 8 and re.search(pattern, line)]
            place = chance.choice(places)
            lines[place] = re.sub(pattern, new, lines[place])
            named = place + 2 if is_table is None else place + 1
            if is_table:
                named = max(before for before in range(place) if lines[before].lstrip().startswith("[")) + 1
            with self.subTest(number=number, place=place, new=lines[place]):
                found = self.check("\n".join(lines), 1)
                self.assertIn(named, [int(line.split(":")[1]) for line in found[:-1] if " warning: " not in line])
        print(f"figures: {count} faulty catalogues, each with its line")

    def test_what_cannot_be_read(self):
        for path, words in (("missing.toml", r"\(2\)"), ("", "not a file|\\(")):
            self.assertRegex(self.varnel("catalogue", "check", self.path(path), status=2)[1], words)


class Generate(ToolTest):
    PREFIX = "tool_generate"

    def generate(self, name, content, *options, status=0):
        """The folder with what is generated."""
        self.folder(f"{name}_in", {f"{name}.toml": content})
        self.varnel("catalogue", "generate", self.path(f"{name}_in/{name}.toml"), "--to", self.path(f"{name}_out"), *options, status=status)
        return self.drive / f"{name}_out"

    def test_the_same_bytes_each_time(self):
        folder = self.generate("acme", GOOD)
        files = {"acme_events.hpp", "AcmeEvents.cs", "acme.rng", "acme.schema.json", "acme.md"}
        self.assertEqual(files, {file.name for file in folder.iterdir()})
        before = {file: (file.read_bytes(), file.stat().st_mtime_ns) for file in folder.iterdir()}
        self.varnel("catalogue", "generate", self.path("acme_in/acme.toml"), "--to", self.path("acme_out"))
        self.assertEqual(before, {file: (file.read_bytes(), file.stat().st_mtime_ns) for file in folder.iterdir()})
        self.varnel("catalogue", "generate", self.path("acme_in/acme.toml"), "--to", self.path("acme_out2"))
        self.assertEqual({file.name: content for file, (content, _) in before.items()},
                         {file.name: file.read_bytes() for file in (self.drive / "acme_out2").iterdir()})

    def test_nothing_else_is_overwritten(self):
        folder = self.generate("own", GOOD)
        (folder / "own.md").write_text("mine")
        output = self.varnel("catalogue", "generate", self.path("own_in/own.toml"), "--to", self.path("own_out"), status=2)[1]
        self.assertIn("exists and is not generated", output)
        self.assertEqual("mine", (folder / "own.md").read_text())
        for name in ("a-b", "class", "9", "_a", "a__b", "std"):
            self.varnel("catalogue", "generate", self.path("own_in/own.toml"), "--to", self.path("none"), "--name", name, status=2)
        self.generate("faulty", GOOD.replace("1024", "0"), status=1)
        self.assertFalse((self.drive / "none").exists() or (self.drive / "faulty_out").exists())

    @natively
    def test_examples_of_the_reference_are_valid_by_both_schemas(self):
        for sample in SAMPLES:
            folder = self.generate(sample.stem, sample.read_bytes())
            examples = re.findall(r"```xml\n(.*?)```", (folder / f"{sample.stem}.md").read_text(encoding="utf-8"), re.S)
            self.assertEqual(sample.read_bytes().count(b"[[event]]"), len(examples))
            files = [folder / f"{number}.xml" for number in range(len(examples))]
            for file, example in zip(files, examples):
                file.write_text(example, encoding="utf-8")
            for schema in (folder / f"{sample.stem}.rng", ROOT / "schema/event-document.rng"):
                done = subprocess.run(["xmllint", "--noout", "--relaxng", schema, *files], stderr=subprocess.PIPE, text=True)
                self.assertEqual(0, done.returncode, done.stderr)
            schema = json.loads((folder / f"{sample.stem}.schema.json").read_text(encoding="utf-8"))
            jsonschema.Draft7Validator.check_schema(schema)
            lines = [json.loads(line) for line in self.varnel("show", "--json", *map(str, files))[0].splitlines()]
            self.assertEqual(len(examples), len(lines))
            for line in lines:
                jsonschema.validate(line, schema, jsonschema.Draft7Validator)
                label = next(iter(set(line["labels"]) - {"root", "product_family"} - {name for name in line["labels"] if name.startswith("MachineInfo")}))
                for wrong in ({**line, "event": {**line["event"], "code": "7"}}, {**line, "labels": {**line["labels"], "Nobody": ""}},
                              {**line, "labels": {**line["labels"], label: 7}}):
                    with self.assertRaises(jsonschema.ValidationError):
                        jsonschema.validate(wrong, schema, jsonschema.Draft7Validator)

    @natively
    def test_schema_of_the_catalogue_itself(self):
        import tomllib  # the schema describes what TOML's own reader makes of a catalogue
        schema = json.loads((ROOT / "schema/catalogue.schema.json").read_text(encoding="utf-8"))
        jsonschema.Draft7Validator.check_schema(schema)
        for content in (GOOD, *(sample.read_text(encoding="utf-8") for sample in SAMPLES)):
            jsonschema.validate(tomllib.loads(content), schema, jsonschema.Draft7Validator)
        for wrong in (GOOD.replace("since", "sense"), GOOD.replace("1024", "0"), GOOD.replace('type = "text"', 'type = "a b"'), GOOD.replace("id = 1024\n", "")):
            with self.assertRaises(jsonschema.ValidationError):
                jsonschema.validate(tomllib.loads(wrong), schema, jsonschema.Draft7Validator)

    @natively
    def test_generated_code_compiles_without_a_warning(self):
        for sample in SAMPLES:
            folder = self.generate(f"{sample.stem}_code", sample.read_bytes())
            self.assertEqual("", compile_header(folder, f'#include "{sample.stem}_code_events.hpp"\n'))
            done = subprocess.run(["mcs", "-warnaserror", "-warn:4", "-target:library", f"-out:{folder / 'events.dll'}",
                                   ROOT / "build/mingw-x64/kit/Varnel.cs", *folder.glob("*.cs")], stderr=subprocess.PIPE, text=True)
            self.assertEqual((0, ""), (done.returncode, done.stderr))

    @natively
    def test_wrong_uses_do_not_compile_and_name_the_field(self):
        folder = self.generate("types", TYPES)
        self.assertEqual("", compile_header(folder, f"{PROGRAM}  {RIGHT}.SetOption(1).SetStamp(now).AddFile(types::Seen::File(path, types::Verdict::kDeleted));\n}}\n"))
        if not LONG:  # one by one takes a minute
            said = compile_header(folder, PROGRAM + "".join(f"  {use};\n" for use, _ in WRONG_USES) + "}\n")
        for number, (use, field) in enumerate(WRONG_USES):
            with self.subTest(use):
                if LONG:
                    said = compile_header(folder, f"{PROGRAM}  {use};\n}}\n")
                    self.assertIn("error:", said)
                else:
                    self.assertIn(f"<stdin>:{PROGRAM.count(chr(10)) + number + 1}:", said)
                self.assertRegex(said, field)


if __name__ == "__main__":
    unittest.main()
