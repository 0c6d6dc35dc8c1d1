#!/usr/bin/python3
"""varnel verify: packages with every kind of difference, and zips that lie about themselves."""
import hashlib
import json
import pathlib
import random
import subprocess
import tempfile
import unittest
import zipfile

from tool import LIBRARY, NATIVE, ROOT, ToolTest, natively, windows_only

TRUST = ROOT / "build/mingw-x64-tests/tests/trust.exe"
TOP = "varnel-1.0.0-win64"
FILES = {"README.txt": b"hello\n", "bin/a.bin": bytes(range(256)) * 1000, "docs/\u00e9t\u00e9.md": b"summer", "empty": b""}
ENTRY, END = b"PK\x01\x02", b"PK\x05\x06"


def bill(files):
    return json.dumps({"spdxVersion": "SPDX-2.3", "name": f"{TOP}.zip", "files": [
        {"fileName": f"./{name}", "checksums": [{"algorithm": "SHA1", "checksumValue": "0"},
                                                {"algorithm": "SHA256", "checksumValue": hashlib.sha256(data).hexdigest()}]}
        for name, data in files.items()]}).encode()


def patched(mark, offset, value, size=4):
    """A change of a number in the first record with this mark."""
    def change(data):
        at = data.index(mark) + offset
        return data[:at] + value.to_bytes(size, "little") + data[at + size:]
    return change


