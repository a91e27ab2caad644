"""Rewrites a cellar log without the records later ones overrode.

    python tools/compact.py data.log

The store replays the whole log on open, so a log of many updates to few keys opens slowly.
Compaction keeps one PUT per live key, in first-written order, and replaces the file atomically.
"""

import os
import sys


def live_records(lines):
    values = {}
    for line in lines:
        parts = line.rstrip("\n").split("\t", 2)
        if parts[0] == "P" and len(parts) == 3:
            values[parts[1]] = parts[2]
        elif parts[0] == "D" and len(parts) >= 2:
            values.pop(parts[1], None)
    return ["P\t%s\t%s\n" % item for item in values.items()]


def compact(path):
    with open(path) as log:
        records = live_records(log)
    temporary = path + ".compact"
    with open(temporary, "w") as out:
        out.writelines(records)
        out.flush()
        os.fsync(out.fileno())
    os.replace(temporary, path)
    return len(records)


if __name__ == "__main__":
    print("%d live keys" % compact(sys.argv[1]))
