"""Changes the sources of a room one place at a time, in a copy of the tree, and runs the tests: those of the room first,
then the rest. Says which tests killed each mutant, and the place of each that survived. Takes builds and tests from CMake
and CTest; knows nothing of C++ (see mutants.py)."""

import argparse
import collections
import dataclasses
import json
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time

import mutants

# Whose tests are a room's own, by CTest label; other rooms' labels are their first folders.
LABELS = {"oc-amplifier": "plugin", "server/netconf": "netconf", "server/gnmi": "gnmi", "tools": "e2e"}
# Tests that look at other things than what the code does, or that take minutes.
NOT_RUN = {"faults", "fuzz", "cost", "install", "mutation"}
SOURCES = (".cpp", ".h", ".def")
MEMORY_LIMIT = 8 << 30
FILE_LIMIT = 1 << 30
REMEMBERED_KILLERS = 30
EXPLAINED = "tests/mutants.txt"


class Failure(Exception):
    """The run cannot go on; the text says why."""


@dataclasses.dataclass
class Outcome:
    status: str  # killed, survived, not compiled
    by: str = ""
    own: bool = False


@dataclasses.dataclass(eq=False)
class Test:
    """A test program, run as a whole in one process, or another command of CTest's."""

    command: list
    labels: set
    environment: dict
    is_gtest: bool
    usual_seconds: float = 0.0
    kills: int = 0

    @property
    def name(self):
        return pathlib.Path(self.command[0]).name if self.is_gtest else " ".join(pathlib.Path(word).name for word in self.command)

    def limit(self):
        """Seconds after which it counts as hanging."""
        return 20 + 5 * self.usual_seconds


class Tree:
    """A private copy of the sources with a build of its own."""

    def __init__(self, source, build, jobs):
        self.source, self.build, self.jobs = source, build, jobs
        self.copy, self.binaries, self.temporary = build / "source", build / "build", build / "tmp"
        self.environment = dict(os.environ, CCACHE_DIR=str(build / "ccache"), CCACHE_BASEDIR=str(build), CCACHE_NOHASHDIR="1",
                                TMPDIR=str(self.temporary))
        self.environment.pop("CCACHE_DISABLE", None)

    def update(self):
        """Makes the copy like the sources; what has not changed keeps its time and is not built again."""
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "."], cwd=self.source,
                                check=True, capture_output=True).stdout.decode().split("\0")
        wanted = {name for name in listed if name and (self.source / name).is_file()}
        self.copy.mkdir(parents=True, exist_ok=True)
        for name in wanted:
            ours, theirs = self.copy / name, self.source / name
            if not ours.is_file() or ours.read_bytes() != theirs.read_bytes():
                ours.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(theirs, ours)
        for path in list(self.copy.rglob("*")):
            if path.is_file() and str(path.relative_to(self.copy)) not in wanted:
                path.unlink()

    def configure(self):
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DCMAKE_C_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        linker = ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld"] if shutil.which("ld.lld") else []
        # Warnings are no errors here: a mutant may leave a variable unused.
        self.run(["cmake", "-S", str(self.copy), "-B", str(self.binaries), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                  "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -w", "-DCMAKE_C_FLAGS_DEBUG=-O0 -w",
                  "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST", *launcher, *linker])

    def run(self, command):
        done = subprocess.run(command, env=self.environment, capture_output=True, text=True)
        if done.returncode != 0:
            raise Failure(f"{' '.join(command)}\n{(done.stdout + done.stderr)[-3000:]}")
        return done.stdout

    def compiles(self, targets):
        command = ["cmake", "--build", str(self.binaries), "-j", str(self.jobs), "--target", *targets]
        try:
            return subprocess.run(command, env=self.environment, capture_output=True, timeout=900).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def build_unchanged(self, targets):
        self.run(["cmake", "--build", str(self.binaries), "-j", str(self.jobs), "--target", *targets])

    def tests(self, programs):
        """Every test that CTest has, those of a GoogleTest program as one; of these only `programs`, unless that is empty."""
        described = json.loads(self.run(["ctest", "--test-dir", str(self.binaries), "--show-only=json-v1"]))
        found = {}
        for test in described["tests"]:
            properties = {each["name"]: each["value"] for each in test.get("properties", [])}
            if "command" not in test or programs and pathlib.Path(test["command"][0]).name not in programs:
                continue
            is_gtest = any(word.startswith("--gtest_filter=") for word in test["command"])
            command = test["command"][:1] if is_gtest else test["command"]
            labels = set(properties.get("LABELS", []))
            environment = dict(each.split("=", 1) for each in properties.get("ENVIRONMENT", []))
            if not labels & NOT_RUN:
                found.setdefault(tuple(command), Test(command, labels, environment, is_gtest))
        return list(found.values())


