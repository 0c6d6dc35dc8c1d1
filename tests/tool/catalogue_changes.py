"""Random changes of a random catalogue; code that uses all of a catalogue, and event files that have all of it."""
import copy
import re
from xml.sax.saxutils import escape, quoteattr

from random_catalogue import BUILT_IN, NAMES, VALUES

# Names and values that generated code calls the same.
TWINS = {"FileName": "file-name", "file-name": "FileName", "IpAddress": "ip.address", "class": "Class", "Interface": "interface"}
VALUE_TWINS = {"Clean": "clean", "clean": "Clean", "in quarantine": "In Quarantine"}

# Texts of each type in yesterday's files, and a value of it in yesterday's code.
TEXTS = {"text": ["a text", "", "1", "true", "größer", " <&\"> "], "integer": ["0", "-9223372036854775808", "18446744073709551615", "7"],
         "boolean": ["true", "false"], "time": ["2024-02-29T23:59:59Z"], "guid": ["{3F2504E0-4F89-41D3-9A0C-0305E82C3301}"],
         "sha256": ["0123456789abcdef" * 4], "ip": ["192.0.2.7", "2001:db8::7", "::"], "path": ["C:\\a b", "", "12"]}
CODE = {"text": 'L"x"', "integer": "5", "boolean": "true", "time": "std::chrono::system_clock::now()", "guid": "GUID{}",
        "sha256": "std::array<unsigned char, 32>{}", "ip": "std::array<unsigned char, 4>{}", "path": 'std::wstring_view(L"x")'}


def class_of(name):
    """What generated code calls it; for the names of this file and of random_catalogue."""
    return {**NAMES, **VALUES}.get(name) or "".join(word[0].upper() + word[1:] for word in re.split("[^A-Za-z0-9]+", name) if word)


