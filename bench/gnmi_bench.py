"""What the gNMI server does in a second and what a stream costs, with Debian's grpcio as the client, which takes its
share of the same processors. Writes JSON. Programs, the example and the .proto files come from the environment, as for
the tests: OCAMP, OCAMPD, EXAMPLE_NODE, PROTO.
"""

import json
import os
import signal
import statistics
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "gnmi"))

from gnmi_client import AMPLIFIER, Client, Server, make_node, path, pb, subscription, update  # noqa: E402

SECONDS = float(sys.argv[1]) if len(sys.argv) > 1 else 5
PRE = AMPLIFIER % "0/1-AMP-PRE"
GAIN = PRE + "/config/target-gain"
NATIVE = path("/interface-configurations/interface-configuration[active=act][interface-name=Ots0/1/0/0]/optics"
              "/optics-ots-amplifier-gain", origin="native")


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(len(values) * share))]


def stream(client, where, how=pb.ON_CHANGE, **more):
    request = subscription(where, mode=pb.SubscriptionList.STREAM, **more)
    request.subscribe.subscription[0].mode = how
    return client.subscribe([request])


def processor_time(process):
    """Seconds that the server has had of the processors."""
    with open("/proc/%d/stat" % process.pid) as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def gets(server, connections):
    """One leaf, asked again as soon as it is there."""
    taken = []
    end = time.time() + SECONDS

    def ask():
        client = Client(server.port)
        while time.time() < end:
            begin = time.perf_counter()
            client.get(GAIN)
            taken.append(time.perf_counter() - begin)
        client.close()

    threads = [threading.Thread(target=ask) for _ in range(connections)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return {"connections": connections, "per_second": len(taken) / SECONDS,
            "median_ms": statistics.median(taken) * 1000, "p99_ms": percentile(taken, 0.99) * 1000}


def sampled_updates(server):
    """Streams that sample the whole model as often as they may."""
    count = [0] * 10
    clients = [Client(server.port) for _ in count]
    streams = [stream(client, "/", pb.SAMPLE) for client in clients]

    def read(number):
        try:
            for response in streams[number]:
                count[number] += len(response.update.update)
        except Exception:  # cancelled
            pass

    threads = [threading.Thread(target=read, args=[number]) for number in range(len(count))]
    for thread in threads:
        thread.start()
    time.sleep(1)
    before, begin, used = sum(count), time.time(), processor_time(server.process)
    time.sleep(SECONDS)
    told = (sum(count) - before) / (time.time() - begin)
    share = (processor_time(server.process) - used) / (time.time() - begin)
    for one in streams:
        one.cancel()
    for thread in threads:
        thread.join()
    return {"streams": len(count), "updates_per_second": told, "processor_share": share}


def cost_of_streams(server, count=1000):
    clients = [Client(server.port) for _ in range(10)]
    for client in clients:
        client.capabilities()
    next(stream(clients[0], PRE))
    before = server.memory()
    streams = [stream(clients[i % 10], PRE) for i in range(count)]
    for one in streams:
        while not next(one).sync_response:
            pass
    grown = server.memory() - before
    used = processor_time(server.process)
    time.sleep(SECONDS)
    idle = (processor_time(server.process) - used) / SECONDS
    for one in streams:
        one.cancel()
    return {"streams": count, "bytes_each": grown / count, "idle_processor_share": idle}


def latency(server, rounds):
    """From sending a Set of the native leaf to the stream's update, both at the client."""
    admin, client = Client(server.port, "ada"), Client(server.port)
    watched = stream(client, GAIN, encoding=pb.PROTO)
    seen = {}
    arrived = threading.Condition()

    def read():
        try:
            for response in watched:
                with arrived:
                    for one in response.update.update:
                        seen.setdefault(one.val.double_val, time.perf_counter())
                    arrived.notify()
        except Exception:  # cancelled
            pass

    threading.Thread(target=read, daemon=True).start()
    taken = []
    for round_ in range(rounds):
        value = 20 + round_ % 100 + 5
        with arrived:
            seen.clear()
        begin = time.perf_counter()
        admin.set(update=[update(NATIVE, uint_val=value)])
        with arrived:
            arrived.wait_for(lambda: value / 10 in seen, 30)
            taken.append((seen[value / 10] - begin) * 1000)
    watched.cancel()
    return {"rounds": rounds, "median_ms": statistics.median(taken), "p99_ms": percentile(taken, 0.99)}


def main():
    with tempfile.TemporaryDirectory() as folder:
        server = Server(make_node(folder), "gnmi", "--insecure")
        Client(server.port).capabilities()
        figures = {
            "gets": [gets(server, connections) for connections in (1, 8)],
            "latency": latency(server, 200),
            "samples": sampled_updates(server),
            "streams": cost_of_streams(server),
        }
        begin = time.time()
        server.end(signal.SIGTERM)
        figures["stop_seconds"] = time.time() - begin
    print(json.dumps(figures, indent=2))


main()
