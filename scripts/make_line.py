#!/usr/bin/env python3
"""Prints the description of a line of any length, for measurements: every node has three slots with a pre-amplifier and
a booster each, for two directions and a second fibre of the first.

    scripts/make_line.py 100 | build/bin/ocamp line init hundred-nodes --from -
"""
import argparse
import json

MIDDLE_LOSS = 9.0  # dB, between the amplifiers of a slot; the booster gives it back
CONNECTORS = [0.5, 0.5]
LOSS_PER_KM = 0.2
LENGTHS = [82, 68, 91, 75]  # km, over and over
FIRST_GAIN = 17.0  # of what the terminal hands to the first node
SUPERVISORY_POWER = 1.0


def span_loss(length):
    return length * LOSS_PER_KM + sum(CONNECTORS)


def slot(number, direction, gain):
    return {
        "slot": number,
        "direction": direction,
        "supervisory-power-dbm": SUPERVISORY_POWER,
        "pre-amplifier": {"type": "pre", "gain-db": round(gain, 1)},
        "booster": {"type": "booster", "gain-db": MIDDLE_LOSS, "input-loss-db": MIDDLE_LOSS},
    }


def line(nodes):
    lengths = [LENGTHS[i % len(LENGTHS)] for i in range(nodes - 1)]
    before = [FIRST_GAIN] + [span_loss(length) for length in lengths]
    behind = [span_loss(length) for length in lengths] + [FIRST_GAIN]
    channels = {"count": 40, "power-dbm": -19}
    return {
        "name": f"{nodes} nodes",
        "directions": [
            {"name": "east", "order": "forward", "channels": channels},
            {"name": "west", "order": "backward", "channels": channels},
            {"name": "east-2", "order": "forward", "channels": channels},
        ],
        "amplifier-types": {
            "pre": {"gain-range-db": [10, 26], "noise-figure-db": 5.5, "maximum-output-dbm": 18},
            "booster": {"gain-range-db": [8, 25], "noise-figure-db": 6.5, "maximum-output-dbm": 21},
        },
        "nodes": [
            {"name": f"node-{i + 1}",
             "slots": [slot(1, "east", before[i]), slot(2, "west", behind[i]), slot(3, "east-2", before[i])]}
            for i in range(nodes)
        ],
        "spans": [
            {"length-km": length, "loss-db-per-km": LOSS_PER_KM, "connector-loss-db": CONNECTORS} for length in lengths
        ],
    }


if __name__ == "__main__":
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("nodes", type=int, help="1 to 1000")
    print(json.dumps(line(arguments.parse_args().nodes), indent=1))
