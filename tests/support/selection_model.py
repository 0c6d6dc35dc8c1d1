"""A model of the selection of events (docs/tool.md, "Selecting"), with random events and queries.

An event is the JSON object that `varnel show --json` prints for it. A query is a list of terms, each a pair of a field and
its text; as_options writes it for the program, as_filter for the page.
"""
import calendar
import math
import re
import time
import xml.sax.saxutils

NUMBER = re.compile("0|-?[1-9][0-9]{0,9}")
UNITS = {"s": 1, "m": 60, "h": 3_600, "d": 86_400, "w": 604_800}
TEXTS = {"event": ("event", "action"), "product": ("observer", "product"), "host": ("host", "name")}


def lower(text):
    return "".join(letter.lower() if "A" <= letter <= "Z" else letter for letter in text)


def matches(pattern, text):
    return re.fullmatch(".*".join(map(re.escape, lower(pattern).split("*"))), lower(text), re.DOTALL) is not None


def field(event, *path):
    for name in path:
        event = event.get(name, {}) if isinstance(event, dict) else {}
    return None if event == {} else event


def number_of(event, name):
    text = field(event, "event", {"id": "code"}.get(name, name))
    if isinstance(text, str):
        text = int(text) if NUMBER.fullmatch(text) and -2**31 <= int(text) < 2**31 else None
    return text


def seconds(text):
    return calendar.timegm(time.strptime(text, "%Y-%m-%dT%H:%M:%S"))


def time_of(event):
    text = event.get("@timestamp")
    return seconds(text[:-1]) if text else None


def moment(text, now):
    """Seconds since 1970, a fraction rounded up; nothing if the text cannot be understood."""
    midnight = now // 86_400 * 86_400
    if text in ("now", "today", "yesterday"):
        return {"now": now, "today": midnight, "yesterday": midnight - 86_400}[text]
    if age := re.fullmatch("([0-9]{1,9})([smhdw])", text):
        return now - int(age[1]) * UNITS[age[2]]
    if re.fullmatch("[0-9]{4}-[0-9]{2}-[0-9]{2}", text):
        text += "T00:00"
    parts = re.fullmatch(r"([0-9]{4}-[0-9]{2}-[0-9]{2})[T ]([0-9]{2}:[0-9]{2})(?:(:[0-9]{2})(?:\.([0-9]+))?)?Z?", text)
    try:
        more = math.ceil(float("0." + (parts[4] or "0")))
        whole = seconds(parts[1] + "T" + parts[2] + (parts[3] or ":00"))
        return whole + more if (parts[3] or ":00") <= ":59" and int(text[:4]) >= 100 else None
    except (TypeError, ValueError):
        return None


def number_range(text):
    """The first and the last number; nothing if the text cannot be understood."""
    parts = re.fullmatch(r"(-?[0-9]{1,10})?(\.\.)?(-?[0-9]{1,10})?", text)
    if not parts or (parts[1] is None and parts[3] is None) or (parts[2] is None and parts[3] is not None):
        return None
    first = -math.inf if parts[1] is None else int(parts[1])
    last = first if parts[2] is None else math.inf if parts[3] is None else int(parts[3])
    return (first, last) if first <= last else None


def is_named(label, name):
    """Numbers at the end of a label's name need not be given, a dot in the name is an underscore."""
    name = lower(name.replace(".", "_"))
    while True:
        if lower(label) == name or lower(label).endswith("_" + name):
            return True
        rest = re.fullmatch("(.+)_[0-9]+", label, re.DOTALL)
        if not rest:
            return False
        label = rest[1]


def fits(event, name, text, now):
    if name in ("since", "until"):
        known = time_of(event)
        return known is not None and (known >= moment(text, now)) == (name == "since")
    if name in ("severity", "id"):
        known = number_of(event, name)
        first, last = number_range(text)
        return known is not None and first <= known <= last
    if name in TEXTS:
        known = field(event, *TEXTS[name])
        return known is not None and matches(text, known)
    label, _, pattern = text.partition("=")
    return any(is_named(known, label) and matches(pattern, value) for known, value in event["labels"].items())


def select(events, query, now=None, by_time=False):
    """The events that the query selects, in the order in which the program shows them: that of the files; by_time for
    several paths. Equal times, and events without a time, which come first, keep the order of the files."""
    now = int(time.time()) if now is None else now
    terms = {}
    for name, text in query:
        terms.setdefault(name, []).append(text)
    lasts, is_reverse = [int(text) for text in terms.pop("last", [])], bool(terms.pop("reverse", []))
    wheres = terms.pop("where", [])
    chosen = [event for event in events
              if all(any(fits(event, name, text, now) for text in texts) for name, texts in terms.items())
              and all(fits(event, "where", text, now) for text in wheres)]
    if lasts or is_reverse or by_time:
        chosen.sort(key=lambda event: -math.inf if time_of(event) is None else time_of(event))
    if lasts:
        chosen = chosen[-max(lasts):]
    return chosen[::-1] if is_reverse else chosen


