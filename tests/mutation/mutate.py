"""Changes the sources of a room one place at a time, in a copy of the tree, and runs the tests: those of the room first,
then the rest. Says which tests killed each mutant, and the place of each that survived. Takes builds and tests from CMake
and CTest; knows nothing of C++ (see mutants.py)."""

import argparse
import collections
import concurrent.futures
import dataclasses
import fnmatch
import itertools
import json
import os
import pathlib
import queue
import random
import re
import signal
import subprocess
import sys
import time

import mutants
from copied_build import Change, CopiedBuild, Failure
from sandbox import Sandbox
from switched import SwitchedText

# Whose tests are a room's own, by CTest label; other rooms' labels are their first folders.
LABELS = {"oc-amplifier": "plugin", "server/netconf": "netconf", "server/gnmi": "gnmi", "tools": "e2e"}
# Tests that look at other things than what the code does, or that take minutes.
NOT_RUN = {"faults", "fuzz", "cost", "install", "mutation"}
# Tests of how the plug-in is compiled, which mutants are not.
ABOUT_THE_BUILD = ["Guest.CallsTheCheckedFunctionsOfTheCLibrary"]
SOURCES = (".cpp", ".h", ".def")
FIRST_KILLERS = 10  # tests that are tried first on a file's mutants: the last that killed others of it
MOST_SLOW = 60  # tests of a program that are run last, if they take
WORTH_WAITING = 0.05  # seconds each
WORTH_PRECOMPILING = 3  # mutants of a file
WORTH_SWITCHING = 2
EXPLAINED = "tests/mutants.txt"


@dataclasses.dataclass
class Outcome:
    status: str  # killed, survived, not compiled
    by: str = ""
    own: bool = False


@dataclasses.dataclass(eq=False)
class Test:
    """A test program of GoogleTest's, whose tests run in one process, or another command of CTest's."""

    command: list
    labels: set
    environment: dict
    is_gtest: bool
    needed: set  # artefacts
    seconds: float = 0.0
    processor_seconds: float = 0.0
    slow: list = dataclasses.field(default_factory=list)  # its tests that take most of its time

    @property
    def name(self):
        return pathlib.Path(self.command[0]).name if self.is_gtest else " ".join(pathlib.Path(word).name for word in self.command)

    def parts(self):
        """Arguments for its quick tests, then for its slow ones."""
        if not self.is_gtest:
            return [[]], []
        quick = ["--gtest_filter=-" + ":".join(self.slow + ABOUT_THE_BUILD)]
        return [quick], [["--gtest_filter=" + ":".join(self.slow)]] if self.slow else []


def tests_of(build, wanted):
    """Every test that CTest has, those of a GoogleTest program as one; of these only the programs and tests with the names or
    patterns in `wanted`, unless that is empty."""
    described = json.loads(build.run(["ctest", "--test-dir", str(build.binaries), "--show-only=json-v1"]))
    found = {}
    for test in described["tests"]:
        properties = {each["name"]: each["value"] for each in test.get("properties", [])}
        if "command" not in test or wanted and not any(fnmatch.fnmatch(name, each) for each in wanted
                                                       for name in (pathlib.Path(test["command"][0]).name, test["name"])):
            continue
        is_gtest = any(word.startswith("--gtest_filter=") for word in test["command"])
        command = test["command"][:1] if is_gtest else test["command"]
        labels = set(properties.get("LABELS", []))
        environment = dict(each.split("=", 1) for each in properties.get("ENVIRONMENT", []))
        if not labels & NOT_RUN and not properties.keys() & {"FIXTURES_SETUP", "FIXTURES_REQUIRED"} and tuple(command) not in found:
            # Other commands run whatever stands in the build but tests.
            needed = build.needed_by(command[0]) if is_gtest else {
                name for name, each in build.artefacts.items() if not each.path.name.endswith(("_test", "_fuzz", "_bench"))}
            found[tuple(command)] = Test(command, labels, environment, is_gtest, needed)
    return list(found.values())


