#!/usr/bin/python3
"""Starts a program the way the service manager does and measures it.

    daemonrun.py [options] -- COMMAND...

The program gets its own NOTIFY_SOCKET; the time from exec to its READY=1 is its start-up.
Then, as asked: its resident set once it has settled, its context switches (every thread,
voluntary and not) over an idle interval, together with other processes' (--also PID), and
for the daemon a burst of notifications through the router, after which the resident set is
read again. With --callgrind the program runs under callgrind and the instructions up to
READY=1 are counted instead. Prints one JSON object.
"""

import argparse
import glob
import json
import os
import socket
import struct
import subprocess
import sys
import tempfile
import time


def status_kib(pid, field):
    with open(f"/proc/{pid}/status") as status:
        for line in status:
            if line.startswith(field + ":"):
                return int(line.split()[1])
    return -1


def context_switches(pid):
    """Per thread (name, switches) over /proc/PID/task/*; threads that ended are gone."""
    switches = {}
    for task in glob.glob(f"/proc/{pid}/task/*"):
        try:
            with open(f"{task}/comm") as comm:
                name = comm.read().strip()
            count = 0
            with open(f"{task}/status") as status:
                for line in status:
                    if "ctxt_switches:" in line:  # voluntary and nonvoluntary
                        count += int(line.split()[1])
            switches[os.path.basename(task)] = (name, count)
        except OSError:
            pass
    return switches


def idle_switches(pids, seconds):
    before = {pid: context_switches(pid) for pid in pids}
    time.sleep(seconds)
    result = {}
    for pid in pids:
        after = context_switches(pid)
        threads = {}
        for tid, (name, count) in after.items():
            woke = count - before[pid].get(tid, (name, 0))[1]
            if woke:
                threads[f"{name}/{tid}"] = woke
        result[str(pid)] = {"total": sum(threads.values()), "threads": threads}
    return result


def frame(source, destination, command, params, msg_type=4, seqn=0):
    body = struct.pack(">BBBBI", 1, msg_type, 0, 0, seqn)
    for text, size in ((source, ">H"), (destination, ">H"), (command, ">H"), (params, ">I")):
        data = text.encode()
        body += struct.pack(size, len(data)) + data
    return struct.pack(">I", len(body)) + body


def read_frame(peer):
    def exact(size):
        data = b""
        while len(data) < size:
            chunk = peer.recv(size - len(data))
            if not chunk:
                raise ConnectionError("the router closed the connection")
            data += chunk
        return data
    body = exact(struct.unpack(">I", exact(4))[0])
    return body[1], struct.unpack(">I", body[4:8])[0]  # type, seqn


def burst(program, port, count, window, trayctl):
    """COUNT notifications the Vfl item takes without a change, then one that shows its icon:
    once the icon is there the main thread has processed all of them. With a window, a command
    after every WINDOW notifications must be answered before more are sent (the daemon's
    receive thread answers it once it has read everything before it), so the router never
    queues more than a window for the daemon."""
    with socket.create_connection(("127.0.0.1", port)) as peer:
        peer.sendall(frame("burstpeer", "clientmgr", "register", "local", 1, 1))
        read_frame(peer)
        step = window or count
        block = frame("burstpeer", "glyphd", "notify", 'LASER_WARNING,"False"') * 1000
        start = time.monotonic()
        for seqn in range(2, 2 + count // step):
            for _ in range(step // 1000):
                peer.sendall(block)
            if window:
                peer.sendall(frame("burstpeer", "glyphd", "burst_sync", "", 1, seqn))
                while read_frame(peer)[1] != seqn:
                    pass
        peer.sendall(frame("burstpeer", "glyphd", "notify", 'LASER_WARNING,"True"'))
        shown = False
        while not shown and program.poll() is None and time.monotonic() - start < 600:
            shown = subprocess.run(trayctl + ["find", "--tooltip", "Vfl", "--timeout", "5"],
                                   stdout=subprocess.DEVNULL).returncode == 0
        seconds = time.monotonic() - start
        peer.sendall(frame("burstpeer", "glyphd", "notify", 'LASER_WARNING,"False"'))
        return shown, seconds


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--name", required=True)
    parser.add_argument("--settle", type=float, default=1.0)
    parser.add_argument("--idle", type=float, default=0)
    parser.add_argument("--also", type=int, action="append", default=[])
    parser.add_argument("--burst", type=int, default=0)
    parser.add_argument("--window", type=int, default=0)
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--callgrind", action="store_true")
    parser.add_argument("--timeout", type=float, default=120)
    parser.add_argument("command", nargs="+")
    args = parser.parse_args()

    workdir = tempfile.mkdtemp(prefix="daemonrun.")
    notify_path = os.path.join(workdir, "notify")
    notify = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    notify.bind(notify_path)
    notify.settimeout(args.timeout)
    command = args.command
    if args.callgrind:
        command = ["valgrind", "--tool=callgrind", "--quiet",
                   f"--callgrind-out-file={workdir}/callgrind.out"] + command
    env = dict(os.environ, NOTIFY_SOCKET=notify_path)
    result = {"name": args.name}
    start = time.monotonic()
    program = subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL,
                               stderr=open(os.path.join(workdir, "log"), "w"))
    try:
        while b"READY=1" not in notify.recv(4096):
            pass
        result["ready_ms"] = round((time.monotonic() - start) * 1000, 1)
        if args.callgrind:
            subprocess.run(["callgrind_control", "--dump=ready", str(program.pid)],
                           stdout=subprocess.DEVNULL, check=True)
            result["instructions"] = dumped_instructions(workdir)
        else:
            time.sleep(args.settle)
            result["rss_kib"] = status_kib(program.pid, "VmRSS")
            if args.idle:
                result["idle"] = idle_switches([program.pid] + args.also, args.idle)
            if args.burst:
                trayctl = [sys.executable, os.path.join(os.path.dirname(__file__), "..",
                                                        "scripts", "desktop", "trayctl.py")]
                shown, seconds = burst(program, args.port, args.burst, args.window, trayctl)
                result.update(burst=args.burst, window=args.window, burst_processed=shown,
                              burst_seconds=round(seconds, 2))
                time.sleep(args.settle)
                result["rss_after_burst_kib"] = status_kib(program.pid, "VmRSS")
    except socket.timeout:
        result["error"] = "no READY=1 within %g s" % args.timeout
    finally:
        program.terminate()
        try:
            result["exit_status"] = program.wait(timeout=60)
        except subprocess.TimeoutExpired:
            program.kill()
            result["exit_status"] = program.wait()
    print(json.dumps(result), flush=True)
    subprocess.run(["rm", "-rf", workdir])
    return 1 if "error" in result else 0


def dumped_instructions(workdir):
    """Instructions counted up to the dump that callgrind_control asked for."""
    deadline = time.monotonic() + 60
    while time.monotonic() < deadline:
        for path in glob.glob(f"{workdir}/callgrind.out*"):
            with open(path) as dump:
                for line in dump:
                    if line.startswith(("summary:", "totals:")):
                        return int(line.split()[1])
        time.sleep(0.2)
    return -1


if __name__ == "__main__":
    sys.exit(main())
