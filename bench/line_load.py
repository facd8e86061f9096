#!/usr/bin/env python3
"""What a running line takes: processor time and memory of 'ocamp line run' at speed 1, by the number of nodes. With
--served, each node has a NETCONF and a gNMI port, and nobody connects. With --streams, one gNMI stream a node samples six
output powers each second, too, and their updates are timed; that wants Debian's Python, /usr/bin/python3, which has grpcio.

An update is due whole seconds after the first one of its stream was read, which that says by its timestamp. How late it is
goes from there to its arrival: what all updates of a stream have in common counts, too, such as the tenths of a second at
which the server reads for all streams together. Streams log in a few at a time: a check of a password takes a core for 20 ms,
and a connection whose log-in has not come to its end within 30 s is closed.

    bench/line_load.py [--ocamp build/bin/ocamp] [--seconds 60] [--served | --streams] [NODES...]
"""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import threading
import time

here = pathlib.Path(__file__).resolve().parent
arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
arguments.add_argument("--ocamp", default=here.parent / "build" / "bin" / "ocamp", type=pathlib.Path)
arguments.add_argument("--seconds", default=60, type=int, help="of line time, at speed 1")
serving = arguments.add_mutually_exclusive_group()
serving.add_argument("--served", action="store_true", help="NETCONF and gNMI ports without clients")
serving.add_argument("--streams", action="store_true", help="the same ports, and a gNMI stream a node")
arguments.add_argument("nodes", nargs="*", type=int, default=[1, 10, 100, 300])
options = arguments.parse_args()

SETTLING = 5  # seconds before anything is measured
LONGEST_START = 300  # seconds that streams may take to tell something
LOG_INS = 8  # at a time
TICKS = os.sysconf("SC_CLK_TCK")
OUTPUT = "/optical-amplifier/amplifiers/amplifier[name=*]/state/output-power-c-band/instant"


def make_line(folder, nodes):
    line = f"{folder}/line"
    description = subprocess.run([sys.executable, here.parent / "scripts" / "make_line.py", str(nodes)],
                                 capture_output=True, check=True).stdout
    subprocess.run([options.ocamp, "line", "init", line, "--from", "-"], input=description, check=True,
                   stdout=subprocess.DEVNULL)
    return line


