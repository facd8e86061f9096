"""Tests of the mutation runner: what it changes, and on a project in miniature that it tells killed mutants from survivors."""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import mutants
import mutate
import switched

FOLDER = pathlib.Path(__file__).resolve().parent
KILLED = "room/limit.cpp: early exit: return 10; => {}"
SURVIVES = "room/limit.cpp: relation: if (value > 10) => if (value >= 10)"
HANGS = "room/limit.cpp: call: step_down(value); => {}"


def changes(source):
    """The kind of each mutant with the line that it makes."""
    return {(mutant.kind, mutant.key(source).partition(" => ")[2]) for mutant in mutants.mutants_of("a.cpp", source)}


class Changes(unittest.TestCase):
    def test_operators(self):
        self.assertEqual(changes("x = a <= b && c;"), {("relation", "x = a < b && c;"), ("relation", "x = a > b && c;"),
                                                       ("logic", "x = a <= b || c;")})

    def test_template_brackets_are_no_relations(self):
        self.assertEqual(changes("std::vector<int> x;"), set())

    def test_constants_by_one(self):
        self.assertEqual(changes("x = 0x10U;"), {("constant", "x = 0x11U;"), ("constant", "x = 0xfU;")})
        self.assertEqual(changes("x = 0;"), {("constant", "x = 1;")})

    def test_negations(self):
        self.assertEqual(changes("if (a)\n    x = y;"), {("negation", "if (!(a))")})
        self.assertEqual(changes("x = !a;"), {("negation", "x = a;")})

    def test_calls_are_removed_and_declarations_are_not(self):
        self.assertEqual(changes("void f() {\n    a.b().c();\n    Writer w(a);\n}"), {("call", "{}")})

    def test_early_exits_are_removed_and_the_last_is_not(self):
        self.assertEqual(changes("int f() {\n    while (a) {\n        return b;\n    }\n    return c;\n}"), {("early exit", "{}")})

    def test_arguments_are_swapped_and_parameters_are_not(self):
        self.assertEqual(changes("x = f(a, b);"), {("arguments", "x = f(b, a);")})
        self.assertEqual(changes("int f(int a, int b);"), set())

    def test_texts(self):
        self.assertEqual(changes('x = "%d dB";'), {("text", 'x = "%d xB";')})

    def test_sizes(self):
        self.assertEqual(changes("f(a_size);"), {("size", "f(a_size - 1);"), ("size", "f(a_size + 1);")})

    def test_rows_answer_for_each_other(self):
        self.assertIn(("rows", 'OC_LEAF(a, "two") OC_LEAF(b, "one")'), changes('OC_LEAF(a, "one")\nOC_LEAF(b, "two")\n'))

    def test_comments_and_directives_are_left_alone(self):
        self.assertEqual(changes('#include "x"\n#if 1\n// 1 == 2\n#endif\n'), set())

    def test_a_line_that_stands_twice_is_told_apart(self):
        source = "x = 0;\nx = 0;\n"
        self.assertEqual([mutant.key(source) for mutant in mutants.mutants_of("a.cpp", source)],
                         ["a.cpp: constant: x = 0; => x = 1;", "a.cpp#2: constant: x = 0; => x = 1;"])


class Switched(unittest.TestCase):
    """Several mutants in one text, of which one is chosen when the program runs."""

    SOURCE = "int f(int a) {\n    if (a > 1 && g(a, 2))\n        return 3;\n    h(a);\n    return a + 4;\n}\n"

    def switched(self, source, *kinds):
        chosen = [mutant for mutant in mutants.mutants_of("a.cpp", source) if not kinds or mutant.kind in kinds]
        return switched.SwitchedText("a.cpp", source, chosen)

    def test_an_expression_is_chosen(self):
        text = self.switched(self.SOURCE, "step").text
        self.assertIn("return ((switched_mutant.number == 1) ? (a - 4) : (a + 4));", text)

    def test_a_call_and_an_early_exit_are_left_out(self):
        text = self.switched(self.SOURCE, "call", "early exit").text
        self.assertIn("{ if(switched_mutant.number == 1){{} } else if(true) { return 3; } }", text)
        self.assertIn("{ if(switched_mutant.number == 2){{} } else if(true) { h(a); } }", text)

    def test_a_call_whose_arguments_change_is_chosen_as_a_whole(self):
        self.assertIn("(switched_mutant.number == 1) ? (a > 1 && g(2, a)) : ", self.switched(self.SOURCE, "arguments").text)

    def test_what_lies_in_each_other_is_written_in_each_other(self):
        both = self.switched("int f(int a) {\n    return g(a > 1) + 2;\n}\n", "step", "relation")
        self.assertIn("? (g(a > 1) - 2) : (g(((switched_mutant.number == 1) ? (a <= 1) : ", both.text)

    def test_declarations_and_what_is_in_no_function_are_compiled_by_themselves(self):
        self.assertEqual(self.switched("const int a = 1;\n").numbers, {})
        self.assertEqual(self.switched("void f() {\n    Writer w(a, b);\n}\n", "arguments").numbers, {})

    def test_a_call_behind_a_label_is_compiled_by_itself(self):
        source = "void f(int a) {\n    switch (a) {\n    default:\n        g(a);\n    }\n}\n"
        self.assertIn(("call", "{}"), changes(source))
        self.assertEqual(self.switched(source, "call").numbers, {})

    def test_what_the_compiler_refuses_becomes_a_statement_and_is_left_out_then(self):
        source = 'void f() {\n    g(h("a"));\n}\n'
        text = self.switched(source, "text")
        for way in ('{ if(switched_mutant.number == 1){ g(h("x")); } else if(true) { g(h("a")); } }', source):
            line, column = 2, text.text.split("\n")[1].index("switched") if "switched" in text.text.split("\n")[1] else 1
            self.assertTrue(text.drop([(line, column)]))
            self.assertIn(way, text.text)
        self.assertEqual(text.numbers, {})

    def test_a_program_is_switched_wherever_the_text_went(self):
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder) / "program"
            one = switched.MARK + bytes(4)
            program.write_bytes(b"." + one + b"." + one)
            self.assertTrue(switched.switch(program, 7))
            self.assertEqual(program.read_bytes(), (b"." + switched.MARK + b"\7\0\0\0") * 2)
            program.write_bytes(b"nothing")
            self.assertFalse(switched.switch(program, 7))