class Sandbox:
    """Runs tests of mutants, which may do anything, where they can write to the tree's build and to a /tmp of their own
    only, and see no processes but theirs."""

    def __init__(self, tree):
        self.tree = tree
        names = "" if os.geteuid() == 0 else "--map-root-user"
        own_tmp = "" if str(tree.build).startswith("/tmp/") else "mount -t tmpfs tmpfs /tmp && "
        script = own_tmp + 'mount --rbind "$0" "$0" && mount -o remount,ro,bind / && cd "$1" && shift && exec "$@"'
        self.prefix = ["unshare", *names.split(), "--mount", "--pid", "--fork", "--kill-child", "--mount-proc", "sh", "-c", script,
                       str(tree.build), str(tree.binaries)]
        tried = subprocess.run([*self.prefix, "true"], capture_output=True, text=True)
        if tried.returncode != 0:
            raise Failure(f"mutants are run in namespaces of their own, which cannot be made here: {tried.stderr.strip()}")

    def run(self, test, arguments=()):
        """Status, output and seconds of the test; status None when it took too long."""
        output_file = self.tree.build / "output"
        environment = dict(self.tree.environment, **test.environment)
        limit = test.limit() if test.usual_seconds else 600
        started = time.monotonic()
        with open(output_file, "wb") as output:
            process = subprocess.Popen([*self.prefix, *test.command, *arguments], stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=subprocess.STDOUT, env=environment, start_new_session=True, preexec_fn=self.limits)
            try:
                status = process.wait(limit)
            except subprocess.TimeoutExpired:
                status = None
            finally:
                # On every way out of here, the script's own end included.
                if process.poll() is None:
                    os.killpg(process.pid, signal.SIGKILL)
                    process.wait()
        shutil.rmtree(self.tree.temporary, ignore_errors=True)
        self.tree.temporary.mkdir(exist_ok=True)
        return status, output_file.read_bytes().decode(errors="replace"), time.monotonic() - started

    @staticmethod
    def limits():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT, FILE_LIMIT))
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))


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
    def __init__(self, tree, own_only):
        self.tree, self.own_only = tree, own_only
        self.sandbox = Sandbox(tree)
        self.tests = []
        self.killers = collections.defaultdict(list)  # of each file, the latest first

    def prepare(self, programs):
        self.tree.temporary.mkdir(parents=True, exist_ok=True)
        self.tests = self.tree.tests(programs)

    def measure(self, test):
        status, output, seconds = self.sandbox.run(test)
        if status != 0:
            raise Failure(f"{test.name} fails without any change:\n{output[-3000:]}")
        test.usual_seconds = seconds

    def order(self, path):
        """The tests that can kill a mutant of `path`: the room's own, then the others, the most successful first."""
        label = label_of(path)
        own = sorted((test for test in self.tests if label in test.labels), key=lambda test: -test.kills)
        if not own:
            raise Failure(f"{path}: no tests have the label {label}")
        rest = [] if self.own_only else sorted((test for test in self.tests if label not in test.labels), key=lambda test: -test.kills)
        return [(test, True) for test in own] + [(test, False) for test in rest]

    def targets(self, test):
        # A target's program has its name. Other commands run whatever stands in the build.
        return [test.name] if test.is_gtest else ["all"]

    def judge(self, mutant):
        for test, own in self.order(mutant.path):
            if not self.tree.compiles(self.targets(test)):
                return Outcome("not compiled")
            killer = self.killer(mutant, test)
            if killer:
                test.kills += 1
                return Outcome("killed", f"{test.name}: {killer}", own)
        return Outcome("survived")

    def killer(self, mutant, test):
        """Which test of the program fails; None: none."""
        if not test.is_gtest:
            status, output, _ = self.sandbox.run(test)
            return None if status == 0 else "takes too long" if status is None else f"status {status}"
        known = [name for program, name in self.killers[mutant.path] + self.killers[""] if program == test.name]
        filters = ["--gtest_filter=" + ":".join(dict.fromkeys(known))] if known else []
        for arguments in [*([each] for each in filters), []]:
            status, output, _ = self.sandbox.run(test, ["--gtest_fail_fast", *arguments])
            if status == 0:
                continue
            failed = re.findall(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", output, re.MULTILINE)
            started = re.findall(r"^\[ RUN      \] ([\w/]+\.[\w/]+)", output, re.MULTILINE)
            name = failed[0] if failed else started[-1] if started else ""
            if name and status is not None:
                for names in (self.killers[mutant.path], self.killers[""]):
                    names.insert(0, (test.name, name))
                    del names[REMEMBERED_KILLERS:]
            how = " takes too long" if status is None else "" if failed else f" ends with status {status}"
            return (name or "the program") + how
        return None


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
    parser.add_argument("rooms", nargs="*", metavar="ROOM", help="folders to change, by default oc-amplifier, platform, server and line")
    parser.add_argument("--seed", type=int, default=1, help="which mutants are chosen (default 1)")
    parser.add_argument("--count", type=int, default=100, help="mutants to make that compile (default 100)")
    parser.add_argument("--own", action="store_true", help="run the room's own tests only")
    parser.add_argument("--programs", nargs="+", default=[], metavar="PROGRAM", help="build and run these test programs only")
    parser.add_argument("--explained", action="store_true", help="make the mutants of tests/mutants.txt instead, which no test may kill")
    parser.add_argument("--only", action="append", metavar="KEY", help="make this mutant, named as the report names it")
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
    chosen = list(choose(candidates, options.seed))
    if options.explained or options.only:
        named = set(options.only or explained.reasons)
        chosen = [mutant for mutant in chosen if mutant.key(candidates[mutant]) in named]
    if options.list:
        for mutant in chosen[: options.count]:
            print(f"{mutant.path}:{mutant.line(candidates[mutant])}: {mutant.key(candidates[mutant])}")
        return 0
    tree = Tree(source, options.build.resolve(), options.jobs)
    tree.update()
    tree.configure()
    print(f"{len(candidates)} mutants can be made; building the tree without any", flush=True)
    tree.build_unchanged(options.programs or ["all"])
    runner = Run(tree, options.own)
    runner.prepare(options.programs)
    wanted = {id(test): test for room in {mutant.path for mutant in chosen} for test, _ in runner.order(room)}
    for test in wanted.values():
        runner.measure(test)
        print(f"{test.name}: {test.usual_seconds:.1f} s", flush=True)
    results, made = [], 0
    remaining = iter(chosen)
    while made < options.count:
        # A file's mutants one after the other: the next one's build takes the last one back.
        batch = sorted((mutant for _, mutant in zip(range(options.count - made), remaining)), key=lambda mutant: mutant.path)
        if not batch:
            break
        for mutant in batch:
            text = candidates[mutant]
            file = tree.copy / mutant.path
            started = time.monotonic()
            try:
                file.write_text(mutant.apply(text))
                outcome = runner.judge(mutant)
            finally:
                file.write_text(text)
            made += outcome.status != "not compiled"
            key, line = mutant.key(text), mutant.line(text)
            results.append((mutant, outcome, key, line))
            print(f"{made}/{options.count} {time.monotonic() - started:.1f} s {outcome.status} {outcome.by}: {mutant.path}:{line}: {key}",
                  flush=True)
    return 0 if report(results, explained) else 1


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("mutate: ended from outside"))
    try:
        sys.exit(run(arguments()))
    except Failure as failure:
        sys.exit(f"mutate: {failure}")