class Changed:
    """A catalogue that change() changes, with what was done in `story`."""

    def __init__(self, catalogue):
        self.random = catalogue.random
        self.now = copy.copy(catalogue)
        self.now.events, self.now.types, self.now.product = copy.deepcopy((catalogue.events, catalogue.types, catalogue.product))
        self.story = []

    def change(self):
        name = self.random.choice([name for name in dir(self) if name.startswith("do_")])
        self.story.append(f"{name[3:]}: {getattr(self, name)()}")

    def content(self):
        """An element with attributes and children, at any level."""
        found = []

        def add(element):
            found.append(element)
            for child in element["children"]:
                add(child)
        for event in self.now.events:
            add(event)
        return self.random.choice(found)

    def item(self, kind=None):
        """A list of attributes or children, and one of it; (None, None) if the element has none."""
        for _ in range(50):
            items = self.content()[kind or self.random.choice(["attributes", "children"])]
            if items:
                return items, self.random.choice(items)
        raise ValueError("a catalogue without attributes or children")

    def event(self):
        return self.random.choice(self.now.events)

    def do_remove_event(self):
        event = self.event()
        self.now.events.remove(event)
        return event["name"]

    def do_add_event(self):
        event = {**copy.deepcopy(self.event()), "name": "Appeared", "id": self.random.randint(200_000, 300_000)}
        self.now.events.insert(self.random.randint(0, len(self.now.events)), event)
        return event["id"]

    def do_rename_event(self):
        event = self.event()
        event["name"] = self.random.choice(["Renamed", event["name"][0].lower() + event["name"][1:]])
        return event["name"]

    def do_number(self):
        event = self.event()
        event["id"] += self.random.choice([1, 1000])
        return event["id"]

    def do_swap_numbers(self):
        one, other = self.random.sample(self.now.events, 2)
        one["id"], other["id"] = other["id"], one["id"]
        return one["id"]

    def do_replace_event(self):
        """Gives the number of an event to a new one."""
        event = self.event()
        self.now.events.append({**copy.deepcopy(self.event()), "name": "Successor", "id": event["id"]})
        self.now.events.remove(event)
        return event["name"]

    def do_severity(self):
        event = self.event()
        event["severity"] = self.random.choice([2, 4])
        return event["name"]

    def do_order_of_events(self):
        self.random.shuffle(self.now.events)

    def do_product(self):
        key = self.random.choice(sorted(self.now.product))
        self.now.product[key] += "X"
        return key

    def do_remove_item(self):
        items, item = self.item()
        items.remove(item)
        return item["name"]

    def do_add_item(self):
        content = self.content()
        value = self.now.value(self.random.choice(sorted(NAMES)))
        if self.random.random() < 0.5:
            content["attributes"].insert(self.random.randint(0, len(content["attributes"])), value)
        else:
            value |= {"many": self.random.random() < 0.5, "attributes": [], "children": []}
            content["children"].insert(self.random.randint(0, len(content["children"])), value)
        return value["name"]

    def do_rename_item(self):
        _, item = self.item()
        item["name"] = TWINS.get(item["name"], self.random.choice(sorted(NAMES)))
        return item["name"]

    def do_order_of_items(self):
        items, item = self.item()
        self.random.shuffle(items)
        return item["name"]

    def do_required(self):
        _, item = self.item()
        item["required"] = not item["required"]
        return item["name"]

    def do_many(self):
        _, item = self.item("children")
        item["many"] = not item["many"]
        return item["name"]

    def do_attribute_to_child(self):
        content = self.content()
        if content["attributes"]:
            content["children"].append({**content["attributes"].pop(), "many": False, "attributes": [], "children": []})

    def do_type(self):
        _, item = self.item()
        # RELAX NG has no types beside elements, and a line without the text's label may have had none.
        types = [*BUILT_IN, *self.now.types] if "type" in item or not item["children"] else ["text", "path"]
        item["type"] = self.random.choice(types)
        return f"{item['name']} {item['type']}"

    def do_no_text(self):
        _, item = self.item("children")
        item.pop("type", None)
        return item["name"]

    def do_description(self):
        item = self.random.choice([self.event(), self.item()[1]])
        item["text"] += " Or not."
        return item["name"]

    def do_since(self):
        self.event()["since"] = "2.0"

    def do_sensitivity(self):
        _, item = self.item()
        item["sensitivity"] = "secret" if item["sensitivity"] != "secret" else "none"
        return item["name"]

    def do_add_value(self):
        kind = self.random.choice(sorted(self.now.types))
        self.now.types[kind].insert(self.random.randint(0, len(self.now.types[kind])), "added")
        return kind

    def do_remove_value(self):
        kind = self.random.choice(sorted(self.now.types))
        return self.now.types[kind].pop(self.random.randrange(len(self.now.types[kind])))

    def do_rename_value(self):
        values = self.now.types[self.random.choice(sorted(self.now.types))]
        at = self.random.randrange(len(values))
        values[at] = VALUE_TWINS.get(values[at], "renamed")
        return values[at]

    def do_order_of_values(self):
        values = self.now.types[self.random.choice(sorted(self.now.types))]
        values.sort(reverse=self.random.random() < 0.5)

    def do_rename_type(self):
        old = self.random.choice(sorted(self.now.types))
        new = self.random.choice(["Renamed", old[0].lower() + old[1:]])
        self.now.types = {new if name == old else name: values for name, values in self.now.types.items()}
        for event in self.now.events:
            rename_type(event, old, new)
        return new


def rename_type(element, old, new):
    for item in element["attributes"] + element["children"]:
        if item.get("type") == old:
            item["type"] = new
        if "children" in item:
            rename_type(item, old, new)


