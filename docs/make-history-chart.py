#!/usr/bin/env python3
"""Draws docs/history-chart.png, the README's example chart, from a made-up history.

The history is the same on every run: two days of a sample every two minutes, with a busy
afternoon (fair, serious and a moment of critical), keep-awake sessions, a night with the lid
closed and a stretch while the machine slept, where nothing was recorded.

Usage: docs/make-history-chart.py [PATH-TO-tallowbeck]   (default: build/dev/bin/tallowbeck)
"""
import json
import math
import os
import subprocess
import sys
import tempfile
import uuid
from datetime import datetime, timedelta, timezone

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
START = datetime(2024, 5, 1, 6, 0, tzinfo=timezone.utc)
STEP = timedelta(minutes=2)
COUNT = 2 * 24 * 30
ASLEEP = (datetime(2024, 5, 2, 1, 0, tzinfo=timezone.utc), datetime(2024, 5, 2, 4, 30, tzinfo=timezone.utc))


def hours_between(moment, first, last):
    hour = moment.hour + moment.minute / 60
    return first <= hour < last


def thermal_state(moment):
    if hours_between(moment, 14.5, 14.7):
        return "critical"
    if hours_between(moment, 13.5, 15.5):
        return "serious"
    if hours_between(moment, 12, 17):
        return "fair"
    return "nominal"


def sample(index):
    moment = START + index * STEP
    hour = moment.hour + moment.minute / 60
    load = math.exp(-((hour - 14.5) / 2.2) ** 2)
    ripple = math.sin(index / 9) * 0.8
    lid_closed = hours_between(moment, 22, 24) or hours_between(moment, 0, 6)
    record = {
        "id": str(uuid.uuid5(uuid.NAMESPACE_URL, f"history-chart-{index}")).upper(),
        "recordedAt": moment.strftime("%Y-%m-%dT%H:%M:%SZ"),
        "batteryCelsius": round(29 + 9 * load + ripple / 2, 1),
        "cpuCelsius": round(46 + 48 * load + 3 * ripple, 1),
        "thermalState": thermal_state(moment),
        "sessionActive": hours_between(moment, 9, 11.5) or hours_between(moment, 19, 24),
        "lidClosed": lid_closed,
    }
    # The GPU's reading is absent while the lid is closed.
    if not lid_closed:
        record["gpuCelsius"] = round(42 + 30 * load + 2 * ripple, 1)
    return moment, record


def history():
    samples = (sample(index) for index in range(COUNT))
    return [record for moment, record in samples if not ASLEEP[0] <= moment < ASLEEP[1]]


def main():
    tallowbeck = sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "build/dev/bin/tallowbeck")
    output = os.path.join(ROOT, "docs/history-chart.png")
    with tempfile.TemporaryDirectory() as folder:
        file = os.path.join(folder, "history.json")
        with open(file, "w", encoding="utf-8") as stream:
            json.dump(history(), stream)
        subprocess.run([tallowbeck, "history", "--file", file, "plot", "--output", output,
                        "--width", "960", "--height", "400"],
                       check=True, env=dict(os.environ, TZ="Europe/Berlin"))
    print(output)


if __name__ == "__main__":
    main()