class Verify(ToolTest):
    PREFIX = "tool_verify_agent"

    def setUp(self):
        self.place = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def lay_out(self, files):
        for name, data in files.items():
            path = self.place / TOP / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(data)
        return self.place / TOP

    def pack(self, entries, method=zipfile.ZIP_DEFLATED):
        """A zip of these pairs of name and bytes."""
        path = self.place / "package.zip"
        with zipfile.ZipFile(path, "w", method) as package:
            for name, data in entries:
                package.writestr(zipfile.ZipInfo(name), data, method)
        return path

    def verify(self, path, status=0):
        return self.varnel("verify", ("" if NATIVE else "Z:") + str(path), status=status)

    def test_what_differs_is_named(self):
        changed = FILES | {"bin/a.bin": FILES["bin/a.bin"][:-1] + b"!"}
        without = {name: data for name, data in FILES.items() if name != "empty"}
        rows = [("nothing", FILES, []), ("flipped byte", changed, ["bin/a.bin: differs from"]),
                ("missing", without, ["empty: is missing"]),
                ("additional", FILES | {"bin/evil.dll": b"x"}, ["bin/evil.dll: is not part of the package"]),
                ("all", {**changed, "z": b""}, ["bin/a.bin: differs from", "z: is not part"])]
        for row, files, faults in rows:
            files = files | {"varnel.spdx.json": bill(FILES)}
            for method in (zipfile.ZIP_DEFLATED, zipfile.ZIP_STORED):
                entries = [(f"{TOP}/{name}", data) for name, data in files.items()]
                with self.subTest(row, method=method):
                    output, _ = self.verify(self.pack(entries, method), 1 if faults else 0)
                    for fault in faults:
                        self.assertIn(f"{TOP}/{fault}", output)
                    self.assertIn(f"{TOP}.zip: {len(FILES)} files, " + (f"{len(faults)} fault" if faults else "all as packaged"), output)
            with self.subTest(row, method="folder"), tempfile.TemporaryDirectory(dir=self.place) as place:
                self.place, before = pathlib.Path(place), self.place
                output, _ = self.verify(self.lay_out(files), 1 if faults else 0)
                for fault in faults:
                    self.assertIn("\n" + fault, "\n" + output)
                self.place = before

    @natively
    def test_hostile_zips_are_refused(self):
        whole = [("varnel.spdx.json", bill(FILES)), *FILES.items()]
        rows = [("climbs", [*whole, ("../x", b"")], None, "lead out of the folder"),
                ("absolute", [*whole, ("/x", b"")], None, "lead out of the folder"),
                ("drive", [*whole, ("C:x", b"")], None, "lead out of the folder"),
                ("backslash", [*whole, ("..\\x", b"")], None, "lead out of the folder"),
                ("twice", [*whole, ("readme.TXT", b"")], None, "twice"),
                ("too large", whole, patched(ENTRY, 24, 0xF0000000), "larger than a package's"),
                ("overlap", whole, patched(ENTRY, 20, 0xF0000000), "overlap"),
                ("encrypted", whole, patched(ENTRY, 8, 1, 2), "encrypted"),
                ("other method", whole, patched(ENTRY, 10, 12, 2), "other ways"),
                ("elsewhere", whole, patched(ENTRY, 42, 1), "not where the directory says"),
                ("bomb", whole, patched(ENTRY, 24, 10), "larger than the directory says"),
                ("check sum", whole, patched(ENTRY, 16, 7), "not the one that was packed"),
                ("two names", whole, patched(b"PK\x03\x04", 30, 0x58, 1), "two names"),
                ("directory", whole, patched(END, 16, 5), "directory is damaged"),
                ("behind the end", whole, patched(END, 16, 0xFFFFFF00), "cut off"),
                ("too many", whole, patched(END, 10, 65_000, 2), "more files than a package"),
                ("Zip64", whole, patched(END, 16, 0xFFFFFFFF), "Zip64"),
                ("link", whole, patched(ENTRY, 38, 0o120777 << 16), "is a link"),
                ("no zip", whole, lambda data: data[:-1], "neither a folder nor a zip"),
                ("no SBOM", [*FILES.items()], None, "has no varnel.spdx.json"),
                ("no JSON", [("varnel.spdx.json", b"[" * 100_000)], None, "not an SBOM"),
                ("a bomb for an SBOM", [("varnel.spdx.json", b" " * 5_000_000)], None, "too large")]
        for row, entries, change, fault in rows:
            with self.subTest(row):
                path = self.pack(entries)
                if change:
                    path.write_bytes(change(path.read_bytes()))
                self.assertIn(fault, self.verify(path, 2)[1])

    @natively
    def test_any_damage_ends_with_a_status(self):
        good = self.pack([("varnel.spdx.json", bill(FILES)), *FILES.items()]).read_bytes()
        chance = random.Random(20)
        for number in range(60):
            data = bytearray(good)
            for _ in range(chance.randint(1, 4)):
                data[chance.randrange(len(data))] = chance.choice((0, 255, chance.randrange(256)))
            path = self.place / "damaged.zip"
            path.write_bytes(data[:chance.choice((len(data), chance.randrange(len(data))))])
            with self.subTest(number):
                output, errors = self.verify(path, None)
                self.assertTrue(output.endswith(("faults\n", "fault\n", "packaged\n")) or errors.startswith("varnel: "), output + errors)

    # WINE: 8 shows links of the host as what they lead to, and makes none of its own.
    @natively
    def test_links_are_refused(self):
        folder = self.lay_out({"empty": b"", "varnel.spdx.json": bill({"empty": b"", "link": b""})})
        for target in ("empty", "..", "nothing"):
            (folder / "link").symlink_to(target)
            with self.subTest(target):
                self.assertIn("link is a link or a device", self.verify(folder, 2)[1])
            (folder / "link").unlink()

    @windows_only
    def test_signatures(self):
        key, certificate = self.place / "key.pem", self.place / "certificate.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Throw-away", "-addext",
                        "extendedKeyUsage=codeSigning", "-keyout", key, "-out", certificate], check=True, capture_output=True)
        subprocess.run(["osslsigncode", "sign", "-certs", certificate, "-key", key, "-in", LIBRARY, "-out", self.place / "signed.dll"],
                       check=True, capture_output=True)
        files = {"plain.dll": LIBRARY.read_bytes(), "signed.dll": (self.place / "signed.dll").read_bytes()}
        folder = self.lay_out({**files, "varnel.spdx.json": bill(files)})
        output, _ = self.verify(folder, 1)
        self.assertIn("plain.dll: is not signed", output)
        self.assertIn("signed.dll: signature: its signer is not trusted", output)
        root = self.place / "certificate.der"
        subprocess.run(["openssl", "x509", "-in", certificate, "-outform", "DER", "-out", root], check=True)
        self.assertEqual(0, self.prefix.run(TRUST, "Z:" + str(root))[0])
        output, _ = self.verify(folder)
        self.assertIn("signed.dll: has a signature that is intact and trusted", output)


if __name__ == "__main__":
    unittest.main()