def as_options(query):
    return [word for name, text in query for word in ([f"--{name}"] if name == "reverse" else [f"--{name}", text])]


def as_filter(query):
    def quoted(text):
        return '"' + text.replace('"', '""') + '"' if re.search(r'[\s"]', text) or not text else text
    words = []
    for name, text in query:
        if name == "where":
            label, _, pattern = text.partition("=")
            words.append(f"{label}={quoted(pattern)}")
        else:
            words.append(name if name == "reverse" else f"{name}:{quoted(text)}")
    return " ".join(words)


NAMES = ("MalwareDetected", "ScanFinished", "malwareremoved", "Update")
PRODUCTS = ("Example Antivirus", "Example", "Proxy, \"small\"", "=Sum", "Né")
HOSTS = ("PC1", "pc2", "SERVER-3", "")
VALUES = ("heuristics", "signature", "Heur", "C:\\Users\\ann\\a.exe", "C:\\b.EXE", "a b", "", "*", "été", "1")
TAGS = ("Engine", "File", "Action", "Param_1", "Param_2", "K.1")


def random_event(random, number):
    def text():
        return xml.sax.saxutils.escape(random.choice(VALUES))

    def attributes():
        return "".join(f" {tag}={xml.sax.saxutils.quoteattr(random.choice(VALUES))}" for tag in random.sample(TAGS, random.choice((0, 1, 2))))
    name = random.choice(NAMES)
    identifier = random.choice((number, number, -number, f"0{number}", "", "x"))
    severity = random.choice((1, 2, 3, 4, 5, -1, 5, "high", ""))
    at = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(1_709_800_000 + random.randrange(0, 400_000) // 7 * 7))
    at = random.choice((at,) * 8 + ("0000-00-00T00:00:00", "2023-02-29T09:05:03"))
    children = "".join(random.choice((f"<{tag}{attributes()}>{text()}</{tag}>", f"<{tag}><Part>{text()}</Part></{tag}>"))
                       for tag in random.choices(TAGS, k=random.randrange(4)))
    return (f"<{name}{attributes()}><EventID>{identifier}</EventID><Severity>{severity}</Severity>"
            f"<GMTTime>{at}</GMTTime>{children}</{name}>")


def random_file(random, number):
    """An event file; the identifiers of its events are near 10 times the number."""
    events = "".join(random_event(random, number * 10 + i) for i in range(random.choice((0, 1, 1, 1, 2, 5))))
    host, product = random.choice(HOSTS), xml.sax.saxutils.quoteattr(random.choice(PRODUCTS))
    site = f"<Site>{random.choice('12')}</Site>" if random.random() < 0.5 else ""
    return (f"<R><MachineInfo><MachineName>{host}</MachineName>{site}</MachineInfo>"
            f'<P ProductName={product} ProductVersion="{random.randrange(3)}" ProductFamily="F">{events}</P></R>')


def random_pattern(random, text):
    text = "".join(letter.swapcase() if letter.isascii() and random.random() < 0.2 else letter for letter in text)
    for _ in range(random.choice((0, 0, 1, 1, 2))):
        first, last = sorted((random.randint(0, len(text)), random.randint(0, len(text))))
        text = text[:first] + "*" + text[last:]
    return text


def random_query(random, events):
    """A query whose terms are made of the values of random events, so that most of them select something."""
    def term():
        event, name = random.choice(events), random.choice(("since", "until", "severity", "id", "event", "product", "host", "where"))
        if name in ("since", "until"):
            at = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime((time_of(event) or 1_709_900_000) + random.choice((-1, 0, 0, 1))))
            return name, random.choice((at, at + "Z", at + ".5", at + ".0Z", at.replace("T", " "), at[:16], at[:16] + "Z", at[:10], "today", "52w", "9999w"))
        if name in ("severity", "id"):
            known = number_of(event, name) or 0
            return name, random.choice((f"{known}", f"{known}..", f"..{known}", f"{known - 1}..{known + random.randrange(100)}"))
        if name in TEXTS:
            return name, random_pattern(random, field(event, *TEXTS[name]) or "")
        label, text = random.choice(list(event["labels"].items()))
        label = re.sub("_[0-9]+$", "", label) if random.random() < 0.5 else label
        return name, random.choice((label, label.split("_")[-1], label.swapcase())) + "=" + random_pattern(random, text)
    query = [term() for _ in range(random.choice((1, 1, 2, 2, 3)))]
    query += [("last", str(random.choice((1, 3, 10, 1000))))] * random.choice((0, 0, 1))
    return query + [("reverse", "")] * random.choice((0, 0, 1))
