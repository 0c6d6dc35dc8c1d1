#!/usr/bin/env python3
"""check_files.py PROGRAM SCHEMA   varnel check of 20,000 event files against xmllint, which checks the same files; and
varnel show --top of these files against their list.

Prints lines for bench/report.py: the median times, and the median of the ratios of two runs in turn. The files are in
a temporary folder, most with one event and every hundredth with 200. WINEPREFIX names a private prefix.
"""
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

RUN = pathlib.Path(__file__).resolve().parent.parent / "scripts/wine-run"
FILES, ROUNDS = 20_000, 7
HEAD = """<?xml version="1.0" encoding="UTF-8"?><ProductEvents><MachineInfo><MachineName>PC1</MachineName>\
<AgentGUID>{3F2504E0-4F89-41D3-9A0C-0305E82C3301}</AgentGUID><IPAddress>192.0.2.7</IPAddress><OSName>Windows 10 Workstation\
</OSName><UserName>user</UserName><TimeZoneBias>-60</TimeZoneBias><RawMACAddress>00a0c91e2b7f</RawMACAddress></MachineInfo>\
<Product ProductName="Example Antivirus" ProductVersion="4.2.0" ProductFamily="Endpoint">"""
EVENT = """<MalwareDetected Engine="heuristics" Confidence="97"><EventID>1024</EventID><Severity>3</Severity>\
<GMTTime>2024-03-07T12:00:00</GMTTime><File Action="deleted">C:\\Users\\j\\Downloads\\setup &amp; more.exe</File>\
<Hash>9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08</Hash></MalwareDetected>"""
TAIL = "</Product></ProductEvents>"


def nanoseconds(command, **more):
    start = time.perf_counter_ns()
    subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)
    return time.perf_counter_ns() - start


def report(figure, ours, theirs):
    """Two functions, each of which returns the nanoseconds of a run."""
    pairs = [(ours(), theirs()) for _ in range(ROUNDS + 1)][1:]  # the first round warms up
    median = [statistics.median(column) for column in zip(*pairs)]
    ratio = statistics.median(a / b for a, b in pairs)
    print(f"{figure}\t{median[0]:.0f}\t{median[1]:.0f}\tns\t{ratio:.4f}\t1")


def main():
    program, schema = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        for i in range(FILES):
            pathlib.Path(folder, f"{i:029}.xml").write_text(HEAD + EVENT * (200 if i % 100 == 0 else 1) + TAIL)
        names = "".join(f"{path}\n" for path in sorted(pathlib.Path(folder).iterdir()))

        def ours(*arguments):
            return lambda: nanoseconds([RUN, program, *arguments, f"Z:{folder}"])
        report("varnel check of 20,000 files, against xmllint", ours("check"),
               lambda: nanoseconds(["xargs", "xmllint", "--noout", "--relaxng", schema], input=names.encode()))
        report("varnel show --top of 20,000 files, against varnel show", ours("show", "--top", "product"), ours("show"))


if __name__ == "__main__":
    main()
