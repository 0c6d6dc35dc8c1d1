#!/usr/bin/env python3
"""make_sbom.py FACTS COMPANY NAME FOLDER [SUBFOLDER=BUILD]...   writes NOTICES.txt and varnel.spdx.json into a package's folder.

FACTS is what linked_components.py has printed, NAME the package's file name. SUBFOLDER=BUILD says in which build folder the
programs of a subfolder, or the one of that name, were linked; a program, or its symbols, without these facts is an error. The SBOM is SPDX 2.3 in JSON:
every file of the folder but itself with its sums, every component that is linked in. SOURCE_DATE_EPOCH is the time in it, so
the same files give the same bytes.
"""
import datetime
import hashlib
import json
import os
import pathlib
import re
import sys
import uuid

ROOT = pathlib.Path(__file__).resolve().parent.parent
VERSION = re.search(r"project\(varnel VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
SBOM, NOTICES = "varnel.spdx.json", "NOTICES.txt"
KINDS = {".md": "DOCUMENTATION", ".txt": "TEXT", ".png": "IMAGE", ".json": "TEXT", ".xml": "TEXT", ".vbs": "SOURCE",
         **dict.fromkeys((".c", ".cpp", ".cs", ".go", ".h", ".hpp", ".rs"), "SOURCE")}
HEADING = """\
What others wrote and is inside the programs of this package, with the notices that it comes with. These notices do not
license varnel itself. Files under /usr/share/common-licenses that a notice names are at https://www.gnu.org/licenses/.
"""


def is_program(file):
    with file.open("rb") as data:
        return data.read(4).startswith((b"MZ", b"\x7fELF"))


def programs(folder, builds, facts):
    """The components in each program and each file with symbols, by its name in the package."""
    found = {}
    for file in sorted(folder.rglob("*")):
        if not file.is_file() or not is_program(file):
            continue
        name = file.relative_to(folder).as_posix()
        build = builds.get(name) or builds.get(file.parent.relative_to(folder).as_posix())
        key = f"{build}/bin/{file.name.removesuffix('.debug')}"
        if key not in facts["programs"]:
            sys.exit(f"make_sbom: what is inside {name} is not known: there is no link map for it in {build or 'any build folder'}")
        found[name] = facts["programs"][key]
    return found


def notices(components, inside):
    parts = [HEADING]
    for source, component in components.items():
        line = "=" * 120
        names = [name for name, sources in inside.items() if source in sources]
        parts.append(f"{line}\n{component['name']} {component['version']} ({component['licence']})\n{component['homepage']}\n"
                     f"inside {', '.join(names)}\n{line}\n\n" + "\n\n".join(text.strip() for text in component["notices"]) + "\n")
    return "\n".join(parts)


def sums(file):
    data = file.read_bytes()
    return [{"algorithm": name, "checksumValue": hashlib.new(name.lower(), data).hexdigest()} for name in ("SHA1", "SHA256")]


def file_entries(folder):
    names = sorted(file.relative_to(folder).as_posix() for file in folder.rglob("*") if file.is_file())
    return [{"SPDXID": f"SPDXRef-File-{number}", "fileName": f"./{name}", "checksums": sums(folder / name),
             "fileTypes": ["BINARY" if is_program(folder / name) else KINDS.get(pathlib.PurePath(name).suffix, "OTHER")]}
            for number, name in enumerate((name for name in names if name != SBOM), 1)]


def component_entry(component):
    entry = {"SPDXID": f"SPDXRef-Component-{component['source']}", "name": component["name"], "versionInfo": component["version"],
             "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "supplier": "Organization: Debian",
             "licenseConcluded": component["licence"], "licenseDeclared": component["licence"],
             "copyrightText": "NOASSERTION", "comment": f"The notice is in {NOTICES}.",
             "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                               "referenceLocator": f"pkg:deb/debian/{package.replace('+', '%2B')}@{component['version'].replace('+', '%2B')}"}
                              for package in component["packages"]]}
    return entry | ({"homepage": component["homepage"]} if component["homepage"] else {})


def own_entry(name, company, files):
    content = "".join(sorted(entry["checksums"][0]["checksumValue"] for entry in files))
    return {"SPDXID": "SPDXRef-Package", "name": "varnel", "versionInfo": VERSION, "packageFileName": name,
            "supplier": f"Organization: {company}", "downloadLocation": "NOASSERTION", "filesAnalyzed": True,
            "licenseConcluded": "NOASSERTION", "licenseDeclared": "NOASSERTION", "copyrightText": "NOASSERTION",
            "packageVerificationCode": {"packageVerificationCodeValue": hashlib.sha1(content.encode()).hexdigest(),
                                        "packageVerificationCodeExcludedFiles": [f"./{SBOM}"]},
            "hasFiles": [entry["SPDXID"] for entry in files]}


def extracted_licences(components):
    for component in components:
        for licence in re.findall(r"LicenseRef-[\w.-]+", component["licence"]):
            yield {"licenseId": licence, "name": f"Licences of parts of {component['name']}", "extractedText": "\n".join(component["notices"])}


def sbom(name, company, folder, components, inside):
    files = file_entries(folder)
    own = own_entry(name, company, files)
    identifier = {entry["fileName"][2:]: entry["SPDXID"] for entry in files}
    related = [("SPDXRef-DOCUMENT", "DESCRIBES", own["SPDXID"])] + [
        (identifier[program], "STATIC_LINK", f"SPDXRef-Component-{source}") for program, sources in inside.items() for source in sources]
    created = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    licences = [*extracted_licences(components.values())]
    namespace = uuid.uuid5(uuid.NAMESPACE_URL, name + own["packageVerificationCode"]["packageVerificationCodeValue"])
    return {"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": name,
            "documentNamespace": f"https://spdx.org/spdxdocs/{name}-{namespace}",
            "creationInfo": {"created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
                             "creators": [f"Organization: {company}", f"Tool: make_sbom.py-{VERSION}"]},
            "documentDescribes": [own["SPDXID"]],
            **({"hasExtractedLicensingInfos": licences} if licences else {}),
            "packages": [own, *(component_entry(component) for component in components.values())],
            "files": files,
            "relationships": [{"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other} for one, kind, other in related]}


def main():
    facts, company, name, folder, *pairs = sys.argv[1:]
    facts, folder = json.loads(pathlib.Path(facts).read_text(encoding="utf-8")), pathlib.Path(folder)
    inside = programs(folder, dict(pair.split("=", 1) for pair in pairs), facts)
    used = {source for sources in inside.values() for source in sources}
    components = {source: component for source, component in facts["components"].items() if source in used}
    (folder / NOTICES).write_text(notices(components, inside), encoding="utf-8")
    (folder / SBOM).write_text(json.dumps(sbom(name, company, folder, components, inside), indent=1) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
