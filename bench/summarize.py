#!/usr/bin/python3
"""Turns the JSON of one scripts/bench.sh run into the tables of docs/performance.md.

  summarize.py RESULT_DIR     reads {roundtrip,router}-{pinned,unpinned}.json and the JSON
                              lines of notify-*.jsonl and startup-*.jsonl, prints Markdown

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


def json_lines(path):
    if not path.exists():
        return []
    return [json.loads(line) for line in path.read_text().splitlines() if line.startswith("{")]


def notify_table(results):
    lines = [
        "| Rate | CPU | sent/s | p50 (µs) | p99 (µs) | floor p50 | floor p99 | p50 / floor "
        "| p99 / floor | lost |",
        "|---|---|---|---|---|---|---|---|---|---|",
    ]
    bursts = []
    for mode in MODES:
        entries = json_lines(results / f"notify-{mode}.jsonl")
        for run in ("1k/s", "10k/s", "max"):
            reps = [e for e in entries if e["run"] == run]
            if not reps:
                continue
            p50, p99 = median(reps, "p50_us"), median(reps, "p99_us")
            f50, f99 = median(reps, "floor_p50_us"), median(reps, "floor_p99_us")
            lost = sum(e["sent"] - e["processed"] for e in reps)
            lines.append(
                f"| {run} | {mode} | {fmt(median(reps, 'rate'), 0)} | {fmt(p50)} | {fmt(p99)} "
                f"| {fmt(f50)} | {fmt(f99)} | {fmt(ratio(p50, f50), 2)} "
                f"| {fmt(ratio(p99, f99), 2)} | {lost} |")
        bursts += [dict(e, mode=mode) for e in entries if e["run"].startswith("burst")]
    lines += ["", "| Burst | ahead at most | CPU | processed | floor received | seconds "
              "| RSS before (KiB) | peak | after | after malloc_trim |",
              "|---|---|---|---|---|---|---|---|---|---|"]
    for e in bursts:
        ahead = f"{e['window']:,}" if e.get("window") else "unbounded"
        lines.append(
            f"| {e['sent']:,} | {ahead} | {e['mode']} | {e['processed']:,} "
            f"| {e['floor_received']:,} "
            f"| {e['seconds']} | {e['rss_before_kib']:,} | {e['rss_peak_kib']:,} "
            f"| {e['rss_after_kib']:,} | {e['rss_after_trim_kib']:,} |")
    return "\n".join(lines)


def startup_table(results):
    lines = ["| Figure | CPU | glyphd | bare: 14 icons | glyphd / bare | glyphd − bare |",
             "|---|---|---|---|---|---|"]
    details = []
    for mode in MODES:
        entries = json_lines(results / f"startup-{mode}.jsonl")
        by_name = {}
        for e in entries:
            by_name.setdefault(e["name"], []).append(e)

        def row(label, daemon_run, bare_run, key, digits=0):
            daemon = median(by_name.get(daemon_run, []), key)
            bare = median(by_name.get(bare_run, []), key)
            difference = None if daemon is None or bare is None else daemon - bare
            lines.append(f"| {label} | {mode} | {fmt(daemon, digits)} | {fmt(bare, digits)} "
                         f"| {fmt(ratio(daemon, bare), 2)} | {fmt(difference, digits)} |")

        runs_count = len(by_name.get("glyphd", []))
        row(f"exec to READY=1, ms (median of {runs_count})", "glyphd", "bare", "ready_ms", 1)
        row("resident set after start-up, KiB", "glyphd", "bare", "rss_kib")
        row("instructions to READY=1 (callgrind)", "glyphd-callgrind", "bare-callgrind",
            "instructions")
        for e in by_name.get("glyphd-idle", []):
            # The first pid is the daemon, the second the router.
            idle = list(e.get("idle", {}).values())
            bare_idle = [list(b.get("idle", {}).values()) for b in by_name.get("bare-idle", [])]
            bare_total = bare_idle[0][0]["total"] if bare_idle and bare_idle[0] else None
            lines.append(f"| idle context switches of the daemon | {mode} | {idle[0]['total']} "
                         f"| {fmt(bare_total, 0)} | | |")
            lines.append(f"| idle context switches of the router (daemon connected) | {mode} "
                         f"| {idle[1]['total']} | | | |")
            lines.append(f"| resident set after {e.get('burst', 0):,} notifications, KiB "
                         f"| {mode} | {e.get('rss_after_burst_kib')} | | | "
                         f"{fmt(e.get('rss_after_burst_kib', 0) - e.get('rss_kib', 0), 0)} "
                         "more than before it |")
            details.append(f"- {mode}: daemon threads that woke while idle: "
                           f"{idle[0]['threads'] or 'none'}; router: "
                           f"{idle[1]['threads'] or 'none'}; burst processed: "
                           f"{e.get('burst_processed')} in {e.get('burst_seconds')} s")
        for e in by_name.get("glyphd-silent-control-panel", []):
            lines.append(f"| exec to READY=1 with a silent control panel, ms | {mode} "
                         f"| {fmt(e.get('ready_ms'), 1)} | | | |")
    return "\n".join(lines + [""] + details)


def main():
    results = Path(sys.argv[1])
    print("### Request round trip\n")
    print(roundtrip_table(results))
    print("\n### Router\n")
    print(router_table(results))
    print("\n### Notification path\n")
    print(notify_table(results))
    print("\n### Start-up, memory and idle of the daemon\n")
    print(startup_table(results))


if __name__ == "__main__":
    main()
