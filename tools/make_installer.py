#!/usr/bin/env python3
"""make_installer.py OUT FOLDER COMPANY CONTACT URL   makes the MSI that installs and registers the DLLs of both widths.

FOLDER has the files of each width in win64 and win32; varnel.exe is a feature of its own, which can be left out. The registry
entries are those that the DLLs would write themselves: the classes' from the same registration scripts, the type library's as
the system writes them. The same files give the same bytes; SOURCE_DATE_EPOCH is the time in it.
"""
import hashlib
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import uuid
import xml.etree.ElementTree as xml

import contract

WIX = "http://schemas.microsoft.com/wix/2006/wi"
# Width in the type library's keys, folder of the system, attributes of the component.
WIDTHS = {"win64": ("ProgramFiles64Folder", {"Win64": "yes"}), "win32": ("ProgramFilesFolder", {})}
# Windows wants a short name before a long one.
SHORT_NAMES = {"varnel.spdx.json": "VARSPDX.JSO|varnel.spdx.json"}
TOOL = "win64"  # the program is 64-bit
EMPTY_KEY = "*"  # instead of a value's name: the key itself, made and removed


def guid(facts, name):
    """The same name has the same identifier for ever."""
    return contract.braced(str(uuid.uuid5(uuid.UUID(facts.guid), name)))


def type_library_keys(facts, width, module, folder):
    version = rf"TypeLib\{facts.guid}\{facts.library_version}"
    yield version, [("", facts.description)]
    yield version + r"\FLAGS", [("", "0")]
    yield version + rf"\0\{width}", [("", module)]
    yield version + r"\HELPDIR", [("", folder)]
    for entry in facts.interfaces:
        key = rf"Interface\{entry.guid}"
        yield key, [("", entry.name)]
        yield key + r"\ProxyStubClsid", [("", entry.proxy)]
        yield key + r"\ProxyStubClsid32", [("", entry.proxy)]
        yield key + r"\TypeLib", [("", facts.guid), ("Version", facts.library_version)]


def add(parent, name, **attributes):
    return xml.SubElement(parent, name, {key: str(value) for key, value in attributes.items()})


def add_registration(facts, component, width):
    module = f"[#varnel.dll_{width}]"
    keys = [key for entry in contract.load(module).served for key in entry.keys]
    for path, values in keys + list(type_library_keys(facts, width, module, f"[varnel_{width}]")):
        for name, text in values or [(EMPTY_KEY, "")]:
            named = {"Name": name} if name else {}
            add(component, "RegistryValue", Root="HKCR", Key=path, Type="string", Value=text, **named)


def add_component(facts, folder, width, name, files):
    """A component with these files, of which the first decides whether it is installed."""
    component = add(folder, "Component", Id=name, Guid=guid(facts, f"component {name}"), **WIDTHS[width][1])
    for number, file in enumerate(files):
        add(component, "File", Id=f"{file}_{width}", Name=file, Source=f"{width}/{file}", KeyPath="no" if number else "yes")
    return component


def description(facts, company, contact, url):
    root = xml.Element("Wix", xmlns=WIX)
    product = add(root, "Product", Id=guid(facts, f"product {facts.version}"), Name="varnel", Language=1033,
                  Version=facts.version, Manufacturer=company, UpgradeCode=guid(facts, "upgrade"))
    add(product, "Package", InstallerVersion=200, Compressed="yes", InstallScope="perMachine",
        Description=f"varnel {facts.version}", Comments="Event reporting, for 64-bit and 32-bit products")
    add(product, "Media", Id=1, Cabinet="varnel.cab", EmbedCab="yes")
    add(product, "MajorUpgrade", DowngradeErrorMessage="A newer version of varnel is installed. Remove it first.")
    add(product, "Condition", Message="Install varnel as an administrator.").text = "Privileged"
    for name, text in (("ARPCONTACT", contact), ("ARPHELPLINK", url), ("ARPURLINFOABOUT", url)):
        add(product, "Property", Id=name, Value=text)
    target = add(product, "Directory", Id="TARGETDIR", Name="SourceDir")
    library = add(product, "Feature", Id="varnel", Title="varnel.dll", Level=1,
                  Description="The libraries for 64-bit and 32-bit products, registered.")
    tool = add(product, "Feature", Id="tool", Title="varnel.exe", Level=1, Description="The program for support.")
    for width, (system_folder, _) in WIDTHS.items():
        folder = add(add(target, "Directory", Id=system_folder), "Directory", Id=f"varnel_{width}", Name="varnel")
        add_registration(facts, add_component(facts, folder, width, width, ["varnel.dll", "NOTICES.txt", "varnel.spdx.json"]), width)
        add(library, "ComponentRef", Id=width)
        if width == TOOL:
            add_component(facts, folder, width, "tool", ["varnel.exe"])
            add(tool, "ComponentRef", Id="tool")
    return xml.tostring(root, encoding="unicode")


