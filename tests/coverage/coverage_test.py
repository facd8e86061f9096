"""Tests of the count of lines and branches: what is held against a goal, and what an explanation takes off."""

import contextlib
import io
import json
import pathlib
import tempfile
import types
import unittest

import coverage


def line(number, count, *branches):
    return {"line_number": number, "count": count, "branches": [{"count": taken, "throw": False} for taken in branches]}


class Counts(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.source = pathlib.Path(place.name)
        (self.source / "oc-amplifier").mkdir()
        (self.source / "oc-amplifier/a.cpp").write_text("if (a)\n    trace(ctx);\nend();\n")

    def told(self, lines, explained=""):
        report, classes = self.source / "report.json", self.source / "open_branches.txt"
        report.write_text(json.dumps({"files": [{"file": "oc-amplifier/a.cpp", "lines": lines}]}))
        classes.write_text(explained)
        with contextlib.redirect_stdout(io.StringIO()) as output:
            status = coverage.run(types.SimpleNamespace(report=report, source=self.source, explained=classes, list=False))
        return status, output.getvalue()

    def test_all_lines_and_branches_are_wanted_of_the_plug_in(self):
        self.assertEqual(self.told([line(1, 2, 1, 1), line(2, 1), line(3, 1)])[0], 0)
        status, output = self.told([line(1, 2, 1, 1), line(2, 0), line(3, 1)])
        self.assertEqual(status, 1)
        self.assertIn("oc-amplifier: 66.7 % of lines and 100.0 % of branches", output)

    def test_an_open_branch_is_told_with_its_line(self):
        status, output = self.told([line(1, 2, 2, 0)])
        self.assertEqual(status, 1)
        self.assertIn("open: oc-amplifier/a.cpp:1: 1 of 2: if (a)\n", output)

    def test_a_class_explains_so_many_branches_of_its_lines(self):
        explained = "oc-amplifier/: 1: trace\\( -- who listens\n"
        self.assertEqual(self.told([line(2, 2, 2, 0)], explained)[0], 0)
        self.assertEqual(self.told([line(2, 2, 2, 0, 0)], explained)[0], 1)
        self.assertEqual(self.told([line(1, 2, 2, 0)], explained)[0], 1)

    def test_a_class_that_explains_nothing_is_wrong(self):
        status, output = self.told([line(1, 2, 1, 1)], "oc-amplifier/: 1: trace\\( -- who listens\n")
        self.assertEqual(status, 1)
        self.assertIn("open_branches.txt: explains no open branch: oc-amplifier/: 1: trace", output)

    def test_a_line_that_is_no_class_is_refused(self):
        with self.assertRaisesRegex(ValueError, "line 1 is not"):
            self.told([], "oc-amplifier/: trace -- who listens\n")


if __name__ == "__main__":
    unittest.main()