class Explained:
    """The survivors that the tree explains, a line each: `PATH: KIND: OLD => NEW -- why`."""

    def __init__(self, file):
        self.file, self.reasons, self.wrong = file, {}, []
        if not file.is_file():
            return
        for number, line in enumerate(file.read_text().splitlines(), 1):
            if not line or line.startswith("#"):
                continue
            key, dashes, reason = line.rpartition(" -- ")
            if not dashes or not reason.strip():
                self.wrong.append(f"{file.name}:{number}: says no reason behind ' -- '")
            elif key in self.reasons:
                self.wrong.append(f"{file.name}:{number}: stands twice")
            else:
                self.reasons[key] = reason

    def check(self, source):
        """What is wrong with the list itself: lines that are none, and lines of changes that the sources no longer have."""
        wanted = collections.defaultdict(set)
        for key in self.reasons:
            wanted[re.sub(r"#\d+$", "", key.partition(": ")[0])].add(key)
        wrong = list(self.wrong)
        for path, keys in wanted.items():
            text = (source / path).read_text() if (source / path).is_file() else ""
            wrong += [f"{self.file.name}: no longer a change of the sources: {key}"
                      for key in sorted(keys - {mutant.key(text) for mutant in mutants.mutants_of(path, text)})]
        return wrong


def room_of(path, rooms):
    return max((room for room in rooms if path.startswith(room + "/")), key=len, default=path.partition("/")[0])


def label_of(path):
    return LABELS.get(room_of(path, LABELS), path.partition("/")[0])


