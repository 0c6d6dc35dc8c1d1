#!/usr/bin/python3
"""headers_test.py CC CXX FOLDER...   compiles the client headers from these folders as products may include them.

Before and after Windows's headers, in every language they are for; and in those they are not for, where one line has to
say what is wrong.
"""
import pathlib
import subprocess
import sys
import unittest

CC, CXX, *FOLDERS = sys.argv[1:]
sys.argv[1:] = []
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Wsign-conversion", "-Werror"]
# What <windows.h> gives a program, whoever includes it first.
USES = "void Use(void);\nvoid Use(void) { WSADATA data; WSAStartup(0x202, &data); ShellExecuteW(0, 0, 0, 0, 0, 0); }\n"


def compile_text(text, *options):
    """The compiler's messages; none when it has nothing to say."""
    compiler, language = (CXX, "c++") if any("++" in option for option in options) else (CC, "c")
    command = [compiler, "-fsyntax-only", "-x", language, *options, *(f"-I{folder}" for folder in FOLDERS), "-"]
    return subprocess.run(command, input=text, text=True, stderr=subprocess.PIPE, check=False).stderr


def includes(*headers):
    return "".join(f"#include <{header}>\n" for header in headers)


class Headers(unittest.TestCase):
    def expect_clean(self, text, *options):
        with self.subTest(text=text, options=options):
            self.assertEqual("", compile_text(text, *WARNINGS, *options))

    def test_any_order_beside_the_headers_of_windows(self):
        own = "varnel/varnel.hpp"
        for order in ((own, "winsock2.h"), ("windows.h", own), (own, "winsock.h"), ("winsock.h", own)):
            self.expect_clean(includes(*order), "-std=c++17")
        self.expect_clean(includes(own, "winsock2.h", "windows.h"), "-std=c++20", "-DWIN32_LEAN_AND_MEAN", "-DNOMINMAX")
        self.expect_clean(includes("varnel/testing.hpp", "windows.h"), "-std=c++20", "-DWIN32_LEAN_AND_MEAN", "-DNOMINMAX", "-DUNICODE")
        for own in ("varnel/varnel.h", "varnel/self_protection_client.h"):
            for order in ((own, "winsock2.h"), ("winsock2.h", own), ("initguid.h", own, "ws2tcpip.h")):
                self.expect_clean(includes(*order), "-std=c99")

    def test_windows_h_gives_all_that_it_gives_without_us(self):
        for own, standard in (("varnel/varnel.hpp", "-std=c++17"), ("varnel/varnel.h", "-std=c11"),
                              ("varnel/self_protection_client.h", "-std=c++98")):
            self.expect_clean(includes(own, "windows.h") + USES, standard)

    def test_c_gets_the_method_macros_of_windows_interfaces_too(self):
        self.expect_clean(includes("varnel/varnel.h") + "void Use(IClassFactory* factory);\n"
                          "void Use(IClassFactory* factory) { IClassFactory_Release(factory); }\n", "-std=c99")

    def test_another_language_gets_one_line(self):
        for standard in ("-std=c++98", "-std=c++14", "-std=c99"):
            said = compile_text(includes("varnel/varnel.hpp"), standard)
            with self.subTest(standard):
                self.assertEqual(1, said.count("error:"), said)
                self.assertIn("varnel/varnel.hpp needs C++17 (-std=c++17, /std:c++17)", said)

    def test_parts_of_the_test_kit_include_what_they_need_and_need_exceptions(self):
        parts = sorted(path.name for path in pathlib.Path(FOLDERS[0]).glob("varnel/testing/*.hpp"))
        self.expect_clean(includes(*(f"varnel/testing/{part}" for part in parts[::-1])), "-std=c++17")
        said = compile_text(includes("varnel/testing.hpp"), "-std=c++17", "-fno-exceptions")
        self.assertEqual(1, said.count("error:"), said)
        self.assertIn("varnel/testing.hpp needs exceptions", said)

    def test_throwing_form_without_exceptions_names_the_other_one(self):
        calls = ("varnel::Report(library, {});", "report.Save();", 'report.AddEvent("E", 1, 1);', 'element.SetAttribute("A", 1);',
                 'element.AddChild("C");', 'library.FromFile(L"");')
        said = compile_text(includes("varnel/varnel.hpp") +
                            "void Use(varnel::Library& library, varnel::Report& report, varnel::Element& element) {\n" +
                            "".join(f"  {call}\n" for call in calls) + "}\n", "-std=c++17", "-fno-exceptions")
        self.assertEqual(len(calls), said.count("error: static assertion failed"), said)
        self.assertEqual(len(calls), said.count("exceptions are switched off. Use its Try form"), said)
        for line in range(3, 3 + len(calls)):
            self.assertRegex(said, rf"<stdin>:{line}:\d+: +required from here")

    def test_self_protection_client_is_checked_against_the_header(self):
        for standard in ("-std=c99", "-std=c++17"):
            start = includes("varnel/self_protection_client.h") + "SelfProtectionRequestFunction SelfProtectionRequestException;\n"
            body = ("WINAPI SelfProtectionRequestException(DWORD processId, const wchar_t* path, {} token)"
                    " {{ (void)processId; (void)path; (void)token; return 1; }}\n")
            self.expect_clean(start + "LONG " + body.format("ULONGLONG*"), standard)
            if standard == "-std=c99":
                self.assertIn("conflicting types", compile_text(start + "LONG " + body.format("ULONG*"), standard))


if __name__ == "__main__":
    unittest.main()
