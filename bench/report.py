#!/usr/bin/env python3
"""report.py < LINES   the benchmarks' lines as one table.

A line holds, separated by tabs: the figure; ours; the peer's or the floor's; their unit, or nothing; the ratio of the
first to the second; and the most that the ratio may be, 0 for a figure that is information only.
"""
import sys

UNITS = {"ns": ((1e6, "ms"), (1e3, "µs"), (1, "ns")), "bytes": ((1e6, "MB"), (1e3, "KB"), (1, "B")), "": ((1, ""),)}


def amount(text, unit):
    value = float(text)
    scale, name = next((entry for entry in UNITS[unit] if value >= entry[0]), UNITS[unit][-1])
    return f"{value / scale:.{0 if value == int(value) and scale == 1 else 2}f} {name}".rstrip()


def main():
    print("| figure | ours | peer or floor | ratio | at most | met |\n|---|---:|---:|---:|---:|---|")
    for line in sys.stdin:
        figure, ours, peer, unit, ratio, goal = line.rstrip("\r\n").split("\t")
        limit = f"{float(goal):g}" if float(goal) else ""
        met = "information" if not limit else "yes" if float(ratio) <= float(goal) else "no"
        print(f"| {figure} | {amount(ours, unit)} | {amount(peer, unit)} | {float(ratio):.2f} | {limit} | {met} |")


if __name__ == "__main__":
    main()
