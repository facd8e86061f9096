"""What the gNMI server does in a second and what a stream costs, with Debian's grpcio as the client, which takes its
share of the same processors. Writes JSON. Programs, the example and the .proto files come from the environment, as for
the tests: OCAMP, OCAMPD, EXAMPLE_NODE, PROTO.
"""

import asyncio
import json
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "gnmi"))

import grpc  # noqa: E402
from gnmi_client import AMPLIFIER, PASSWORD, Client, Server, make_node, ocamp, path, pb, subscription, update  # noqa: E402

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


# Clients that read streams have a process each, as one of Python's has no more than one core.
READERS = 2
# How long streams may take to tell all their first values, in seconds. Readers that cannot keep up never come to their end.
TIME_TO_BEGIN = 20


async def read_streams(port, count):
    """A reader's process: `count` streams that sample the whole model as often as they may. Tells when all values are
    there, or that they are late, waits for a line, and tells the updates of the next seconds and what this process took
    of a core."""
    metadata = [("username", "olga"), ("password", PASSWORD)]
    request = subscription("/", mode=pb.SubscriptionList.STREAM)
    request.subscribe.subscription[0].mode = pb.SAMPLE
    updates, synchronized = 0, 0

    async def read(channel):
        nonlocal updates, synchronized
        rpc = channel.stream_stream("/gnmi.gNMI/Subscribe", request_serializer=pb.SubscribeRequest.SerializeToString,
                                    response_deserializer=pb.SubscribeResponse.FromString)

        async def requests():
            yield request

        async for response in rpc(requests(), metadata=metadata):
            updates += len(response.update.update)
            synchronized += response.sync_response

    channels = [grpc.aio.insecure_channel("127.0.0.1:%d" % port, [("grpc.use_local_subchannel_pool", 1)])
                for _ in range(5)]
    tasks = [asyncio.create_task(read(channels[i % len(channels)])) for i in range(count)]
    latest = time.time() + TIME_TO_BEGIN
    while synchronized < count and time.time() < latest:
        await asyncio.sleep(0.05)
    print("ready" if synchronized == count else "late", flush=True)
    await asyncio.get_running_loop().run_in_executor(None, sys.stdin.readline)
    before, used, begin = updates, time.process_time(), time.time()
    await asyncio.sleep(SECONDS)
    taken = time.time() - begin
    print((updates - before) / taken, (time.process_time() - used) / taken, flush=True)
    # The library may wait for ever for streams that are cancelled while answers come in.
    os._exit(0)


def sampled_updates(server, streams):
    """Updates that arrive in a second, and what server and readers take of a core each for them. None when the streams
    do not come to their beginning."""
    readers = [subprocess.Popen([sys.executable, __file__, str(SECONDS), "read", str(server.port), str(streams // READERS)],
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) for _ in range(READERS)]
    if [reader.stdout.readline() for reader in readers] != ["ready\n"] * READERS:
        for reader in readers:
            reader.kill()
            reader.communicate()
        return None
    used, begin = processor_time(server.process), time.time()
    for reader in readers:
        reader.stdin.write("\n")
        reader.stdin.flush()
    told = [[float(word) for word in reader.stdout.readline().split()] for reader in readers]
    share = (processor_time(server.process) - used) / (time.time() - begin)
    for reader in readers:
        reader.communicate()
    updates = sum(one[0] for one in told)
    return {"streams": streams, "updates_per_second": updates, "processor_share": share,
            "reader_share": sum(one[1] for one in told), "microseconds_each": share / updates * 1e6}


def most_updates(server):
    """Twice as many streams until no more updates come of them: what is offered, and what is made of it."""
    whole = Client(server.port)
    leaves = len(whole.get("/", encoding=pb.PROTO).notification[0].update)
    whole.close()
    steps = []
    for streams in (10, 20, 40, 80, 160, 320, 640):
        step = sampled_updates(server, streams)
        if step is None:
            break
        steps.append({**step, "offered_per_second": streams * leaves * 10})
        if len(steps) > 1 and steps[-1]["updates_per_second"] < 1.1 * steps[-2]["updates_per_second"]:
            break
    return steps


def foreign_latency(server, rounds):
    """From the start of the command of another process that changes a leaf to the stream's update at the client."""
    client = Client(server.port)
    watched = stream(client, GAIN, encoding=pb.PROTO)
    while not next(watched).sync_response:
        pass
    taken, commands = [], []
    for round_ in range(rounds):
        value = 5 + round_ % 100 / 10
        # The reader looks at fixed times: the changes fall anywhere between.
        time.sleep(0.05 + round_ % 7 / 35)
        document = {"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [
            {"name": "0/1-AMP-PRE", "config": {"name": "0/1-AMP-PRE", "target-gain": str(value)}}]}}}
        begin = time.perf_counter()
        ocamp("edit", "--node", server.node, "-", input=json.dumps(document))
        commands.append((time.perf_counter() - begin) * 1000)
        while next(watched).update.update[0].val.double_val != value:
            pass
        taken.append((time.perf_counter() - begin) * 1000)
    watched.cancel()
    return {"rounds": rounds, "median_ms": statistics.median(taken), "p99_ms": percentile(taken, 0.99),
            "command_median_ms": statistics.median(commands)}


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
            "foreign_latency": foreign_latency(server, 60),
            "samples": most_updates(server),
            "streams": cost_of_streams(server),
        }
        begin = time.time()
        server.end(signal.SIGTERM)
        figures["stop_seconds"] = time.time() - begin
    print(json.dumps(figures, indent=2))


if sys.argv[2:3] == ["read"]:
    asyncio.run(read_streams(int(sys.argv[3]), int(sys.argv[4])))
else:
    main()
