#!/usr/bin/env python3
"""linked_components.py BUILD...   prints as JSON what others wrote and is inside the programs of these build folders.

Archives and objects are read from the link maps, headers from the compiler's dependency lists (header-only libraries leave
no trace in a map). Each file outside the tree belongs to a Debian package; the package's source is the component, and its
copyright file is the notice. A file of no package, or a component that LICENCES does not know, ends this with an error that
names it: what is inside a program is never shipped without a notice.
"""
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Debian's source package: the component's name and its SPDX licence expression. LicenseRef-NAME: the notice has the texts.
GCC = ("GCC runtime libraries", "GPL-3.0-or-later WITH GCC-exception-3.1")
LICENCES = {
    "cli11": ("CLI11", "BSD-3-Clause"),
    "gcc-12": GCC,
    "gcc-14": GCC,
    "gcc-mingw-w64": GCC,
    "glibc": ("GNU C Library", "LGPL-2.1-or-later"),
    "libz-mingw-w64": ("zlib", "Zlib"),
    "linux": ("Linux headers", "GPL-2.0-only WITH Linux-syscall-note"),
    "mingw-w64": ("mingw-w64 runtime", "ZPL-2.1 AND LicenseRef-mingw-w64"),
    "nlohmann-json3": ("JSON for Modern C++", "MIT"),
    "tomlplusplus": ("toml++", "MIT"),
    "zlib": ("zlib", "Zlib"),
}
OBJECTS = (".obj", ".o")


def run(*command, folder=None):
    done = subprocess.run(command, text=True, capture_output=True, cwd=folder)
    if done.returncode != 0:
        sys.exit(f"{command[0]}: {done.stderr.strip() or done.stdout.strip()}")
    return done.stdout


def linked_files(link_map):
    """The archives of which the linker has taken a member, and the objects that it was given."""
    text = link_map.read_text(encoding="utf-8")
    taken, _, loaded = text.partition("\nMemory Configuration")
    yield from re.findall(r"^(\S.*\.a)\([^)]*\)", taken, re.M)
    yield from (name for name in re.findall(r"^LOAD (.+)$", loaded, re.M) if name.endswith(OBJECTS))


def headers(build):
    """The headers of each object file of a build."""
    found = {}
    for block in run("ninja", "-C", str(build), "-t", "deps").split("\n\n"):
        first, *names = block.splitlines() or [""]
        found[first.partition(": #deps")[0]] = [name.strip() for name in names]
    return found


def outside_files(build, program, included):
    """The files outside the tree that are inside a program, with links followed."""
    objects = [name for name in run("ninja", "-C", str(build), "-t", "inputs", f"bin/{program}").splitlines() if name.endswith(OBJECTS)]
    names = {*linked_files(build / f"bin/{program}.map"), *(name for item in objects for name in included.get(item, []))}
    files = {(build / name).resolve() for name in names}
    return {file for file in files if ROOT not in file.parents}


def packages_of(files):
    """The Debian package of each file."""
    names = sorted(map(str, files))
    # Status 1 when one is of no package; those are named below.
    done = subprocess.run(["dpkg", "-S", *names], text=True, capture_output=True)
    found = {}
    for line in done.stdout.splitlines():
        packages, _, name = line.partition(": ")
        if not packages.startswith("diversion by"):
            found[pathlib.Path(name)] = packages.split(", ")[0]
    unknown = sorted(str(file) for file in files if file not in found)
    if unknown:
        sys.exit("linked_components: no Debian package has " + ", ".join(unknown) +
                 "; link a library from a package, so that its notice can be found")
    return found


def describe(source, packages):
    """A component, with the notice that its packages bring."""
    if source not in LICENCES:
        sys.exit(f"linked_components: {source} ({', '.join(packages)}) is linked, and its licence is not known; add it to LICENCES")
    notices = []
    for package in packages:
        notice = pathlib.Path("/usr/share/doc", package.partition(":")[0], "copyright")
        if not notice.is_file():
            sys.exit(f"linked_components: {package} is linked and brings no notice: {notice} is missing")
        text = notice.read_text(encoding="utf-8")
        if text not in notices:
            notices.append(text)
    version, homepage = run("dpkg-query", "-W", "-f", "${Version}\t${Homepage}\n", packages[0]).splitlines()[0].split("\t")
    name, licence = LICENCES[source]
    return {"name": name, "source": source, "version": version, "homepage": homepage, "licence": licence,
            "packages": [package.partition(":")[0] for package in packages], "notices": notices}


def main():
    inside = {}  # build and program: files
    for build in map(pathlib.Path, sys.argv[1:]):
        included = headers(build)
        for link_map in sorted((build / "bin").glob("*.map")):
            program = link_map.name.removesuffix(".map")
            inside[f"{build}/bin/{program}"] = outside_files(build.resolve(), program, included)
    if not inside:
        sys.exit(f"linked_components: no link map in {' or '.join(sys.argv[1:]) or 'no folder'}; build first")
    package_of = packages_of(set().union(*inside.values()))
    packages = sorted(set(package_of.values()))
    lines = run("dpkg-query", "-W", "-f", "${source:Package}\n", *packages).splitlines()
    source_of = dict(zip(packages, lines, strict=True))
    programs = {program: sorted({source_of[package_of[file]] for file in files}) for program, files in inside.items()}
    used = sorted(set(source_of.values()))
    components = {source: describe(source, [package for package in packages if source_of[package] == source]) for source in used}
    json.dump({"programs": programs, "components": components}, sys.stdout, indent=1)


if __name__ == "__main__":
    main()
