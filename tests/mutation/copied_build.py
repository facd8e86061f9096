"""A build of an unchanged copy of the tree, and what has to be compiled and linked anew when one of its files is changed:
beside the build, which stays as it is, so that several changes can be tried at a time. Knows nothing of mutants and tests."""

import dataclasses
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import threading

from switched import switch

LONGEST_COMPILATION = 600  # seconds
SEAM = "oc-amplifier/include/yfw_platform.h"


class Failure(Exception):
    """The run cannot go on; the text says why."""


@dataclasses.dataclass
class Compilation:
    """How an object is made. Its command has neither warnings nor debug information, and no compiler cache before it."""

    source: pathlib.Path
    command: list
    reads: set  # every file of the copy that it includes, its source among them


@dataclasses.dataclass
class Artefact:
    """A program or a shared library: what it is linked from."""

    path: pathlib.Path
    command: list
    objects: set  # archives' members among them
    is_program: bool


def quick(words):
    """The command of a compilation without warnings, debug information, optimization, and what asks for that."""
    return [word for word in words if not re.match(r"-W(?!l,|p,|a,)|-O|-g$|-D_FORTIFY_SOURCE", word)]


class CopiedBuild:
    """The folder `build` holds the copy (`source`) and its build, made as the preset "release" makes it: tests run quickly, and
    a compiler cache that knows the one knows the other. What is compiled anew is not optimized."""

    def __init__(self, source, build, jobs):
        self.source, self.build, self.jobs = source, build, jobs
        self.copy = build / "source"
        self.binaries = self.copy / "build"
        self.prepared = build / "prepared"  # precompiled headers
        self.archives, self.compilations, self.artefacts = {}, {}, {}
        self.locks, self.lock = {}, threading.Lock()

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
            if path.is_file() and self.binaries not in path.parents and str(path.relative_to(self.copy)) not in wanted:
                path.unlink()

    def make(self, targets):
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DCMAKE_C_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        self.run(["cmake", "-S", str(self.copy), "-B", str(self.binaries), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DOCAMP_UNITY=ON",
                  "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST", *launcher])
        self.run(["cmake", "--build", str(self.binaries), "-j", str(self.jobs), "--target", *targets])
        shutil.rmtree(self.prepared, ignore_errors=True)
        self.prepared.mkdir()
        self.read_graph()

    def run(self, command):
        done = subprocess.run(command, capture_output=True, text=True, cwd=self.binaries if self.binaries.is_dir() else None)
        if done.returncode != 0:
            raise Failure(f"{shlex.join(command)}\n{(done.stdout + done.stderr)[-3000:]}")
        return done.stdout

    def read_graph(self):
        """What Ninja knows: which files each object is made of, which objects each program and library."""
        reads, current = {}, None
        for line in self.run(["ninja", "-t", "deps"]).splitlines():
            if line and not line.startswith(" "):
                current = reads.setdefault(line.partition(": ")[0], set())
            elif line:
                current.add(os.path.normpath(self.binaries / line.strip()))
        for entry in json.loads((self.binaries / "compile_commands.json").read_text()):
            words = quick(shlex.split(entry["command"]))
            if pathlib.Path(words[0]).name == "ccache":
                del words[0]
            name = words[words.index("-o") + 1]
            if (self.binaries / name).is_file():
                # Clang is quicker, and takes headers that were compiled before in any place.
                if shutil.which("clang++"):
                    words[0] = "clang" if entry["file"].endswith(".c") else "clang++"
                self.compilations[name] = Compilation(pathlib.Path(entry["file"]), [*words, "-w"],
                                                      reads.get(name, set()) | {entry["file"]})
        rules = [line.partition(": ") for line in self.run(["ninja", "-t", "targets", "all"]).splitlines()]
        linked = {name: rule for name, _, rule in rules if "_LINKER__" in rule and not name.endswith(".cmake")
                  and (self.binaries / name).is_file()}
        for name in [name for name, rule in linked.items() if "STATIC_LIBRARY" in rule]:
            self.archives[name] = [word for word in self.link_command(name, 1) if word.endswith(".o")]
        for name in [name for name, rule in linked.items() if "STATIC_LIBRARY" not in rule]:
            command = self.link_command(name, 0)
            objects = {member for word in command for member in self.archives.get(word, [word]) if member.endswith(".o")}
            self.artefacts[name] = Artefact(self.binaries / name, command, objects, "EXECUTABLE" in linked[name])

    def link_command(self, name, position):
        """The commands of a rule stand in one line; the first of a program links it, the second of an archive fills it."""
        line = self.run(["ninja", "-t", "commands", name]).splitlines()[-1]
        return shlex.split([part for part in line.split(" && ") if part.strip() != ":"][position])

    def needed_by(self, program):
        """The artefacts that a program uses when it runs: itself, and what has to be built before it."""
        name = os.path.relpath(program, self.binaries)
        found, listed = {name}, self.run(["ninja", "-t", "query", name])
        for word in re.findall(r"^    \|\|? (\S+)$", listed.partition("outputs:")[0], re.MULTILINE):
            found |= {each for each, artefact in self.artefacts.items() if each == word or artefact.path.name == word}
        return found & set(self.artefacts)

    def affected(self, path):
        """The objects into which the file of the copy goes. Of the seam's header the tests keep the one that they know: they
        stand for the other side of it."""
        changed = str(self.copy / path)
        return {name for name, each in self.compilations.items() if changed in each.reads and (
            path != SEAM or not each.source.is_relative_to(self.copy / "tests") or f'"{pathlib.Path(path).name}"' in each.source.read_text())}

    def precompiled(self, compilation):
        """Options that spare the compiler the headers at the top of a source; none when they do not help."""
        text = compilation.source.read_text()
        top = re.match(r"(?:[ \t]*(?://[^\n]*|#include [^\n]*|)\n)*", text).group()
        if "#include" not in top or not compilation.command[0].startswith("clang"):
            return []
        name = hashlib.sha256(str(compilation.source).encode()).hexdigest()[:16]
        header, result = self.prepared / f"{name}.h", self.prepared / f"{name}.pch"
        with self.lock:
            lock = self.locks.setdefault(name, threading.Lock())
        with lock:
            if not header.exists():
                header.write_text(top)
                language = "c-header" if compilation.source.suffix == ".c" else "c++-header"
                command = list(compilation.command)
                command[command.index("-o") + 1] = str(result)
                command[command.index("-c") : command.index("-c") + 2] = ["-iquote", str(compilation.source.parent), "-x", language,
                                                                          str(header)]
                subprocess.run(command, cwd=self.binaries, capture_output=True, timeout=LONGEST_COMPILATION)
        return ["-include-pch", str(result)] if result.exists() else []


