#!/usr/bin/python3
"""Exit 0 when the simulator's output holds an event with all the given fields.

  simevents.py LOG event=recv command=raise_screen params=REMOTE [--count N]

Values are compared as text with the JSON value (numbers too). --count N asks for at least N
such events.
"""

import json
import sys


def main():
    args = sys.argv[1:]
    count = 1
    if "--count" in args:
        at = args.index("--count")
        count = int(args[at + 1])
        del args[at : at + 2]
    log, wanted = args[0], dict(a.split("=", 1) for a in args[1:])
    found = 0
    with open(log, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            try:
                event = json.loads(line)
            except ValueError:
                continue
            if isinstance(event, dict) and all(
                str(event.get(k)) == v for k, v in wanted.items()
            ):
                found += 1
    return 0 if found >= count else 1


if __name__ == "__main__":
    sys.exit(main())
