#!/usr/bin/python3
"""check_documents.py --rows                     checks the schema of the event documents with the rows of rows.txt, and the
                                              example of docs/event-format.md with the schema
check_documents.py --saved FOLDER ENTRY...    checks the documents that CTest entries have kept in FOLDER/ENTRY

Prints each offence and returns 1 when there is one.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
SCHEMA = HERE.parent.parent / "schema/event-document.rng"
PAGE = HERE.parent.parent / "docs/event-format.md"
FILES_AT_A_TIME = 1000
MESSAGES = 5  # the first ones of a file say enough


def rows(name):
    lines = (HERE / name).read_text(encoding="utf-8").splitlines()
    return [line.split(" | ") for line in lines if line and not line.startswith("#")]


def verdicts(files):
    """For each file "right", "wrong" or, when it is not even XML, "broken", and what xmllint says about it."""
    found = {str(file): ["broken", []] for file in files}
    for first in range(0, len(files), FILES_AT_A_TIME):
        command = ["xmllint", "--noout", "--relaxng", SCHEMA, *files[first:first + FILES_AT_A_TIME]]
        said = subprocess.run(command, stderr=subprocess.PIPE, check=False).stderr.decode(errors="replace")
        for line in said.splitlines():
            name, verdict = re.fullmatch(r"(.*?)(:.*| validates| fails to validate|)", line).groups()
            if name in found and verdict.startswith(":"):
                found[name][1] = (found[name][1] + [line])[:MESSAGES]
            elif name in found:
                # It also calls a document valid that names an undeclared namespace.
                found[name][0] = "right" if verdict == " validates" and not found[name][1] else "wrong"
    return found


def document(report, fields):
    """A row's document: it stands there whole, or it is the report with one text in another's place."""
    if len(fields) == 1:
        return fields[0]
    old, new = (field.replace("nothing", "") for field in fields)
    if report.count(old) != 1:
        raise SystemExit(f"{old!r} does not stand once in report.xml")
    return report.replace(old, new)


def one_line(text):
    return "".join(map(str.strip, text.splitlines()))


def offences_of_rows(folder):
    report = one_line((HERE / "report.xml").read_text(encoding="utf-8"))
    example = one_line(re.search("^```xml\n(.*?)^```", PAGE.read_text(encoding="utf-8"), re.M | re.S).group(1))
    expected = {}
    for verdict, name, *fields in [*rows("rows.txt"), ["right", f"example of {PAGE.name}", example]]:
        path = folder / name
        if path.exists():
            raise SystemExit(f"two rows are called {name}")
        path.write_text(document(report, fields), encoding="utf-8")
        expected[str(path)] = verdict

    found = verdicts(list(expected))
    for path, (verdict, said) in found.items():
        if verdict != expected[path]:
            yield "\n  ".join([f"{pathlib.Path(path).name}: {verdict}, not {expected[path]}", *said])
    print(f"schema: {len(expected)} rows")


def exception_for(path, exceptions, text):
    """The number of the row that a file is an exception by, and the file put right, or None when nothing can do that."""
    for number, (_, entry, form, repair, _) in enumerate(exceptions):
        if not re.fullmatch(entry, path.parent.name):
            continue
        if repair == "-" and re.fullmatch(form, text, re.DOTALL):
            return number, None
        if repair != "-" and re.search(form, text):
            return number, re.sub(form, repair, text)
    return None, None


def offences_of_saved(folder, entries, repaired):
    files = sorted(folder.glob("*/*"))
    for entry in entries:
        if not any(file.parent.name == entry for file in files):
            yield f"{entry} has kept no document"
    exceptions = rows("not_documents.txt")
    used = [0] * len(exceptions)
    for path, (verdict, said) in verdicts(files).items():
        if verdict == "right":
            continue
        path = pathlib.Path(path)
        number, text = exception_for(path, exceptions, path.read_bytes().decode(errors="surrogateescape"))
        if number is None:
            yield "\n  ".join([f"{path}: {verdict}", *said])
            continue
        used[number] += 1
        if text is not None:
            (repaired / f"{path.parent.name}-{path.name}").write_bytes(text.encode(errors="surrogateescape"))
    for path, (verdict, said) in verdicts(sorted(repaired.iterdir())).items():
        if verdict != "right":
            yield "\n  ".join([f"{path}: {verdict}, for more than its exception", *said])
    for count, (often, *row) in zip(used, exceptions):
        if often == "always" and count == 0:
            yield f"nothing needs the exception {' | '.join(row)}"
    print(f"schema: {len(files)} documents, exceptions among them {used}")


def main():
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        if sys.argv[1:2] == ["--saved"]:
            found = list(offences_of_saved(pathlib.Path(sys.argv[2]), sys.argv[3:], folder))
        else:
            found = list(offences_of_rows(folder))
    print(*found, sep="\n", end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
