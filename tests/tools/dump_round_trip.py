#!/usr/bin/env python3
"""The dump round trip: aon-sim runs a scenario with the dump property on and --dump-dir, aon-dump
replays the dumps, and each frame's detector results (face angle, gaze, face feature) must equal
what the client received. Fusion and the image are not dumped and are not compared.

usage: dump_round_trip.py AON_SIM AON_DUMP SCENARIO WORK_DIR
"""
import json
import shutil
import subprocess
import sys
from pathlib import Path

DETECTOR_KEYS = (200, 300, 400)  # face angle, gaze, face feature
DUMPED_BITS = 0x2 | 0x4 | 0x8


def run(command):
    done = subprocess.run(command, capture_output=True, text=True, timeout=120)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: exit status {done.returncode}\n{done.stderr}")
    return [json.loads(line) for line in done.stdout.splitlines() if line.startswith("{")]


def detector_results(service_type, results):
    values = {item["key"]: item["value"] for item in results if item["key"] in DETECTOR_KEYS}
    frame = next(item["value"] for item in results if item["key"] == 0)
    return frame, {"serviceType": service_type & DUMPED_BITS, "values": values}


def main(aon_sim, aon_dump, scenario, work):
    dumps = Path(work) / "dumps"
    shutil.rmtree(dumps, ignore_errors=True)
    dumps.mkdir(parents=True)
    trace = run([aon_sim, "--property", "tarvo.aon.hal.mtk_dump_apu=1", "--dump-dir", dumps,
                 "--json", "--values", scenario])
    received = dict(detector_results(entry["serviceType"], entry["results"])
                    for entry in trace if entry.get("kind") == "event")
    replayed = dict(detector_results(entry["serviceType"], entry["results"])
                    for entry in run([aon_dump, dumps, "--replay", "--json"]))

    problems = []
    if not received:
        problems.append("the client received no events")
    if received.keys() != replayed.keys():
        problems.append(f"frames received {sorted(received)}, frames replayed {sorted(replayed)}")
    for frame in sorted(received.keys() & replayed.keys()):
        if received[frame] != replayed[frame]:
            problems.append(f"frame {frame}: received {received[frame]}\n"
                            f"  replayed {replayed[frame]}")
    if problems:
        sys.exit("\n".join(problems))
    print(f"{len(received)} frames: the replayed dumps give the detector results the client "
          "received")


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