def run(*command, folder=None):
    done = subprocess.run(command, text=True, capture_output=True, cwd=folder, env=dict(os.environ, TZ="UTC"))
    # Its warnings are of its own inside; what it cannot do ends it.
    if done.returncode != 0:
        sys.exit(f"{command[0]}: {done.stderr.strip()}")
    return done.stdout


def import_table(msi, folder, name, rows):
    table = folder / f"{name}.idt"
    table.write_bytes("".join("\t".join(row) + "\r\n" for row in rows).encode())
    run("msibuild", msi, "-i", str(table))


def rows_of(msi, table):
    return [line.split("\t") for line in run("msiinfo", "export", msi, table).replace("\r", "").splitlines()]


def settle(facts, msi, folder, code):
    """Replaces what the compiler takes from chance and from the clock, and says which version the programs are: an
    installer replaces a file by a newer one only if both have one. Files without a version keep their hash."""
    moment = time.strftime("%Y/%m/%d %H:%M:%S", time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"])))
    settled = {"9": code, "12": moment, "13": moment}
    summary = rows_of(msi, "_SummaryInformation")
    import_table(msi, folder, "_SummaryInformation", summary[:3] + [[row[0], settled.get(row[0], row[1])] for row in summary[3:]])
    files = rows_of(msi, "File")
    version, language, name = (files[0].index(column) for column in ("Version", "Language", "FileName"))
    for row in files[3:]:
        row[name] = SHORT_NAMES.get(row[name], row[name])
    programs = [row for row in files[3:] if row[0].startswith(("varnel.dll_", "varnel.exe_"))]
    for row in programs:
        row[version], row[language] = facts.version + ".0", "1033"
    import_table(msi, folder, "File", files)
    hashes = rows_of(msi, "MsiFileHash")
    import_table(msi, folder, "MsiFileHash", hashes[:3] + [row for row in hashes[3:] if row[0] not in {row[0] for row in programs}])
    # An older version goes within the same transaction: when this one cannot be installed, that one stays.
    steps = rows_of(msi, "InstallExecuteSequence")
    order = {row[0]: row for row in steps}
    order["RemoveExistingProducts"][2] = str(int(order["InstallInitialize"][2]) + 1)
    import_table(msi, folder, "InstallExecuteSequence", steps)


def main():
    target, source, *maker = sys.argv[1:]
    facts, epoch = contract.load(""), int(os.environ["SOURCE_DATE_EPOCH"])
    text = description(facts, *maker)
    content = hashlib.sha256(f"{text}{epoch}".encode())
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for file in sorted(pathlib.Path(source).glob("*/*")):
            copy = folder / file.parent.name / file.name
            copy.parent.mkdir(exist_ok=True)
            copy.write_bytes(file.read_bytes())
            os.utime(copy, (epoch, epoch))
            content.update(copy.read_bytes())
        (folder / "varnel.wxs").write_text(text, encoding="utf-8")
        run("wixl", "--arch", "x64", "--output", "varnel.msi", "varnel.wxs", folder=folder)
        msi = folder / "varnel.msi"
        settle(facts, str(msi), folder, guid(facts, f"package {content.hexdigest()}"))
        pathlib.Path(target).write_bytes(msi.read_bytes())


if __name__ == "__main__":
    main()