class Caller:
    """Code that calls everything that is generated from a catalogue, and names the field of each value."""

    def __init__(self, catalogue):
        self.catalogue = catalogue
        self.lines = []

    def text(self):
        self.lines = [f'#include "{self.catalogue.name}_events.hpp"', "varnel::Product product = product_events::DescribeProduct(L\"\");"]
        for name, values in self.catalogue.types.items():
            self.lines += [f"auto enumerator{class_of(name)}{i} = product_events::{class_of(name)}::k{class_of(value)};"
                           for i, value in enumerate(values)]
        for event in self.catalogue.events:
            name = class_of(event["name"])
            self.add(event, name, f"product_events::{name}")
            self.lines.append(f"void Add{name}(const varnel::Report& report) {{ Make{name}().AddTo(report); }}")
        return "\n".join(line.replace("product_events", self.catalogue.name) for line in self.lines) + "\n"

    def value(self, item):
        """The value of a field, which converts to no other field."""
        kind = item["type"]
        own = kind not in BUILT_IN
        name, value = (f"product_events::{class_of(kind)}", f"product_events::{class_of(kind)}::k{class_of(self.catalogue.types[kind][0])}") if own \
            else (f"varnel::{BUILT_IN[kind]}", f"varnel::{BUILT_IN[kind]}({CODE[kind]})")
        return f"varnel::Field<product_events::field::{class_of(item['name'])}, {name}>({value})"

    def add(self, element, function, path):
        required = [self.value(element)] if "type" in element and "many" in element else []
        setters = []
        for one in element["attributes"]:
            if one["required"]:
                required.append(self.value(one))
            else:
                setters.append(f"Set{class_of(one['name'])}({self.value(one)})")
        for child in element["children"]:
            name = class_of(child["name"])
            own = path + "::" + (name + "Element" if name == path.rsplit("::", 1)[1] else name)
            self.add(child, function + name, own)
            made = f"Make{function}{name}()"
            if child["required"]:
                required.append(f"varnel::Many<{own}>({made})" if child["many"] else made)
            if child["many"] or not child["required"]:
                setters.append(f"{'Add' if child['many'] else 'Set'}{name}({made})")
        self.lines += [f"{path} Make{function}() {{", f"  {path} made{{{', '.join(required)}}};",
                       *(f"  made.{setter};" for setter in setters), "  return made;", "}"]


class Files:
    """Event files in which everything occurs that a catalogue allows: each value, each optional part there and not there."""

    def __init__(self, catalogue):
        self.catalogue = catalogue

    def documents(self):
        rounds = max(map(len, [*TEXTS.values(), *self.catalogue.types.values()]))
        rows = [(i, 99, True) for i in range(rounds)] + [(0, level, attributes) for level in range(5) for attributes in (False, True)]
        return [self.document(*row) for row in rows]

    def document(self, number, depth, attributes):
        """With the values of that number; what is optional only to that depth."""
        product = self.catalogue.product
        events = "".join(
            self.element(event, number, depth, attributes,
                         f"<EventID>{event['id']}</EventID><Severity>{event['severity']}</Severity><GMTTime>2024-03-07T09:05:03</GMTTime>")
            for event in self.catalogue.events)
        return (f"<{product['root']}><MachineInfo/><{product['element']} ProductName={quoteattr(product['name'])} ProductVersion=\"\" "
                f"ProductFamily={quoteattr(product['family'])}>{events}</{product['element']}></{product['root']}>")

    def value(self, item, number):
        texts = TEXTS.get(item["type"]) or self.catalogue.types[item["type"]]
        return texts[number % len(texts)]

    def element(self, element, number, depth, attributes, begin):
        markup = "<" + element["name"]
        for one in element["attributes"]:
            if one["required"] or (attributes and depth > 0):
                markup += f" {one['name']}={quoteattr(self.value(one, number))}"
        markup += ">" + begin
        for child in element["children"]:
            count = (2 if child["many"] else 1) if depth > 0 else child["required"]
            for i in range(count):
                text = escape(self.value(child, number + i)) if "type" in child else ""
                markup += self.element(child, number + i, depth - 1, attributes, text)
        return f"{markup}</{element['name']}>"
