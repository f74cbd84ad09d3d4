#!/usr/bin/env python3
"""Checks the reference generator against the IDL it reads: nothing dropped, drift noticed.

What each row says (dispids, kinds, types, which classes a host creates) is pinned by
reference_up_to_date, which compares the generated page with docs/reference.md."""
import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path.insert(0, os.path.join(ROOT, "interfaces"))
import reference  # noqa: E402

IDL = os.path.join(ROOT, "interfaces", "tarvolin.idl")


class ReferenceTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with open(IDL, encoding="utf-8") as f:
            cls.text = f.read()
        cls.enums, cls.interfaces, cls.library = reference.parse_idl(cls.text)

    def test_every_declaration_is_read(self):
        # Counted independently of the parser, straight from the text.
        self.assertEqual(len(self.interfaces), len(re.findall(r"^interface \w+ : \w+", self.text, re.M)))
        self.assertEqual(len(self.library["classes"]), len(re.findall(r"\bcoclass \w+", self.text)))
        self.assertEqual(sum(len(i["members"]) for i in self.interfaces), len(re.findall(r"\bid\(", self.text)))
        self.assertEqual(sum(len(e["values"]) for e in self.enums),
                         len(re.findall(r"^\s+[A-Z_]+ = -?\d+,?$", self.text, re.M)))

    def test_check_notices_drift(self):
        with tempfile.TemporaryDirectory() as tmp:
            doc = os.path.join(tmp, "reference.md")
            script = os.path.join(ROOT, "interfaces", "reference.py")
            subprocess.run([sys.executable, script, IDL, doc], check=True)
            ok = subprocess.run([sys.executable, script, "--check", IDL, doc], capture_output=True)
            self.assertEqual(ok.returncode, 0)
            changed = os.path.join(tmp, "changed.idl")
            with open(changed, "w", encoding="utf-8") as f:
                f.write(self.text.replace("id(5), helpstring(\"property AsName\")",
                                          "id(6), helpstring(\"property AsName\")"))
            bad = subprocess.run([sys.executable, script, "--check", changed, doc], capture_output=True, text=True)
            self.assertEqual(bad.returncode, 1)
            self.assertIn("+| 6 | `AsName`", bad.stdout)
            self.assertIn("out of date", bad.stderr)

    def test_unknown_declarations_are_errors(self):
        for text in ("struct S { long a; };",
                     "typedef [v1_enum] enum E { A } E;",  # enumerator without a value
                     "[uuid(1)] interface I : IDispatch { [propget] HRESULT X([out, retval] long* p); };"):
            with self.assertRaises(reference.IdlError):
                reference.parse_idl(text + " [uuid(2)] library L { };")


if __name__ == "__main__":
    unittest.main()