class Change:
    """One file of the copy with another text: what is made of it, in a folder of its own. `sandbox` runs the compiler where
    the new text stands in the file's place."""

    def __init__(self, build, folder, path, text, sandbox, spare_headers):
        self.build, self.folder, self.path, self.sandbox, self.spare_headers = build, folder, path, sandbox, spare_headers
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        self.file = folder / ("changed" + pathlib.Path(path).suffix)
        self.file.write_text(text)
        self.objects = {name: folder / f"{number}.o" for number, name in enumerate(sorted(build.affected(path)))}
        self.linked = {}
        self.number = 0
        self.places = {build.copy / path: self.file}  # what stands in the place of what

    def concerns(self, names):
        return any(self.build.artefacts[name].objects & self.objects.keys() for name in names)

    def make(self, names):
        """Makes these artefacts, as far as they are concerned, and puts them in place. False: the new text does not compile."""
        for name in sorted(names):
            artefact = self.build.artefacts[name]
            wanted = artefact.objects & self.objects.keys()
            if not wanted or name in self.linked:
                continue
            if not all(self.compiled(each) for each in wanted) or not self.link(name, artefact):
                return False
            self.places[artefact.path] = self.linked[name]
        return True

    def switch(self, number):
        """Turns the mutant of that number on (0: none) in whatever is made of the text."""
        self.number = number
        for linked in self.linked.values():
            switch(linked, number)

    def compiled(self, name):
        if self.objects[name].exists():
            return True
        compilation = self.build.compilations[name]
        command = list(compilation.command)
        command[command.index("-o") + 1] = str(self.objects[name])
        if self.spare_headers and compilation.source == self.build.copy / self.path:
            command[1:1] = self.build.precompiled(compilation)
        return self.sandbox.succeeds(command, {self.build.copy / self.path: self.file}, LONGEST_COMPILATION)

    def complaints(self):
        """Line and column of what the compiler found wrong with the text when it was run last: errors, or what it was at."""
        found = re.findall(r"^([^\s:][^:\n]*):(\d+):(\d+): (fatal error|error|note)", self.sandbox.last_output(), re.MULTILINE)
        ours = str(self.build.copy / self.path)
        places = [(kind != "note", int(line), int(column)) for file, line, column, kind in found
                  if os.path.normpath(self.build.binaries / file) == ours]
        errors = [place[1:] for place in places if place[0]]
        return errors or [place[1:] for place in places]

    def link(self, name, artefact):
        self.linked[name] = self.folder / artefact.path.name
        # As quick as LLVM's linker, whose search table names one entry for each address: of a function behind an empty one, not
        # its own, so that what it throws is caught nowhere.
        command = [artefact.command[0], *(["-fuse-ld=gold"] if artefact.is_program else []), "-Wl,--strip-debug"]
        whole = False
        for word in artefact.command[1:]:
            whole = word.endswith("--whole-archive") or whole and not word.endswith("--pop-state")
            members = self.build.archives.get(word)
            if members and self.objects.keys() & set(members):
                replaced = [str(self.objects.get(member, member)) for member in members]
                command += replaced if whole else ["-Wl,--start-lib", *replaced, "-Wl,--end-lib"]
            else:
                command.append(str(self.objects.get(word, word)))
        command[command.index("-o") + 1] = str(self.linked[name])
        if not self.sandbox.succeeds(command, {}, LONGEST_COMPILATION):
            return False
        if self.number:
            switch(self.linked[name], self.number)
        return True
