"""Event files of simulated endpoints, in the form in which the library saves them."""
import itertools
import os
import random

HEAD = """<?xml version="1.0" encoding="UTF-8"?><Events><MachineInfo><MachineName>PC%d</MachineName><AgentGUID>{%s}</AgentGUID>\
<IPAddress>192.0.2.7</IPAddress><OSName>Windows 10</OSName><UserName>ann</UserName><TimeZoneBias>-60</TimeZoneBias>\
<RawMACAddress>00a0c91e2b7f</RawMACAddress></MachineInfo><P ProductName="A" ProductVersion="1" ProductFamily="E">"""
EVENT = "<Hit N=\"%d\"><EventID>1024</EventID><Severity>3</Severity><GMTTime>2024-03-07T12:00:00</GMTTime>%s</Hit>"
TAIL = "</P></Events>"
TEXT = "".join(random.Random(1).choices("abcdefghijklmnopqrstuvwxyz 0123456789", k=8192))  # what fills a file up to its size


class Endpoint:
    """A machine with an identifier of its own."""

    def __init__(self, number):
        self.number = number
        digits = f"{random.Random(number).getrandbits(128):032x}"
        self.head = HEAD % (number, "-".join((digits[:8], digits[8:12], digits[12:16], digits[16:20], digits[20:])))

    def document(self, number, size, events=1):
        """A report of about this many bytes. `number` is the number of its first event, unlike all others of the endpoint."""
        fill = max(0, (size - len(self.head) - len(TAIL)) // events - 120)
        start = number * 37 % (len(TEXT) - min(fill, len(TEXT)) + 1)
        path = f"<File>{TEXT[start:start + fill]}</File>" if fill > 13 else ""
        return (self.head + "".join(EVENT % (number + i, path) for i in range(events)) + TAIL).encode()


NAMES = itertools.count()


def save(folder, document):
    """Writes an event file as the library does: a name that no other file has, and no other name before. Returns the name."""
    name = f"20240307{next(NAMES):017}00000118.xml"
    file = os.open(os.path.join(folder, name), os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644)
    try:
        os.write(file, document)
    finally:
        os.close(file)
    return name
