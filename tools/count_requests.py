#!/usr/bin/python3
"""count_requests.py CALLS_BENCH DLL   counts what operations ask of the Wine server, and the same for bare system calls.

Prints a line for each operation, for bench/report.py: ours, the bare calls', and the ratio that may not be exceeded.
With --check prints the offences only, with their requests, and returns 1 when there is one. WINEPREFIX names a private
prefix.
"""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile

OPERATIONS = {"event": "one event", "agent": "a further save, agent folder", "server": "a further save, server folder"}
MARK = "varnel-mark"
RUN = pathlib.Path(__file__).resolve().parent.parent / "scripts/wine-run"
SERVER = "/usr/lib/wine/wineserver64"


def trace(program, dll, operation):
    """What the server prints while the operation runs."""
    subprocess.run([SERVER, "-k"], check=False)
    subprocess.run([SERVER, "-w"], check=True)
    with tempfile.TemporaryFile() as log:
        server = subprocess.Popen([SERVER, "-f", "-d1", "-p"], stderr=log)
        try:
            environment = {**os.environ, "VARNEL_DLL": "Z:" + os.path.abspath(dll)}
            subprocess.run([RUN, program, "--count", operation], env=environment, check=True, timeout=120)
        finally:
            server.send_signal(signal.SIGINT)
            server.wait()
        log.seek(0)
        return log.read().decode(errors="replace").splitlines()


def requests(lines):
    """Those of the thread that made the marks, between the two."""
    marks = [i for i, line in enumerate(lines) if "open_mutex(" in line and MARK in line]
    if len(marks) != 2:
        raise SystemExit(f"the trace has {len(marks)} marks, not 2")
    thread = lines[marks[0]].split(":")[0]
    request = re.compile(rf"{thread}: \w+\((?!\) = )")
    return [line for line in lines[marks[0] + 1:marks[1]] if request.match(line)]


def main():
    check = sys.argv[1:2] == ["--check"]
    program, dll = sys.argv[2 if check else 1:]
    subprocess.run([RUN, "cmd", "/c", "exit"], check=True)  # makes the prefix
    failed = 0
    for operation, figure in OPERATIONS.items():
        ours = requests(trace(program, dll, operation))
        bare = requests(trace(program, dll, f"bare-{operation}"))
        if not check:
            print(f"server requests of {figure}\t{len(ours)}\t{len(bare)}\t\t{len(ours) / len(bare):.4f}\t1")
        elif len(ours) > len(bare):
            failed = 1
            print(f"{figure} makes {len(ours)} requests, not {len(bare)}:", *ours, sep="\n  ")
    return failed


if __name__ == "__main__":
    sys.exit(main())
