#!/usr/bin/env python3
"""make_installer.py OUT X64_DLL X86_DLL   makes the MSI that installs and registers the DLLs of both widths.

Its registry entries are those that the DLLs would write themselves: the classes' from the same registration scripts, the
type library's as the system writes them. The same DLLs give the same bytes; SOURCE_DATE_EPOCH is the time in it.
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


def add_component(facts, parent, width):
    system_folder, attributes = WIDTHS[width]
    folder = add(add(parent, "Directory", Id=system_folder), "Directory", Id=f"varnel_{width}", Name="varnel")
    component = add(folder, "Component", Id=width, Guid=guid(facts, f"component {width}"), **attributes)
    add(component, "File", Id=f"dll_{width}", Name="varnel.dll", Source=f"{width}.dll", KeyPath="yes")
    module = f"[#dll_{width}]"
    keys = [key for entry in contract.load(module).served for key in entry.keys]
    for path, values in keys + list(type_library_keys(facts, width, module, f"[varnel_{width}]")):
        for name, text in values or [(EMPTY_KEY, "")]:
            named = {"Name": name} if name else {}
            add(component, "RegistryValue", Root="HKCR", Key=path, Type="string", Value=text, **named)


def description(facts):
    root = xml.Element("Wix", xmlns=WIX)
    product = add(root, "Product", Id=guid(facts, f"product {facts.version}"), Name="varnel", Language=1033,
                  Version=facts.version, Manufacturer="varnel", UpgradeCode=guid(facts, "upgrade"))
    add(product, "Package", InstallerVersion=200, Compressed="yes", InstallScope="perMachine",
        Description=f"varnel {facts.version}", Comments="Event reporting, for 64-bit and 32-bit products")
    add(product, "Media", Id=1, Cabinet="varnel.cab", EmbedCab="yes")
    add(product, "MajorUpgrade", DowngradeErrorMessage="A newer version of varnel is installed. Remove it first.")
    add(product, "Condition", Message="Install varnel as an administrator.").text = "Privileged"
    target = add(product, "Directory", Id="TARGETDIR", Name="SourceDir")
    feature = add(product, "Feature", Id="varnel", Level=1)
    for width in WIDTHS:
        add_component(facts, target, width)
        add(feature, "ComponentRef", Id=width)
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
    """Replaces what the compiler takes from chance and from the clock, and says which version the files are: an
    installer replaces a file by a newer one only if both have one."""
    moment = time.strftime("%Y/%m/%d %H:%M:%S", time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"])))
    settled = {"9": code, "12": moment, "13": moment}
    summary = rows_of(msi, "_SummaryInformation")
    import_table(msi, folder, "_SummaryInformation", summary[:3] + [[row[0], settled.get(row[0], row[1])] for row in summary[3:]])
    files = rows_of(msi, "File")
    version, language = files[0].index("Version"), files[0].index("Language")
    for row in files[3:]:
        row[version], row[language] = facts.version + ".0", "1033"
    import_table(msi, folder, "File", files)
    import_table(msi, folder, "MsiFileHash", rows_of(msi, "MsiFileHash")[:3])  # for files without a version
    # An older version goes within the same transaction: when this one cannot be installed, that one stays.
    steps = rows_of(msi, "InstallExecuteSequence")
    order = {row[0]: row for row in steps}
    order["RemoveExistingProducts"][2] = str(int(order["InstallInitialize"][2]) + 1)
    import_table(msi, folder, "InstallExecuteSequence", steps)


def main():
    target, *dlls = sys.argv[1:]
    facts, epoch = contract.load(""), int(os.environ["SOURCE_DATE_EPOCH"])
    text = description(facts)
    content = hashlib.sha256(f"{text}{epoch}".encode())
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for width, dll in zip(WIDTHS, dlls, strict=True):
            copy = folder / f"{width}.dll"
            copy.write_bytes(pathlib.Path(dll).read_bytes())
            os.utime(copy, (epoch, epoch))
            content.update(copy.read_bytes())
        (folder / "varnel.wxs").write_text(text, encoding="utf-8")
        run("wixl", "--arch", "x64", "--output", "varnel.msi", "varnel.wxs", folder=folder)
        msi = folder / "varnel.msi"
        settle(facts, str(msi), folder, guid(facts, f"package {content.hexdigest()}"))
        pathlib.Path(target).write_bytes(msi.read_bytes())


if __name__ == "__main__":
    main()
