#!/usr/bin/env python3
"""make_nuget.py FOLDER COMPANY URL WIN64 WIN32   lays a NuGet package for native projects out in FOLDER.

WIN64 and WIN32 are the folders of the zips' packages. build/native/win64 and win32 are CMake packages of their own; MSBuild
takes include path, libraries and, with VarnelSideBySide, the DLL from them. The caller adds notices and SBOM and zips it.
"""
import pathlib
import re
import shutil
import sys
import xml.etree.ElementTree as xml

ROOT = pathlib.Path(__file__).resolve().parent.parent
VERSION = re.search(r"project\(varnel VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
DESCRIPTION = re.search(r'DESCRIPTION "([^"]+)"', (ROOT / "CMakeLists.txt").read_text()).group(1)
NUSPEC = "http://schemas.microsoft.com/packaging/2013/05/nuspec.xsd"
MSBUILD = "http://schemas.microsoft.com/developer/msbuild/2003"
TYPES = "http://schemas.openxmlformats.org/package/2006/content-types"
RELATIONS = "http://schemas.openxmlformats.org/package/2006/relationships"
MANIFEST = "http://schemas.microsoft.com/packaging/2010/07/manifest"
# What a product needs of a package of one width.
PARTS = ("bin/varnel.dll", "bin/varnel.sxs.manifest", "include", "lib")
SHARED = ("CHANGELOG.md", "README.txt", "docs", "samples", "schema")


def add(parent, name, text=None, **attributes):
    element = xml.SubElement(parent, name, attributes)
    element.text = text
    return element


def write(path, root):
    path.parent.mkdir(parents=True, exist_ok=True)
    xml.indent(root)
    path.write_bytes(xml.tostring(root, encoding="utf-8", xml_declaration=True) + b"\n")


def nuspec(company, url):
    root = xml.Element("package", xmlns=NUSPEC)
    metadata = add(root, "metadata")
    for name, text in (("id", "varnel"), ("version", VERSION), ("title", "varnel"), ("authors", company), ("owners", company),
                       ("projectUrl", url), ("requireLicenseAcceptance", "false"), ("description", f"{DESCRIPTION}, for native projects."),
                       ("tags", "native com event-reporting")):
        add(metadata, name, text)
    return root


def properties():
    """Imported at the start of a project."""
    root = xml.Element("Project", xmlns=MSBUILD)
    group = add(root, "PropertyGroup")
    add(group, "VarnelSideBySide", "false", Condition="'$(VarnelSideBySide)' == ''")
    return root


def targets():
    """Imported at the end of a project, when its platform is known."""
    root = xml.Element("Project", xmlns=MSBUILD)
    group = add(root, "PropertyGroup")
    for platform, width, architecture in (("==", "win64", "amd64"), ("!=", "win32", "x86")):
        add(group, "VarnelFolder", rf"$(MSBuildThisFileDirectory){width}\ ".strip(), Condition=f"'$(Platform)' {platform} 'x64'")
        add(group, "VarnelArchitecture", architecture, Condition=f"'$(Platform)' {platform} 'x64'")
    definitions = add(root, "ItemDefinitionGroup")
    add(add(definitions, "ClCompile"), "AdditionalIncludeDirectories", "$(VarnelFolder)include;%(AdditionalIncludeDirectories)")
    add(add(definitions, "Link"), "AdditionalDependencies", "ole32.lib;oleaut32.lib;%(AdditionalDependencies)")
    side_by_side = add(root, "ItemDefinitionGroup", Condition="'$(VarnelSideBySide)' == 'true'")
    add(add(side_by_side, "Link"), "AdditionalManifestDependencies",
        f"type='win32' name='varnel.sxs' version='{VERSION}.0' processorArchitecture='$(VarnelArchitecture)';"
        "%(AdditionalManifestDependencies)")
    target = add(root, "Target", Name="CopyVarnel", AfterTargets="Build", Condition="'$(VarnelSideBySide)' == 'true'")
    add(target, "Copy", SourceFiles=r"$(VarnelFolder)bin\varnel.dll;$(VarnelFolder)bin\varnel.sxs.manifest",
        DestinationFolder="$(OutDir)", SkipUnchangedFiles="true")
    return root


def content_types(folder):
    root = xml.Element("Types", xmlns=TYPES)
    add(root, "Default", Extension="rels", ContentType="application/vnd.openxmlformats-package.relationships+xml")
    # Of the notices and the SBOM, too, which are added later.
    for extension in sorted({file.suffix[1:] for file in folder.rglob("*") if file.suffix} | {"txt", "json"} - {"rels"}):
        add(root, "Default", Extension=extension, ContentType="application/octet")
    for file in sorted(file for file in folder.rglob("*") if file.is_file() and "." not in file.name):
        add(root, "Override", PartName=f"/{file.relative_to(folder).as_posix()}", ContentType="application/octet")
    return root


def relations():
    root = xml.Element("Relationships", xmlns=RELATIONS)
    add(root, "Relationship", Id="R1", Type=MANIFEST, Target="/varnel.nuspec")
    return root


def main():
    folder, company, url, *kits = sys.argv[1:]
    folder = pathlib.Path(folder)
    for width, kit in zip(("win64", "win32"), map(pathlib.Path, kits), strict=True):
        for part in PARTS:
            target = folder / "build/native" / width / part
            target.parent.mkdir(parents=True, exist_ok=True)
            (shutil.copytree if (kit / part).is_dir() else shutil.copyfile)(kit / part, target)
    for part in SHARED:
        source = pathlib.Path(kits[0], part)
        (shutil.copytree if source.is_dir() else shutil.copyfile)(source, folder / part)
    write(folder / "varnel.nuspec", nuspec(company, url))
    write(folder / "build/native/varnel.props", properties())
    write(folder / "build/native/varnel.targets", targets())
    write(folder / "[Content_Types].xml", content_types(folder))
    write(folder / "_rels/.rels", relations())


if __name__ == "__main__":
    main()
