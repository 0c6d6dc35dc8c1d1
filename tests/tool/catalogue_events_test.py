#!/usr/bin/python3
"""Random events of random catalogues, through the generated header and the library: their files and their lines of JSON
are valid by the generated schemas, and `cover` finds nothing. The long form: VARNEL_SOAK."""
import json
import os
import subprocess
import sys
import unittest

import jsonschema

from tool import LIBRARY, ROOT, ToolTest

sys.path.append(str(ROOT / "tests/support"))
from random_catalogue import RandomCatalogue  # noqa: E402 (it is in a folder of its own)

LONG = "VARNEL_SOAK" in os.environ
CATALOGUES, REPORTS, EVENTS = (20, 100, 10) if LONG else (1, 20, 10)
SUPPORT = ROOT / "tests/support"
COMPILER = ["x86_64-w64-mingw32-g++-posix", "-std=c++17", "-O0", "-Wa,-mbig-obj", "-static", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow",
            "-Wconversion", "-Wsign-conversion", "-Werror", f"-I{ROOT / 'include'}", f"-I{ROOT / 'build/mingw-x64/contract'}",
            "-iquote", SUPPORT]


class RandomEvents(ToolTest):
    PREFIX = "tool_catalogue_events"

    def events_of(self, seed):
        """The JSON lines of random events of a catalogue, and its schema; their files are valid."""
        catalogue = RandomCatalogue(seed)
        name = catalogue.name
        folder = self.folder(name, {f"{name}.toml": catalogue.toml(), "driver.cpp": catalogue.driver()})
        self.varnel("catalogue", "generate", self.path(f"{name}/{name}.toml"), "--to", self.path(name))
        program = folder / "driver.exe"
        subprocess.run([*COMPILER, "-iquote", folder, folder / "driver.cpp", SUPPORT / "random_events.cpp", "-o", program,
                        "-lole32", "-loleaut32"], check=True)
        saved = self.drive / "Agent/AgentEvents"
        for file in saved.iterdir():
            file.unlink()
        self.prefix.environment["VARNEL_DLL"] = f"Z:{LIBRARY}"
        status, _, errors = self.prefix.communicate(program, str(seed), str(REPORTS), str(EVENTS))
        self.assertEqual((0, ""), (status, errors))
        files = sorted(saved.iterdir())
        self.assertEqual(REPORTS, len(files))
        for schema in (folder / f"{name}.rng", ROOT / "schema/event-document.rng"):
            done = subprocess.run(["xmllint", "--noout", "--relaxng", schema, *files], stderr=subprocess.PIPE, text=True)
            self.assertEqual(0, done.returncode, "\n".join(line for line in done.stderr.splitlines() if not line.endswith(" validates"))[:2000])
        covered, _ = self.varnel("catalogue", "cover", self.path(f"{name}/{name}.toml"), self.path("Agent/AgentEvents"))
        self.assertRegex(covered, rf"(\A|\n){REPORTS * EVENTS} events of [^\n]* in {REPORTS} files, [^\n]*, 0 deviations\n\Z")
        lines, _ = self.varnel("show", "--json", self.path("Agent/AgentEvents"))
        return lines.splitlines(), json.loads((folder / f"{name}.schema.json").read_text(encoding="utf-8"))

    def test_every_event_is_valid_by_both_schemas(self):
        count = 0
        for seed in range(CATALOGUES):
            with self.subTest(seed=seed):
                lines, schema = self.events_of(seed)
                self.assertEqual(REPORTS * EVENTS, len(lines))
                validator = jsonschema.Draft7Validator(schema)
                for line in lines:
                    fault = next(validator.iter_errors(json.loads(line)), None)
                    self.assertIsNone(fault, fault and f"{fault.message} in {line}")
                count += len(lines)
        print(f"figures: {count} random events of {CATALOGUES} catalogues are valid by both schemas")


if __name__ == "__main__":
    unittest.main()