class Run:
    """Judges mutants, several at a time, each by a worker with a folder of its own."""

    def __init__(self, build, own_only, workers, programs):
        self.build, self.own_only = build, own_only
        self.every_sandbox = [Sandbox(build, build.build / f"worker-{number}") for number in range(workers)]
        self.sandboxes = queue.SimpleQueue()
        for sandbox in self.every_sandbox:
            self.sandboxes.put(sandbox)
        self.workers = workers
        self.tests = tests_of(build, programs)
        self.killers = collections.defaultdict(list)  # (program, test) of each file, the latest first
        self.kills = collections.Counter()  # of each file and test
        self.all_killers = collections.defaultdict(set)
        self.compiled_before = set()  # files that compile without a change
        self.stopped = False

    def measure(self, chosen):
        """Runs what will be needed without a change: it passes, and takes so long."""
        sandbox = self.sandboxes.get()
        sandbox.try_out()
        wanted = {id(test): test for path in {mutant.path for mutant in chosen} for test, _ in self.order(path)}
        for test in wanted.values():
            times = sandbox.folder / "times.json"
            times.unlink(missing_ok=True)
            arguments = [f"--gtest_output=json:{times}"] if test.is_gtest else []
            status, output, test.seconds, test.processor_seconds = sandbox.run([*test.command, *arguments], {}, 900, None,
                                                                               test.environment)
            if status != 0:
                raise Failure(f"{test.name} fails without any change:\n{output[-3000:]}")
            if test.is_gtest:
                test.slow = self.slow_tests(json.loads(times.read_text()))
            print(f"{test.name}: {test.seconds:.1f} s, {test.processor_seconds:.1f} s of processors, {len(test.slow)} slow tests",
                  flush=True)
        self.sandboxes.put(sandbox)

    @staticmethod
    def slow_tests(result):
        """The longest tests, which take half of the time together, unless all are much alike."""
        times = sorted(((float(test["time"].rstrip("s")), f"{suite['name']}.{test['name']}") for suite in result["testsuites"]
                        for test in suite["testsuite"]), reverse=True)
        slow, left = [], sum(each for each, _ in times) / 2
        for seconds, name in times[:MOST_SLOW]:
            if left <= 0 or seconds < WORTH_WAITING:
                break
            slow.append(name)
            left -= seconds
        return slow

    def order(self, path):
        """The tests that can kill a mutant of `path`, and whether they are the room's own."""
        label = label_of(path)
        if not any(label in test.labels for test in self.tests):
            raise Failure(f"{path}: no tests have the label {label}")
        found = [(test, label in test.labels) for test in self.tests if label in test.labels or not self.own_only]
        return sorted(found, key=lambda each: (not each[1], not each[0].is_gtest, -self.kills[path, each[0].name],
                                               each[0].processor_seconds))

    def judge_all(self, chosen, texts, tell):
        """Calls `tell` with each mutant, what became of it, and the seconds that it took. A worker takes a file at a time."""
        files = collections.defaultdict(list)
        for mutant in chosen:
            files[mutant.path].append(mutant)
        with concurrent.futures.ThreadPoolExecutor(self.workers) as pool:
            waiting = [pool.submit(self.judge_file, path, files[path], texts[files[path][0]], tell)
                       # Headers last: a change of theirs is compiled many times.
                       for path in sorted(files, key=lambda path: (not path.endswith(".cpp"), -len(files[path])))]
            try:
                for each in concurrent.futures.as_completed(waiting):
                    each.result()
            except BaseException:
                self.stopped = True
                for sandbox in self.every_sandbox:
                    sandbox.stop()
                pool.shutdown(wait=False, cancel_futures=True)
                raise

    def judge_file(self, path, chosen, text, tell):
        sandbox = self.sandboxes.get()
        try:
            numbers, change = self.switched_change(path, chosen, text, sandbox) if len(chosen) >= WORTH_SWITCHING else ({}, None)
            # Those that are compiled already know soonest which tests kill.
            for mutant in sorted(chosen, key=lambda mutant: numbers.get(mutant, len(chosen) + 1)):
                if self.stopped:
                    return
                started = time.monotonic()
                if mutant in numbers:
                    change.switch(numbers[mutant])
                    outcome = self.judge(path, change, sandbox)
                else:
                    outcome = self.judge(path, self.change(path, mutant.apply(text), sandbox, "single", len(chosen)), sandbox)
                    if outcome.status == "not compiled" and not self.stopped:
                        self.check_unchanged(path, text, sandbox)
                if not self.stopped:
                    tell(mutant, outcome, time.monotonic() - started)
            if change is not None:
                change.switch(0)
                self.check_killers(path, change, sandbox)
        finally:
            self.sandboxes.put(sandbox)

    def switched_change(self, path, chosen, text, sandbox):
        """The number of each mutant that can be switched, and what they are all in."""
        switched = SwitchedText(path, text, chosen)
        needed = {name for test, own in self.order(path) if own for name in test.needed}
        while switched.numbers:
            change = self.change(path, switched.text, sandbox, "switched", len(chosen))
            objects = sorted(change.objects.keys() & {each for name in needed for each in self.build.artefacts[name].objects})
            if all(change.compiled(name) for name in objects):
                return switched.numbers, change
            if not switched.drop(change.complaints()):
                break
        return {}, None

    def judge(self, path, change, sandbox):
        """What becomes of a changed file."""
        order = [(test, own) for test, own in self.order(path) if change.concerns(test.needed)]
        for own in (True, False):
            for test, arguments in self.rounds(path, [test for test, is_own in order if is_own == own]):
                if not change.make(test.needed):
                    return Outcome("not compiled")
                killer = self.killer(path, test, arguments, change.places, sandbox)
                if killer:
                    self.kills[path, test.name] += 1
                    return Outcome("killed", f"{test.name}: {killer}", own)
        return Outcome("survived")

    def check_killers(self, path, change, sandbox):
        """With no mutant switched on, the tests that killed the file's mutants pass, or they would say nothing."""
        for test in self.tests:
            names = [name for program, name in self.all_killers[path] if program == test.name]
            if not names or not change.make(test.needed):
                continue
            killer = self.killer(path, test, ["--gtest_filter=" + ":".join(names)] if test.is_gtest else [], change.places, sandbox)
            if killer:
                raise Failure(f"{path}, with every mutant off: {test.name}: {killer}:\n{sandbox.last_output()[-3000:]}")

    def change(self, path, text, sandbox, folder, mutants_of_file):
        return Change(self.build, sandbox.folder / folder, path, text, sandbox, mutants_of_file >= WORTH_PRECOMPILING)

    def rounds(self, path, tests):
        """What to run, in this order: the tests that killed others, the quick ones of every program, the slow ones."""
        known = [(test, name) for test in tests for program, name in self.killers[path][:FIRST_KILLERS] if program == test.name]
        for test in tests:
            names = [name for each, name in known if each is test]
            if names:
                yield test, ["--gtest_filter=" + ":".join(names)]
        for part in (0, 1):
            for test in tests:
                for arguments in test.parts()[part]:
                    yield test, arguments

    def check_unchanged(self, path, text, sandbox):
        """What does not compile has to do so without the change, or the fault is not the mutant's."""
        needed = {name for test, own in self.order(path) if own for name in test.needed}
        if path not in self.compiled_before and not self.change(path, text, sandbox, "single", 1).make(needed):
            raise Failure(f"{path} cannot be compiled and linked apart from the build, changed or not:\n{sandbox.last_output()}")
        self.compiled_before.add(path)

    def killer(self, path, test, arguments, places, sandbox):
        """Which test of the program fails; None: none."""
        words = ["--gtest_fail_fast", *arguments] if test.is_gtest else []
        limit = int(4 + 3 * test.processor_seconds)
        status, output, _, used = sandbox.run([*test.command, *words], places, 20 + 5 * test.seconds, limit, test.environment)
        if status == 0:
            return None
        # The first process of a namespace is not ended by SIGXCPU: the time that it has used tells.
        too_long = status is None or used > limit - 1
        if not test.is_gtest:
            self.all_killers[path].add((test.name, ""))
            return "takes too long" if too_long else f"status {status}"
        failed = re.findall(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", output, re.MULTILINE)
        started = re.findall(r"^\[ RUN      \] ([\w/]+\.[\w/]+)", output, re.MULTILINE)
        name = failed[0] if failed else started[-1] if started else ""
        if name and not too_long:
            names = [each for each in self.killers[path] if each != (test.name, name)]
            self.all_killers[path].add((test.name, name))
            self.killers[path] = [(test.name, name), *names][:FIRST_KILLERS]
        return (name or "the program") + (" takes too long" if too_long else "" if failed else f" ends with status {status}")


def told_before(log):
    """What an earlier run has told of mutants, by key: those that it killed or could not compile. Tests only become more, so
    that its survivors alone are worth another try."""
    found = {}
    for line in log.read_text().splitlines():
        told = re.match(r"\d+/\d+ [\d.]+ s (killed|not compiled)( by others)? (.*?): \S+:\d+: (.+)$", line)
        if told:
            found[told[4]] = Outcome(told[1], told[3], not told[2])
    return found


def all_mutants(source, rooms):
    found = {}
    listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", *rooms], cwd=source, check=True,
                            capture_output=True, text=True).stdout.splitlines()
    for path in sorted(listed):
        if path.endswith(SOURCES) and (source / path).is_file():
            text = (source / path).read_text()
            for mutant in mutants.mutants_of(path, text):
                found[mutant] = text
    return found


