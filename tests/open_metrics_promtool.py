#!/usr/bin/env python3
"""Backfills OpenMetrics exports into Prometheus blocks with promtool and
reads them back, sample by sample, against the long CSV export of the same
archive.

Arguments: base paths B, each with B.om (the export), B.err (its standard
error), B.name (the archive's name) and B.csv (long CSV of the same items).
Runs `promtool tsdb create-blocks-from openmetrics B.om DIR`, then
`promtool tsdb dump DIR` (which needs DIR/wal). Prints "ok" when every
sample read back is the one long CSV describes (value exact as a float64,
time stamp its millisecond), every row without a sample is one the warning
counts, for the reason it gives.
"""
import calendar
import csv
import math
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')
WARNING = re.compile(r"\((\d+) without a number, (\d+) without a time stamp, (\d+) not after")
GO_ESCAPES = {"a": "\a", "b": "\b", "f": "\f", "n": "\n", "r": "\r", "t": "\t", "v": "\v",
              "\\": "\\", '"': '"'}


def go_unquote(s):
    """The text of a label value as promtool's dump quotes it (Go's %q)."""
    out, i = [], 0
    while i < len(s):
        c = s[i]
        if c != "\\":
            out.append(c)
            i += 1
            continue
        e = s[i + 1]
        if e in GO_ESCAPES:
            out.append(GO_ESCAPES[e])
            i += 2
        else:
            width = {"x": 2, "u": 4, "U": 8}[e]
            out.append(chr(int(s[i + 2:i + 2 + width], 16)))
            i += 2 + width
    return "".join(out)


def unix_millis(ts):
    """'2019-05-03T10:00:01.500000000Z' as milliseconds since 1970."""
    date, clock = ts.rstrip("Z").split("T")
    whole, frac = clock.split(".")
    seconds = calendar.timegm(time.strptime(date + " " + whole, "%Y-%m-%d %H:%M:%S"))
    return seconds * 1000 + int(frac.ljust(9, "0")[:3])


def expected_samples(table, archive):
    """The samples of a long CSV export, keyed by labels and millisecond, and
    the rows left out by reason."""
    samples, last = {}, {}
    missing = [0, 0, 0]  # without a number, without a time stamp, not later
    with open(table, newline="", encoding="utf-8") as f:
        for row in csv.DictReader(f):
            if not row["ts"]:
                missing[1] += 1
                continue
            if row["value"] == "":
                missing[0] += 1
                continue
            labels = {"archive": archive, "id": row["id"], "class": row["class"],
                      "type": row["type"], "index": row["index"]}
            series = tuple(sorted((k, v) for k, v in labels.items() if v))
            millis = unix_millis(row["ts"])
            if series in last and millis <= last[series]:
                missing[2] += 1
                continue
            last[series] = millis
            samples[(series, millis)] = float(row["value"])
    return samples, missing


def same_value(expected, got):
    if math.isnan(expected) or math.isnan(got):
        return math.isnan(expected) and math.isnan(got)
    return expected == got and math.copysign(1, expected) == math.copysign(1, got)


def check(base, tmp, problems):
    with open(base + ".name", "rb") as f:
        archive = f.read().decode("utf-8", errors="replace")
    with open(base + ".err", encoding="utf-8") as f:
        err = f.read()
    blocks = os.path.join(tmp, os.path.basename(base))
    made = subprocess.run(["promtool", "tsdb", "create-blocks-from", "openmetrics",
                           base + ".om", blocks], capture_output=True, text=True)
    if made.returncode != 0:
        problems.append(f"{base}: promtool refused it: {made.stderr.strip()[:300]}")
        return
    os.makedirs(os.path.join(blocks, "wal"), exist_ok=True)
    dump = subprocess.run(["promtool", "tsdb", "dump", blocks], capture_output=True,
                          text=True, check=True).stdout
    got = {}
    for line in dump.splitlines():
        labels_text, value, millis = line.rsplit(" ", 2)
        labels = {k: go_unquote(v) for k, v in LABEL.findall(labels_text)}
        if labels.pop("__name__") != "qorarc_value":
            problems.append(f"{base}: unexpected {line}")
        key = (tuple(sorted(labels.items())), int(millis))
        if key in got:
            problems.append(f"{base}: {key} twice")
        got[key] = float(value)
    expected, missing = expected_samples(base + ".csv", archive)
    for key in sorted(set(expected) | set(got), key=repr):
        if key not in got:
            problems.append(f"{base}: missing {key} {expected[key]}")
        elif key not in expected:
            problems.append(f"{base}: unexpected {key} {got[key]}")
        elif not same_value(expected[key], got[key]):
            problems.append(f"{base}: {key}: {expected[key]} read back as {got[key]}")
    counted = WARNING.search(err)
    counted = [int(n) for n in counted.groups()] if counted else [0, 0, 0]
    if counted != missing:
        problems.append(f"{base}: left out {missing}, the warning says {err.strip()}")


def main(args):
    tmp = tempfile.mkdtemp(prefix="qorarc-promtool-")
    problems = []
    try:
        for base in args:
            check(base, tmp, problems)
    finally:
        shutil.rmtree(tmp, ignore_errors=True)
    for p in problems[:20]:
        print(p)
    print("ok" if not problems else f"{len(problems)} problems")
    return 0 if not problems else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
