"""Random catalogues, the same for a seed, and C++ code that reports random events of one."""
import random

# Names in a catalogue, and the classes that generated code makes of them.
NAMES = {name: name for name in (
    "Engine Action Reason Count Size Hash Owner Target Source Folder Device Rule Policy Level Path Host Port User Group Key "
    "Start End Kind State Mode Index Title Detail Origin Amount Score Version Batch Token Unit Zone Guid Time Event List").split()}
NAMES |= {"file-name": "FileName", "SHA256": "Sha256", "ip.address": "IpAddress", "_mark": "Mark", "größe": "GrE", "class": "Class",
          "interface": "Interface", "Yield": "Yield_", "IPv6": "IPv6", "text": "Text", "ERROR": "Error", "visitor": "Visitor"}
BUILT_IN = {"text": "Text", "integer": "Integer", "boolean": "Boolean", "time": "Time", "guid": "Guid", "sha256": "Sha256", "ip": "Ip",
            "path": "Path"}
VALUES = {"clean": "Clean", "in quarantine": "InQuarantine", "DELETED": "Deleted", "100 %": "N100", "<none> & \"more\"": "NoneMore",
          "größer": "GrEr"}


class RandomCatalogue:
    """`events`, `types` and `product` are what toml() writes; a test may change them in between."""

    def __init__(self, seed, events=5):
        self.random = random.Random(seed)
        self.name = f"random{seed}"
        self.product = {"software_id": f"RANDOM__{seed:04}", "root": "RandomEvents", "element": "RandomSoftware",
                        "name": "Random & <Product>", "family": self.random.choice(["Endpoint", ""])}
        self.types = {f"Type{i}": self.random.sample(sorted(VALUES), self.random.randint(1, len(VALUES)))
                      for i in range(self.random.randint(1, 3))}
        ids = self.random.sample(range(1, 100_000), events - 1) + [-2147483648]
        names = [f"Happened{i}" for i in range(events - 1)] + ["Guid-lost"]
        self.events = [{"name": name, "id": number, "severity": self.random.choice([0, 1, 3, 5, -1, 2147483647]),
                        "text": "It has happened.", **self.content(name, 1)} for name, number in zip(names, ids)]
        # A type that nothing uses is worth a warning.
        self.events[0]["attributes"] += [{**self.value(f"Uses{name}"), "type": name} for name in self.types]

    def value(self, name):
        return {"name": name, "type": self.random.choice([*BUILT_IN, *self.types]), "required": self.random.random() < 0.6,
                "sensitivity": self.random.choice(["none", "none", "personal", "secret"]), "text": "It says something."}

    def content(self, owner, level):
        names = self.random.sample(sorted(set(NAMES) - {owner}), self.random.randint(0, 5))
        cut = self.random.randint(0, len(names)) if level < 3 else len(names)
        children = [{**self.value(name), "many": self.random.random() < 0.4, **self.content(name, level + 1)} for name in names[cut:]]
        for child in children:
            if self.random.random() < 0.25:
                del child["type"]
        return {"attributes": [self.value(name) for name in names[:cut]], "children": children}

    def toml(self):
        lines = ["catalogue = 1", "[product]", *map(assignment, self.product.items())]
        for name, values in self.types.items():
            lines += [f"[types.{name}]", 'text = "A type."', assignment(("values", values))]
        for event in self.events:
            write_table(lines, "event", event)
        return "\n".join(lines) + "\n"

    def driver(self):
        """A C++ function for each event, and the table of them; tests/support/random_events.cpp calls them."""
        lines = [f'#include "{self.name}_events.hpp"', '#include "random_values.h"', "namespace {"]
        for event in self.events:
            self.write_function(lines, event, class_of(event["name"]), f"{self.name}::{class_of(event['name'])}")
        lines += ["}  // namespace", "const Add kEvents[] = {"]
        lines += [f"    [](Random& random, const varnel::Report& report) {{ Make{class_of(event['name'])}(random).AddTo(report); }},"
                  for event in self.events]
        return "\n".join([*lines, "};", "const int kEventCount = sizeof(kEvents) / sizeof(kEvents[0]);",
                          f"varnel::Product Describe() {{ return {self.name}::DescribeProduct(L\"1.0\"); }}", ""])

    def write_function(self, lines, element, function, path):
        """Writes the function that makes a random event or child, after those of its children."""
        members = [(None, element)] if "type" in element else []
        members += [("Set", one) for one in element["attributes"]]
        made = []
        for child in element["children"]:
            name = class_of(child["name"])
            own = name + "Element" if name == path.rsplit("::", 1)[1] else name
            self.write_function(lines, child, f"{function}{name}", f"{path}::{own}")
            made.append((child, name, f"Make{function}{name}(random)", f"{path}::{own}"))
        arguments = [self.expression(one["type"]) for kind, one in members if kind is None or one["required"]]
        arguments += [f"random.Many<{own}>([&] {{ return {make}; }})" if child["many"] else make
                      for child, _, make, own in made if child["required"]]
        # Braces: the arguments are made from left to right.
        lines += [f"{path} Make{function}([[maybe_unused]] Random& random) {{", f"  {path} made{{{', '.join(arguments)}}};"]
        lines += [f"  if (random.Coin()) made.Set{class_of(one['name'])}({self.expression(one['type'])});"
                  for kind, one in members if kind and not one["required"]]
        for child, name, make, _ in made:
            if child["many"]:
                lines.append(f"  while (random.Coin()) made.Add{name}({make});")
            elif not child["required"]:
                lines.append(f"  if (random.Coin()) made.Set{name}({make});")
        lines += ["  return made;", "}"]

    def expression(self, kind):
        if kind in BUILT_IN:
            return f"random.{BUILT_IN[kind]}()"
        return f"random.Pick({{{', '.join(f'{self.name}::{kind}::k{VALUES[value]}' for value in self.types[kind])}}})"


def class_of(name):
    return NAMES.get(name, name.replace("-l", "L"))


def assignment(pair):
    key, value = pair
    if isinstance(value, bool):
        return f"{key} = {str(value).lower()}"
    if isinstance(value, list):
        return f"{key} = [{', '.join(map(text, value))}]"
    return f"{key} = {value if isinstance(value, int) else text(value)}"


def text(value):
    return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'


def write_table(lines, path, table):
    lines += [f"[[{path}]]", *(assignment(pair) for pair in table.items() if pair[0] not in ("attributes", "children"))]
    for attribute in table.get("attributes", ()):
        write_table(lines, f"{path}.attribute", attribute)
    for child in table.get("children", ()):
        write_table(lines, f"{path}.child", child)