def choose(candidates, seed):
    """Every candidate in random order, the kinds in turn, so that common kinds do not crowd out rare ones."""
    shuffled = random.Random(seed)
    kinds = collections.defaultdict(list)
    for mutant in candidates:
        kinds[mutant.kind].append(mutant)
    for each in kinds.values():
        shuffled.shuffle(each)
    while kinds:
        for kind in sorted(kinds):
            yield kinds[kind].pop()
            if not kinds[kind]:
                del kinds[kind]


def choose_in_shares(candidates, rooms, seed):
    """Every candidate, the rooms in turn, so that a big one does not crowd out the others."""
    shares = collections.defaultdict(dict)
    for mutant, text in candidates.items():
        shares[room_of(mutant.path, rooms)][mutant] = text
    waiting = [choose(shares[room], seed) for room in sorted(shares)]
    for mutants_in_turn in itertools.zip_longest(*waiting):
        yield from (mutant for mutant in mutants_in_turn if mutant is not None)


def report(results, explained):
    tally = collections.defaultdict(collections.Counter)
    for mutant, outcome, _, _ in results:
        room = str(pathlib.PurePath(mutant.path).parent)
        tally[room][outcome.status if outcome.status != "killed" else "own" if outcome.own else "rest"] += 1
    print(f"\n{'room':40} {'mutants':>8} {'own tests':>10} {'others':>7} {'survived':>9} {'not compiled':>13}")
    whole = collections.Counter()
    for room in sorted(tally):
        whole.update(tally[room])
    for room, counts in [*sorted(tally.items()), ("all", whole)]:
        made = counts["own"] + counts["rest"] + counts["survived"]
        print(f"{room:40} {made:8} {counts['own']:10} {counts['rest']:7} {counts['survived']:9} {counts['not compiled']:13}")
    survivors = [(mutant, key, line) for mutant, outcome, key, line in results if outcome.status == "survived"]
    for mutant, key, line in survivors:
        if key in explained.reasons:
            print(f"explained: {mutant.path}:{line}: {key} -- {explained.reasons[key]}")
    unexplained = [(mutant, key, line) for mutant, key, line in survivors if key not in explained.reasons]
    for mutant, key, line in unexplained:
        print(f"survived: {mutant.path}:{line}: {key}")
    wrong = [f"{explained.file.name}: killed all the same, by {outcome.by}: {key}" for _, outcome, key, _ in results
             if outcome.status == "killed" and key in explained.reasons]
    for line in wrong:
        print(line)
    return not unexplained and not wrong


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("rooms", nargs="*", metavar="ROOM", help="folders to change, in equal shares, by default oc-amplifier, platform, server and line")
    parser.add_argument("--seed", type=int, default=1, help="which mutants are chosen (default 1)")
    parser.add_argument("--count", type=int, default=100, help="mutants to make that compile (default 100)")
    parser.add_argument("--own", action="store_true", help="run the room's own tests only")
    parser.add_argument("--programs", nargs="+", default=[], metavar="PROGRAM", help="build and run these test programs only, and "
                        "run CTest's tests with these names or patterns, which have a dot in them, such as netconf.ncclient.L*")
    parser.add_argument("--explained", action="store_true", help="make the mutants of tests/mutants.txt instead, which no test may kill")
    parser.add_argument("--only", action="append", metavar="KEY", help="make this mutant, named as the report names it")
    parser.add_argument("--resume", type=pathlib.Path, metavar="LOG", help="take over what an earlier run has printed, but for survivors")
    parser.add_argument("--list", action="store_true", help="only say which mutants would be made")
    parser.add_argument("--check", action="store_true", help="only check that tests/mutants.txt fits the sources")
    parser.add_argument("--source", type=pathlib.Path, default=pathlib.Path("."), help="the tree (default: this one)")
    parser.add_argument("--build", type=pathlib.Path, default=pathlib.Path("build-mutation"), help="where the copy is built")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="compilers at a time")
    return parser.parse_args()


