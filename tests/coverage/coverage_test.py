"""Tests of the count of lines and branches: which branches are decisions, what is held against a goal, and what an explanation
takes off."""

import contextlib
import io
import json
import pathlib
import tempfile
import types
import unittest

import count
import coverage


def line(number, count, *branches):
    return {"line_number": number, "count": count, "branches": list(branches)}


def arcs(*counts):
    """Arcs as gcov tells them; a count below zero stands for one that throws and was never taken."""
    return [{"count": max(taken, 0), "throw": taken < 0} for taken in counts]


class Decisions(unittest.TestCase):
    def test_a_call_that_may_throw_decides_nothing(self):
        self.assertEqual(count.decided(arcs(5, -1), 5, "f();"), [])
        self.assertEqual(count.decided(arcs(5, -1, 2, 3), 5, "if (f())"), [2, 3])

    def test_what_was_never_reached_on_a_line_that_has_run_is_a_clean_up(self):
        self.assertEqual(count.decided(arcs(0, 4, 0, 0), 4, "if (a && f(b))"), [0, 4])
        self.assertEqual(count.decided(arcs(0, 0, 0, 0), 0, "if (a && f(b))"), [0, 0, 0, 0])
        self.assertEqual(count.decided(arcs(0, 0, 4), 4, "switch (a) {"), [0, 0, 4])

    def test_the_search_for_who_catches_decides_nothing(self):
        self.assertEqual(count.decided(arcs(1, 0), 1, "    } catch (const Error &error) {"), [])


class Sums(unittest.TestCase):
    def told(self, *files, folders=("server",)):
        with tempfile.TemporaryDirectory() as place:
            source = pathlib.Path(place)
            (source / "server").mkdir()
            (source / "server/a.h").write_text("if (a)\n    b();\n}\n")
            counts = count.Counts(source, folders)
            for file in files:
                counts.add(file)
            return counts.report()["files"]

    @staticmethod
    def file(name, function, *taken, at=1):
        return {"file": name, "functions": [{"name": function, "start_line": at, "start_column": 1}],
                "lines": [{"line_number": number, "count": sum(taken), "function_name": function,
                           "branches": arcs(*taken) if number == 1 else []} for number in (1, 2, 3)]}

    def test_instances_of_a_template_are_one(self):
        self.assertEqual(
            self.told(self.file("server/a.h", "f<int>", 1, 0), self.file("platform/../server/a.h", "f<char>", 0, 2)),
            [{"file": "server/a.h", "lines": [line(1, 3, 1, 2), line(2, 3)]}])

    def test_functions_of_one_line_are_apart(self):
        self.assertEqual(
            self.told(self.file("server/a.h", "f", 1, 0), self.file("server/a.h", "lambda", 0, 2, at=2))[0]["lines"][0],
            line(1, 3, 1, 0, 0, 2))

    def test_other_folders_do_not_count(self):
        self.assertEqual(self.told(self.file("/usr/include/a.h", "f", 1, 0)), [])
        self.assertEqual(self.told(self.file("servers/a.h", "f", 1, 0)), [])


class Goals(unittest.TestCase):
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
