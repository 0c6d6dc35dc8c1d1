#!/usr/bin/env python3
"""make_manifest.py ARCHITECTURE OUT   writes the side-by-side manifest of the DLL of that architecture (amd64 or x86).

With it and the DLL in a product's own folder, the product activates the classes without registration. The assembly is not
named like the DLL: the system would look for the manifest inside varnel.dll.
"""
import sys
from xml.sax.saxutils import quoteattr

import contract

HEAD = """<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">
  <assemblyIdentity type="win32" name="varnel.sxs" version={version} processorArchitecture={architecture}/>
  <file name="varnel.dll">
"""
CLASS = """    <comClass description={description} clsid={clsid} threadingModel={model} tlbid={tlbid} progid={progid}>
      <progid>{general}</progid>
    </comClass>
"""
LIBRARY = """    <typelib tlbid={tlbid} version={version} helpdir=""/>
  </file>
"""
INTERFACE = """  <comInterfaceExternalProxyStub name={name} iid={iid} tlbid={tlbid} proxyStubClsid32={proxy}/>
"""


def described(entry, tlbid):
    """A class as its registration script describes it."""
    values = {(path.split("\\")[-1], name): text for path, pairs in entry.keys for name, text in pairs}
    return CLASS.format(description=quoteattr(values[entry.guid, ""]), clsid=quoteattr(entry.guid), tlbid=tlbid,
                        model=quoteattr(values["InprocServer32", "ThreadingModel"]),
                        progid=quoteattr(values["ProgID", ""]), general=values["VersionIndependentProgID", ""])


def manifest(facts, architecture):
    tlbid = quoteattr(facts.guid)
    text = HEAD.format(version=quoteattr(facts.version + ".0"), architecture=quoteattr(architecture))
    text += "".join(described(entry, tlbid) for entry in facts.served)
    text += LIBRARY.format(tlbid=tlbid, version=quoteattr(facts.library_version))
    for entry in facts.interfaces:
        text += INTERFACE.format(name=quoteattr(entry.name), iid=quoteattr(entry.guid), tlbid=tlbid,
                                 proxy=quoteattr(entry.proxy))
    return text + "</assembly>\n"


def main():
    architecture, target = sys.argv[1:]
    if architecture not in ("amd64", "x86"):
        sys.exit(f"{architecture}: amd64 or x86 wanted")
    with open(target, "w", encoding="utf-8", newline="\r\n") as file:
        file.write(manifest(contract.load("varnel.dll"), architecture))


if __name__ == "__main__":
    main()
