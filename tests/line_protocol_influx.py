#!/usr/bin/env python3
"""Loads line protocol exports into a real InfluxDB 1.x server and reads them
back, point by point, against the long CSV export of the same archive.

Arguments: triples of (line protocol file, long CSV file, database name).
Starts influxd on free loopback ports with its data in a temporary
directory, and stops it whatever happens. Prints "ok" when every point read
back is the one long CSV describes: same time stamp, tags and value.
"""
import calendar
import csv
import json
import math
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.parse
import urllib.request

TAGS = ("archive", "class", "id", "index", "level", "type")


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def unix_nanos(ts):
    """'2019-05-03T10:00:01.500000000Z' as nanoseconds since 1970."""
    date, clock = ts.rstrip("Z").split("T")
    whole, frac = clock.split(".")
    seconds = calendar.timegm(time.strptime(date + " " + whole, "%Y-%m-%d %H:%M:%S"))
    return seconds * 1_000_000_000 + int(frac.ljust(9, "0"))


def expected_points(table, archive):
    """The points of a long CSV export, keyed by time and tags; a later row
    of the same key replaces the earlier one, as the server does."""
    points = {}
    with open(table, newline="", encoding="utf-8") as f:
        for row in csv.DictReader(f):
            if not row["ts"] or row["value"] in ("NaN", "Infinity", "-Infinity"):
                continue
            tags = {"archive": archive or None}
            for t in TAGS[1:]:
                tags[t] = row[t] or None
            key = (unix_nanos(row["ts"]),) + tuple(tags[t] for t in TAGS)
            points[key] = (row["value"], row["text"])
    return points


def same_value(expected, got, key):
    value, text = expected
    kinds = {k: got[k] for k in ("flag", "integer", "real", "text", "novalue")
             if got.get(k) is not None}
    if len(kinds) != 1:
        return False
    kind, v = next(iter(kinds.items()))
    if kind == "flag":
        return value == ("1" if v else "0")
    if kind == "integer":
        return isinstance(v, int) and value == str(v)
    if kind == "real":
        e = float(value)
        return float(v) == e and math.copysign(1, float(v)) == math.copysign(1, e)
    if kind == "text":
        return value == "" and v == text.replace("\r", " ").replace("\n", " ")
    return value == "" and text == ""  # novalue


def request(url, data=None):
    with urllib.request.urlopen(urllib.request.Request(url, data=data), timeout=60) as r:
        return r.status, r.read()


def main(args):
    tmp = tempfile.mkdtemp(prefix="qorarc-influx-")
    http, rpc = free_port(), free_port()
    with open(os.path.join(tmp, "influxdb.conf"), "w") as f:
        f.write(f"""reporting-disabled = true
bind-address = "127.0.0.1:{rpc}"
[meta]
  dir = "{tmp}/meta"
[data]
  dir = "{tmp}/data"
  wal-dir = "{tmp}/wal"
  query-log-enabled = false
[http]
  bind-address = "127.0.0.1:{http}"
  log-enabled = false
[monitor]
  store-enabled = false
[continuous_queries]
  enabled = false
""")
    log = open(os.path.join(tmp, "influxd.log"), "w")
    server = subprocess.Popen(["influxd", "-config", os.path.join(tmp, "influxdb.conf")],
                              stdout=log, stderr=log)
    base = f"http://127.0.0.1:{http}"
    problems = []
    try:
        for _ in range(300):
            try:
                request(base + "/ping")
                break
            except (urllib.error.URLError, ConnectionError):
                if server.poll() is not None:
                    raise SystemExit("influxd ended: " + open(log.name).read())
                time.sleep(0.1)
        for i in range(0, len(args), 3):
            lines, table, db = args[i:i + 3]
            archive = db.split(":", 1)[1] if ":" in db else db
            db = db.split(":", 1)[0]
            request(base + "/query", urllib.parse.urlencode(
                {"q": f'CREATE DATABASE "{db}"'}).encode())
            with open(lines, "rb") as f:
                body = f.read()
            status, _ = request(base + "/write?" + urllib.parse.urlencode(
                {"db": db, "precision": "ns"}), body)
            if status != 204:
                problems.append(f"{lines}: write status {status}")
            _, out = request(base + "/query?" + urllib.parse.urlencode(
                {"db": db, "epoch": "ns", "q": "SELECT * FROM qorarc"}))
            # "-0" is how the server writes the real -0.0: no integer field has it.
            series = json.loads(out, parse_int=lambda s: -0.0 if s == "-0" else int(s))[
                "results"][0].get("series", [])
            got = {}
            for s in series:
                for values in s["values"]:
                    point = dict(zip(s["columns"], values))
                    key = (point["time"],) + tuple(point.get(t) for t in TAGS)
                    got[key] = point
            expected = expected_points(table, archive)
            for key in sorted(set(expected) | set(got), key=repr):
                if key not in got:
                    problems.append(f"{lines}: missing {key} {expected[key]}")
                elif key not in expected:
                    problems.append(f"{lines}: unexpected {key} {got[key]}")
                elif not same_value(expected[key], got[key], key):
                    problems.append(f"{lines}: {key}: {expected[key]} read back as {got[key]}")
    finally:
        server.send_signal(signal.SIGTERM)
        try:
            server.wait(timeout=20)
        except subprocess.TimeoutExpired:
            server.kill()
            server.wait()
        log.close()
        shutil.rmtree(tmp, ignore_errors=True)
    for p in problems[:20]:
        print(p)
    print("ok" if not problems else f"{len(problems)} problems")
    return 0 if not problems else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
