"""Runs programs that may do anything where they can write to one folder and to a /tmp of their own only, see no processes
but theirs, and find other files in the place of some. Knows nothing of mutants."""

import os
import resource
import signal
import subprocess
import time

from copied_build import Failure

MEMORY_LIMIT = 8 << 30
FILE_LIMIT = 1 << 30

# Everything is read-only but the folder and temporary files, which are in memory.
SCRIPT = """
build=$1 folder=$2 where=$3 places=$4
shift 4
mount --bind "$build" "$build"
mount -o remount,ro,bind "$build"
mount -t tmpfs tmpfs "$build/tmp"
[ "${build#/tmp/}" != "$build" ] || mount -t tmpfs tmpfs /tmp
mount --bind "$folder" "$folder"
mount -o remount,rw,bind "$folder"
while [ "$places" -gt 0 ]; do
    mount --bind "$2" "$1"
    shift 2
    places=$((places - 1))
done
mount -o remount,ro,bind /
cd "$where"
exec "$@"
"""


class Sandbox:
    """One program at a time; several of them may be used at once."""

    def __init__(self, build, folder):
        """`build`: the CopiedBuild; `folder`: below it, where programs may write."""
        self.build, self.folder = build, folder
        self.environment = dict(os.environ, TMPDIR=str(build.build / "tmp"))
        folder.mkdir(parents=True, exist_ok=True)
        (build.build / "tmp").mkdir(exist_ok=True)
        self.process = None
        self.output_file = build.build / f"{folder.name}.output"
        names = [] if os.geteuid() == 0 else ["--map-root-user"]
        self.prefix = ["unshare", *names, "--mount", "--pid", "--fork", "--kill-child", "--mount-proc", "sh", "-e", "-c", SCRIPT, "sh"]

    def try_out(self):
        status, output, _, _ = self.run(["true"], {}, 60)
        if status != 0:
            raise Failure(f"mutants are run in namespaces of their own, which cannot be made here: {output.strip()}")

    def run(self, command, places, seconds, processor_seconds=None, environment=None):
        """Status, output, seconds, and seconds of processors; status None when it took longer than `seconds`. `places`: what
        stands in the place of what. A process that takes `processor_seconds` is ended."""
        def limits():
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT, FILE_LIMIT))
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
            if processor_seconds:
                resource.setrlimit(resource.RLIMIT_CPU, (processor_seconds, processor_seconds))

        pairs = [str(path) for pair in places.items() for path in pair]
        words = [*self.prefix, str(self.build.build), str(self.folder), str(self.build.binaries), str(len(places)), *pairs, *command]
        # Wherever a test would put its files, it can write here only.
        environment = {**self.environment, **(environment or {}), "TMPDIR": self.environment["TMPDIR"]}
        started = time.monotonic()
        with open(self.output_file, "wb") as output:
            self.process = process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                       env=environment, start_new_session=True, preexec_fn=limits)
            status, used = self.wait(process, seconds)
        return status, self.last_output(), time.monotonic() - started, used

    def stop(self):
        """Ends what runs, from another thread."""
        process = self.process
        if process is not None and process.returncode is None:
            os.killpg(process.pid, signal.SIGKILL)

    def last_output(self):
        return self.output_file.read_bytes().decode(errors="replace")

    def succeeds(self, command, places, seconds):
        return self.run(command, places, seconds)[0] == 0

    @staticmethod
    def wait(process, seconds):
        """Status (None: it was ended here) and seconds of processors of the process and its children."""
        deadline, pause = time.monotonic() + seconds, 0.002
        in_time = True
        try:
            while in_time:
                pid, status, usage = os.wait4(process.pid, os.WNOHANG)
                if pid:
                    process.returncode = os.waitstatus_to_exitcode(status)
                    return process.returncode, usage.ru_utime + usage.ru_stime
                time.sleep(pause)
                pause = min(pause * 1.5, 0.1)
                in_time = time.monotonic() < deadline
        finally:
            # On every way out of here, the script's own end included.
            if process.returncode is None:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
        return None, seconds