class Logs(unittest.TestCase):
    def test_what_an_earlier_run_told_is_taken_over_but_for_survivors(self):
        with tempfile.TemporaryDirectory() as folder:
            log = pathlib.Path(folder) / "log"
            log.write_text("1/4 0.1 s killed a_test: A.B: r/a.cpp:1: r/a.cpp: text: a => b\n"
                           "2/4 0.1 s killed by others c_test: C.D: r/a.cpp:2: r/a.cpp: text: c => d\n"
                           "3/4 0.1 s survived : r/a.cpp:3: r/a.cpp: text: e => f\n"
                           "3/4 0.1 s not compiled : r/a.cpp:4: r/a.cpp: text: g => h\n")
            told = {key: (outcome.status, outcome.by, outcome.own) for key, outcome in mutate.told_before(log).items()}
        self.assertEqual(told, {"r/a.cpp: text: a => b": ("killed", "a_test: A.B", True),
                                "r/a.cpp: text: c => d": ("killed", "c_test: C.D", False),
                                "r/a.cpp: text: g => h": ("not compiled", "", True)})


class Runs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.TemporaryDirectory()
        cls.source = pathlib.Path(cls.place.name) / "source"
        shutil.copytree(FOLDER / "sample", cls.source)
        subprocess.run(["git", "init", "-q", str(cls.source)], check=True)

    @classmethod
    def tearDownClass(cls):
        cls.place.cleanup()

    def setUp(self):
        self.list = self.source / "tests/mutants.txt"
        self.before = self.list.read_text()

    def tearDown(self):
        self.list.write_text(self.before)

    def mutate(self, *words):
        done = subprocess.run([sys.executable, str(FOLDER / "mutate.py"), "--source", str(self.source), "--build",
                               f"{self.place.name}/build", *words], capture_output=True, text=True)
        return done.returncode, done.stdout + done.stderr

    def test_a_killed_mutant_is_told_with_its_killer(self):
        status, output = self.mutate("--only", KILLED, "room")
        self.assertEqual(status, 0, output)
        self.assertRegex(output, r"killed room_test: Limit\.Holds: room/limit\.cpp:4: ")

    def test_tests_are_chosen_by_name_or_pattern(self):
        status, output = self.mutate("--only", KILLED, "--programs", "Limit.*", "--", "room")
        self.assertIn("killed room_test: Limit.Holds", output)
        status, output = self.mutate("--only", KILLED, "--programs", "nothing.*", "--", "room")
        self.assertEqual(status, 1, output)
        self.assertIn("no tests have the label room", output)

    def test_a_survivor_is_told_with_its_place_unless_it_is_explained(self):
        status, output = self.mutate("--only", SURVIVES, "room")
        self.assertEqual(status, 0, output)
        self.assertIn("explained: room/limit.cpp:3", output)
        self.list.write_text("")
        status, output = self.mutate("--only", SURVIVES, "room")
        self.assertEqual(status, 1, output)
        self.assertIn(f"survived: room/limit.cpp:3: {SURVIVES}", output)

    def test_a_mutant_that_hangs_is_killed(self):
        status, output = self.mutate("--only", HANGS, "room")
        self.assertEqual(status, 0, output)
        self.assertIn("killed room_test: CountDown.EndsAtZero takes too long", output)

    def test_an_explanation_of_a_mutant_that_is_killed_is_wrong(self):
        self.list.write_text(f"{KILLED} -- wrongly\n")
        status, output = self.mutate("--explained", "room")
        self.assertEqual(status, 1, output)
        self.assertIn("killed all the same, by room_test: Limit.Holds", output)

    def test_the_list_is_checked(self):
        for line, complaint in (("room/limit.cpp: relation: if (value > 11) => if (value >= 11) -- gone", "no longer a change"),
                                (SURVIVES, "says no reason"), (f"{SURVIVES} -- a\n{SURVIVES} -- b", "stands twice")):
            self.list.write_text(line + "\n")
            status, output = self.mutate("--check")
            self.assertEqual(status, 1, output)
            self.assertIn(complaint, output)

    def test_the_sources_are_left_as_they_were(self):
        before = (self.source / "room/limit.cpp").read_text()
        _, output = self.mutate("--count", "3", "room")
        self.assertIn("\n3/3 ", output)
        self.assertEqual((self.source / "room/limit.cpp").read_text(), before)

    def test_rooms_have_equal_shares(self):
        small = self.source / "small"
        small.mkdir()
        self.addCleanup(shutil.rmtree, small)
        (small / "one.cpp").write_text("const int one = 1;\n")
        _, output = self.mutate("--list", "--count", "4", "room", "small")
        self.assertEqual([line.partition("/")[0] for line in output.splitlines()], ["room", "small", "room", "small"])

    def test_an_unknown_room_is_refused(self):
        status, output = self.mutate("nowhere")
        self.assertEqual((status, output), (1, "mutate: nowhere: no such room\n"))


if __name__ == "__main__":
    unittest.main()