def measure(nodes):
    with tempfile.TemporaryDirectory() as folder:
        line = make_line(folder, nodes)
        begin = time.monotonic()
        process = subprocess.Popen([options.ocamp, "line", "run", line, "--until", str(options.seconds)],
                                   stdout=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        assert process.returncode == 0, process.returncode
        elapsed = time.monotonic() - begin
        used = usage.ru_utime + usage.ru_stime
        return used / options.seconds, usage.ru_maxrss / 1024, elapsed


def processor_time(process):
    """Seconds so far."""
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def memory(process):
    """Resident, in MB."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return next(int(text.split()[1]) / 1024 for text in status.splitlines() if text.startswith("VmRSS"))


def served(line):
    """A running line and the ports of its nodes."""
    subprocess.run([options.ocamp, "user", "add", "--node", line, "ada"], input=b"correct horse\n", check=True,
                   stdout=subprocess.DEVNULL)
    process = subprocess.Popen(
        [options.ocamp, "line", "run", line, "--netconf-base", "0", "--gnmi-base", "0", "--insecure"],
        stdout=subprocess.PIPE, text=True)
    ports = []
    for text in process.stdout:
        if "gnmi=" not in text:
            break
        ports.append(int(text.rsplit("gnmi=127.0.0.1:", 1)[1].split()[0]))
    return process, ports


def load_of(process):
    """Share of one core over the time that is measured, memory at its end, and how long it was."""
    begin, used = time.monotonic(), processor_time(process)
    time.sleep(options.seconds)
    elapsed = time.monotonic() - begin
    return (processor_time(process) - used) / elapsed, memory(process), elapsed


def measure_served(nodes):
    with tempfile.TemporaryDirectory() as folder:
        begin = time.monotonic()
        process, ports = served(make_line(folder, nodes))
        started = time.monotonic() - begin
        assert len(ports) == nodes, f"the server ended with {process.poll()}"
        time.sleep(SETTLING)
        used, resident, _ = load_of(process)
        process.terminate()
        assert process.wait() == 0, process.returncode
        return used, resident, started


class Stream:
    """When the updates of a stream were read and came, of the second amplifier alone: once a sample."""

    log_ins = threading.Semaphore(LOG_INS)

    def __init__(self, gnmi, port, ended):
        self.reads, self.arrivals = [], []  # seconds of the clock
        self.thread = threading.Thread(target=self.sample, args=(gnmi, port, ended), daemon=True)
        self.thread.start()

    def sample(self, gnmi, port, ended):
        client = gnmi.Client(port, user="ada")
        request = gnmi.subscription(OUTPUT, mode=gnmi.pb.SubscriptionList.STREAM, sample_interval=10**9)
        request.subscribe.subscription[0].mode = gnmi.pb.SAMPLE
        try:
            with self.log_ins:
                responses = client.subscribe([request], timeout=None)
                self.keep(next(responses))
            for response in responses:
                self.keep(response)
                if ended.is_set():
                    return
        finally:
            client.close()

    def keep(self, response):
        if "0/1-AMP-PRE" in str(response.update.prefix):
            self.reads.append(response.update.timestamp / 1e9)
            self.arrivals.append(time.time())

    def lateness(self, skipped):
        """Of each update but the first ones. One that is left out makes all behind it late by a second."""
        due = self.reads[0] + int(self.reads[skipped] - self.reads[0])
        return [arrival - due - i for i, arrival in enumerate(self.arrivals[skipped:])]


def wait_for_all(process, streams):
    """Until every stream has told something, which a stream whose thread has ended never will."""
    end = time.monotonic() + LONGEST_START
    while not all(stream.arrivals for stream in streams):
        if process.poll() is not None:
            raise RuntimeError(f"the server ended with {process.returncode}")
        silent = sum(not stream.arrivals for stream in streams)
        if any(not stream.thread.is_alive() and not stream.arrivals for stream in streams):
            raise RuntimeError(f"a stream failed before its first update; {silent} of {len(streams)} had none")
        if time.monotonic() > end:
            raise RuntimeError(f"{silent} of {len(streams)} streams told nothing within {LONGEST_START} s")
        time.sleep(0.1)


def measure_streams(gnmi, nodes):
    with tempfile.TemporaryDirectory() as folder:
        process, ports = served(make_line(folder, nodes))
        ended = threading.Event()
        streams = [Stream(gnmi, port, ended) for port in ports]
        try:
            wait_for_all(process, streams)
        except RuntimeError:
            ended.set()
            process.kill()
            process.wait()
            raise
        time.sleep(SETTLING)
        first = [len(stream.arrivals) for stream in streams]
        used, resident, elapsed = load_of(process)
        ended.set()
        for stream in streams:
            stream.thread.join()
        process.terminate()
        process.wait()
        late = sorted(late for stream, skipped in zip(streams, first) for late in stream.lateness(skipped))
        return used, resident, len(late) / elapsed, late


def of(sorted_values, share):
    return sorted_values[min(len(sorted_values) - 1, int(len(sorted_values) * share))]


if options.served:
    print("| nodes | ports | of one core | memory | made and started in |")
    print("|---|---|---|---|---|")
    for nodes in options.nodes:
        used, resident, started = measure_served(nodes)
        print(f"| {nodes} | {2 * nodes} | {100 * used:.1f} % | {resident:.0f} MB | {started:.1f} s |", flush=True)
elif not options.streams:
    print("| nodes | amplifiers | processor time a second | of one core | memory | a run of "
          f"{options.seconds} s took |")
    print("|---|---|---|---|---|---|")
    for nodes in options.nodes:
        used, resident, elapsed = measure(nodes)
        print(f"| {nodes} | {6 * nodes} | {1000 * used:.1f} ms | {100 * used:.1f} % | {resident:.0f} MB | "
              f"{elapsed:.1f} s |", flush=True)
else:
    os.environ.setdefault("OCAMP", str(options.ocamp))
    os.environ.setdefault("PROTO", str(here.parent / "proto"))
    sys.path.insert(0, str(here.parent / "tests" / "gnmi"))
    import gnmi_client
    print("| nodes and streams | of one core | memory | updates a second and stream | late: median | 99 % | most |")
    print("|---|---|---|---|---|---|---|")
    for nodes in options.nodes:
        used, resident, updates, late = measure_streams(gnmi_client, nodes)
        print(f"| {nodes} | {100 * used:.1f} % | {resident:.0f} MB | {updates / nodes:.2f} | "
              f"{1000 * of(late, 0.5):.0f} ms | {1000 * of(late, 0.99):.0f} ms | {1000 * late[-1]:.0f} ms |", flush=True)
