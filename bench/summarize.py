#!/usr/bin/python3
"""Turns the JSON of one scripts/bench.sh run into the tables of docs/performance.md.

  summarize.py RESULT_DIR     reads {roundtrip,router}-{pinned,unpinned}.json, prints Markdown

Each figure is the median over the repetitions of the run; p50 and p99 come from the
per-request times of each repetition.
"""

import json
import statistics
import sys
from pathlib import Path

MODES = ("pinned", "unpinned")


def runs(path):
    """run_name -> list of per-repetition result dicts."""
    grouped = {}
    if not path.exists():
        return grouped
    for entry in json.loads(path.read_text())["benchmarks"]:
        if entry.get("run_type") == "iteration" and not entry.get("error_occurred"):
            grouped.setdefault(entry["run_name"], []).append(entry)
    return grouped


def median(entries, key):
    values = [e[key] for e in entries if key in e]
    return statistics.median(values) if values else None


def fmt(value, digits=1):
    return "n/a" if value is None else f"{value:,.{digits}f}"


def ratio(a, b):
    return None if a is None or b in (None, 0) else a / b


def roundtrip_table(results):
    lines = [
        "| Path | CPU | p50 (µs) | p99 (µs) | p50 / floor | p99 / floor | D-Bus p50 / this p50 |",
        "|---|---|---|---|---|---|---|",
    ]
    for mode in MODES:
        data = runs(results / f"roundtrip-{mode}.json")
        stat = {
            name: (median(data.get(f"BM_RoundTrip_{name}/real_time", []), "p50_us"),
                   median(data.get(f"BM_RoundTrip_{name}/real_time", []), "p99_us"))
            for name in ("Floor", "Clientmgr", "DBus")
        }
        floor = stat["Floor"]
        dbus = stat["DBus"]
        for name, label in (("Floor", "floor: bare relay"), ("Clientmgr", "clientmgr"),
                            ("DBus", "QtDBus via dbus-daemon")):
            p50, p99 = stat[name]
            lines.append(
                f"| {label} | {mode} | {fmt(p50)} | {fmt(p99)} | {fmt(ratio(p50, floor[0]), 2)} "
                f"| {fmt(ratio(p99, floor[1]), 2)} | {fmt(ratio(dbus[0], p50), 2)} |")
    return "\n".join(lines)


def router_table(results):
    lines = ["| Figure | pinned | unpinned |", "|---|---|---|"]
    data = {mode: runs(results / f"router-{mode}.json") for mode in MODES}

    def row(label, run, key, digits=0, scale=1.0):
        cells = []
        for mode in MODES:
            value = median(data[mode].get(run, []), key)
            cells.append(fmt(None if value is None else value * scale, digits))
        lines.append(f"| {label} | {cells[0]} | {cells[1]} |")

    for clients in (2, 10, 100):
        row(f"routed messages/s, {clients} clients", f"BM_RouterThroughput/{clients}/real_time",
            "items_per_second")
    row("fan-out copies/s, 100 receivers", "BM_RouterFanOut/100/real_time", "items_per_second")
    row("fan-outs/s to 100 receivers", "BM_RouterFanOut/100/real_time", "items_per_second",
        0, 1 / 100)
    row("resident KiB per registered client (400 clients)",
        "BM_RouterMemoryPerClient/400/iterations:1", "KiB_per_client", 1)
    row("resident KiB with no client", "BM_RouterMemoryPerClient/400/iterations:1", "KiB_base")
    row("context switches while idle (10 idle clients)",
        "BM_RouterIdleSwitches/iterations:1/real_time", "switches")
    row("... over seconds", "BM_RouterIdleSwitches/iterations:1/real_time", "seconds")
    return "\n".join(lines)


def main():
    results = Path(sys.argv[1])
    print("### Request round trip\n")
    print(roundtrip_table(results))
    print("\n### Router\n")
    print(router_table(results))


if __name__ == "__main__":
    main()