def run(options):
    source = options.source.resolve()
    explained = Explained(source / EXPLAINED)
    wrong = explained.check(source)
    for line in wrong:
        print(line, file=sys.stderr)
    if wrong or options.check:
        return 1 if wrong else 0
    rooms = [room.rstrip("/") for room in options.rooms] or [room for room in ("oc-amplifier", "platform", "server", "line")
                                                              if (source / room).is_dir()]
    for room in rooms:
        if not (source / room).exists():
            raise Failure(f"{room}: no such room")
    candidates = all_mutants(source, rooms)
    chosen = list(choose_in_shares(candidates, rooms, options.seed))
    if options.explained or options.only:
        named = set(options.only or explained.reasons)
        chosen = [mutant for mutant in chosen if mutant.key(candidates[mutant]) in named]
    if options.list:
        for mutant in chosen[: options.count]:
            print(f"{mutant.path}:{mutant.line(candidates[mutant])}: {mutant.key(candidates[mutant])}")
        return 0
    build = CopiedBuild(source, options.build.resolve(), options.jobs)
    build.update()
    print(f"{len(candidates)} mutants can be made; building the tree without any", flush=True)
    build.make([name for name in options.programs if "." not in name] or ["all"])
    runner = Run(build, options.own, options.jobs, options.programs)
    runner.measure(chosen[: options.count])
    results = []

    def tell(mutant, outcome, seconds):
        text = candidates[mutant]
        key, line = mutant.key(text), mutant.line(text)
        results.append((mutant, outcome, key, line))
        made = sum(each.status != "not compiled" for _, each, _, _ in results)
        status = "killed by others" if outcome.status == "killed" and not outcome.own else outcome.status
        print(f"{made}/{options.count} {seconds:.1f} s {status} {outcome.by}: {mutant.path}:{line}: {key}", flush=True)

    before = told_before(options.resume) if options.resume else {}
    for mutant in chosen:
        text = candidates[mutant]
        if outcome := before.get(mutant.key(text)):
            results.append((mutant, outcome, mutant.key(text), mutant.line(text)))
    remaining = (mutant for mutant in chosen if mutant.key(candidates[mutant]) not in before)
    while (missing := options.count - sum(outcome.status != "not compiled" for _, outcome, _, _ in results)) > 0:
        batch = list(itertools.islice(remaining, missing))
        if not batch:
            break
        runner.judge_all(batch, candidates, tell)
    return 0 if report(results, explained) else 1


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("mutate: ended from outside"))
    try:
        sys.exit(run(arguments()))
    except Failure as failure:
        sys.exit(f"mutate: {failure}")
