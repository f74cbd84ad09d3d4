#!/usr/bin/env python3
"""Checks of scripts/mutants.py that need no build: where faults land, and the process handling.

    python3 scripts/test_mutants.py
"""
import os
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import mutants  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def running(pid):
    try:
        with open(f"/proc/{pid}/stat") as f:
            return f.read().split()[2] != "Z"
    except FileNotFoundError:
        return False


def fault(*places):
    return mutants.F("layer", "kind", "what", *places)


class Locate(unittest.TestCase):
    FILES = {
        "objectmodel/a.cpp": "if (n < 1) return E_FAIL;\nx = 1;\nx = 1;\n",
        "builder/b.cpp": "case NODE_KIND_LEFT: return JOIN_LEFT;\nif (n < 1) return E_FAIL;\n",
    }

    def test_a_snippet_that_matches_once_is_used(self):
        place, _ = mutants.locate(fault(("x = 2;", "y"), ("JOIN_LEFT;", "JOIN_RIGHT;")), self.FILES)
        self.assertEqual(place[0], "builder/b.cpp")
        self.assertEqual(mutants.substitute(place[1], place[2], self.FILES["builder/b.cpp"]),
                         "case NODE_KIND_LEFT: return JOIN_RIGHT;\nif (n < 1) return E_FAIL;\n")

    def test_several_matches_never_pick_one(self):
        # Twice in one file, and once in each of two files.
        for snippet in ("x = 1;", "if (n < 1) return E_FAIL;"):
            place, why = mutants.locate(fault((snippet, "")), self.FILES)
            self.assertIsNone(place)
            self.assertEqual(why, "matches: 2")

    def test_the_first_place_that_matches_once_wins(self):
        place, _ = mutants.locate(fault(("x = 1;", ""), ("nothing here", ""), ("x = 1;\nx", "z"), ("JOIN_LEFT", "")),
                                  self.FILES)
        self.assertEqual((place[0], place[1]), ("objectmodel/a.cpp", "x = 1;\nx"))
        place, why = mutants.locate(fault(("x = 1;", ""), ("nothing here", "")), self.FILES)
        self.assertIsNone(place)
        self.assertEqual(why, "matches: 2/0")

    def test_a_regular_expression_replaces_its_one_match_with_groups(self):
        place, _ = mutants.locate(fault((mutants.R(r"(NODE_KIND_LEFT\W+return )JOIN_LEFT"), r"\1JOIN_OUTER")),
                                  self.FILES)
        self.assertEqual(mutants.substitute(place[1], place[2], self.FILES[place[0]]).splitlines()[0],
                         "case NODE_KIND_LEFT: return JOIN_OUTER;")
        place, why = mutants.locate(fault((mutants.R(r"n < \d"), "")), self.FILES)
        self.assertIsNone(place)
        self.assertEqual(why, "matches: 2")


class LibraryFiles(unittest.TestCase):
    def test_only_sources_of_the_library_folders_are_searched(self):
        with tempfile.TemporaryDirectory() as src:
            for name in ("parsetree/posix/deep.cpp", "scanner/sql.l", "component/parser.rgs", "tests/test.cpp",
                         "scripts/x.py", "builder/notes.md", "interfaces/tarvolin.idl"):
                os.makedirs(os.path.dirname(os.path.join(src, name)), exist_ok=True)
                with open(os.path.join(src, name), "wb") as f:
                    f.write(b"needle \xff\n")  # not UTF-8: kept byte for byte
            files = mutants.library_files(src)
            self.assertEqual(sorted(files), ["component/parser.rgs", "interfaces/tarvolin.idl",
                                             "parsetree/posix/deep.cpp", "scanner/sql.l"])
            self.assertEqual(files["scanner/sql.l"].encode("utf-8", "surrogateescape"), b"needle \xff\n")


class FaultList(unittest.TestCase):
    def test_every_fault_lands_on_one_place_of_this_tree_and_changes_it(self):
        files = mutants.library_files(ROOT)
        self.assertGreaterEqual(len(mutants.FAULTS), 40)
        for number, f in enumerate(mutants.FAULTS, 1):
            with self.subTest(number=number, what=f["what"]):
                place, why = mutants.locate(f, files)
                self.assertIsNotNone(place, why)
                path, find, replace = place
                self.assertNotEqual(mutants.substitute(find, replace, files[path]), files[path])

    def test_faults_cover_every_tested_layer(self):
        layers = {f["layer"] for f in mutants.FAULTS}
        self.assertLessEqual({"platform", "scanner", "parsetree", "objectmodel", "builder", "component"}, layers)
        self.assertEqual(len({f["what"] for f in mutants.FAULTS}), len(mutants.FAULTS), "fault names are unique")


class Processes(unittest.TestCase):
    def test_a_hung_run_is_killed_with_its_children(self):
        with tempfile.TemporaryDirectory() as scratch:
            log = os.path.join(scratch, "log")
            pid_file = os.path.join(scratch, "pid")
            start = time.time()
            code, _ = mutants.run(["sh", "-c", f"sleep 30 & echo $! > {pid_file}; wait"], log, timeout=1)
            self.assertIsNone(code)
            self.assertLess(time.time() - start, 10)
            with open(pid_file) as f:
                child = int(f.read())
            for _ in range(50):  # the killed child is reaped by init shortly
                if not running(child):
                    break
                time.sleep(0.1)
            else:
                self.fail("the hung command's child is still running")

    def test_exit_codes_and_output_are_kept(self):
        with tempfile.TemporaryDirectory() as scratch:
            log = os.path.join(scratch, "log")
            code, _ = mutants.run(["sh", "-c", "echo out; echo err >&2; exit 3"], log)
            self.assertEqual(code, 3)
            with open(log) as f:
                self.assertEqual(sorted(f.read().split()), ["err", "out"])

    def test_failed_tests_are_read_from_the_ctest_summary(self):
        with tempfile.TemporaryDirectory() as scratch:
            log = os.path.join(scratch, "log")
            with open(log, "w") as f:
                f.write("50% tests passed, 2 tests failed out of 4\n\nThe following tests FAILED:\n"
                        "\t  3 - test_objectmodel (Failed)\n\t  5 - test_builder (SEGFAULT)\nErrors while running CTest\n")
            self.assertEqual(mutants.failed_tests(log), "test_objectmodel (Failed), test_builder (SEGFAULT)")

    def test_only_takes_numbers_and_ranges(self):
        self.assertEqual(mutants.parse_only("9,3,7-8,3", 10), [3, 7, 8, 9])
        for bad in ("0", "11", "9-11"):
            with self.assertRaises(SystemExit):
                mutants.parse_only(bad, 10)


if __name__ == "__main__":
    unittest.main()
