#!/usr/bin/env python3
"""Runs the packaged service's own command three times over a growing
archive, confined as systemd confines it, and checks that the exports
together hold every item once.

    units_test.py <source dir> <built QorArc> <make_archive> [dataset]

With "dataset" the service is packaging/qorarc-dataset@.service, for the
instance "plant" as a controller with two archives: the archive directory
is mounted read-only at /mnt/plant/arc, the StateDirectory at
/var/lib/qorarc-lake; after the same three runs the lake must hold only the
cursors, their locks and one Parquet file per archive and day, each the
same bytes as a plain `QorArc -pq` export of that day's archive file. (The
description below is that of the export service.)

The ExecStart line of packaging/qorarc-export@.service is read and expanded
as systemd expands it for the instance "plant" (%i, %%, then $$), and runs
as root in a mount namespace of its own, under a root that is read-only as
ProtectSystem=strict leaves it: only the StateDirectory, a temporary
directory mounted at /var/lib/qorarc/plant, is writable, besides private
/tmp and /var/tmp (PrivateTmp=true). The archive is mounted read-only at
/qor/arc, where the command reads, and the built QorArc at /usr/bin/QorArc.

The archive holds the files of yesterday and today by this machine's clock,
since the unit's first run starts at yesterday. The first run finds
yesterday's file; then today's file appears, cut in the middle of a record
as the runtime leaves it while writing; then the rest of it is appended.
Each run must end with status 0 (or 3, nothing found), leave the private
temporary directories empty, and leave in the state directory only the
cursor, its lock file and its exports; the exports, in the order of their
names, must be a plain `QorArc -jl` export of the final archive.

Exits with 77 (skipped) when no mount namespace can be made here, which
takes root.
"""
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

INSTANCE = "plant"
SKIPPED = 77

# Builds the confined root in a namespace of its own and runs the command in
# it: "$@" after the first six arguments. Prints the status and whatever the
# command left in /tmp and /var/tmp, one line each.
SANDBOX = r'''
root=$1 overlay=$2 arc=$3 state=$4 built=$5 arc_mount=$6 state_mount=$7
shift 7
mount -t tmpfs -o mode=755 qorarc-root "$root"
for dir in bin sbin lib lib32 lib64 libx32 usr etc; do
  if [ -L "/$dir" ]; then
    ln -s "$(readlink "/$dir")" "$root/$dir"
  elif [ -d "/$dir" ]; then
    mkdir "$root/$dir"
    mount --rbind "/$dir" "$root/$dir"
    findmnt -rn -o TARGET -R "$root/$dir" | while read -r mount_point; do
      mount -o remount,bind,ro "$mount_point"
    done
  fi
done
# /usr/bin/QorArc is new to /usr/bin: an overlay gives it a place.
mount -t tmpfs qorarc-overlay "$overlay"
mkdir "$overlay/upper" "$overlay/work"
mount -t overlay overlay \
  -o "lowerdir=/usr/bin,upperdir=$overlay/upper,workdir=$overlay/work" "$root/usr/bin"
: >"$root/usr/bin/QorArc"
mount --bind "$built" "$root/usr/bin/QorArc"
mount -o remount,bind,ro "$root/usr/bin/QorArc"
mount -o remount,ro "$root/usr/bin"
mkdir "$root/proc" "$root/dev" "$root/tmp"
mkdir -p "$root/var/tmp" "$root$state_mount" "$root$arc_mount"
mount --rbind /proc "$root/proc"
mount --rbind /dev "$root/dev"
mount -t tmpfs qorarc-tmp "$root/tmp"
mount -t tmpfs qorarc-var-tmp "$root/var/tmp"
mount --bind "$arc" "$root$arc_mount"
mount -o remount,bind,ro "$root$arc_mount"
mount --bind "$state" "$root$state_mount"
mount -o remount,ro "$root"
status=0
chroot "$root" /usr/bin/env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
  "$@" || status=$?
echo "status $status"
chroot "$root" /usr/bin/find /tmp /var/tmp -mindepth 1 | sed 's/^/left /'
'''


class Failure(Exception):
    pass


def exec_start(unit_path, instance):
    """The argument vector of the unit's ExecStart, expanded as systemd
    expands it: specifiers first, then "$$" to "$"."""
    with open(unit_path, encoding="utf-8") as unit:
        text = unit.read().replace("\\\n", " ")
    lines = [line for line in text.split("\n") if line.startswith("ExecStart=")]
    if len(lines) != 1:
        raise Failure(f"{unit_path} has {len(lines)} ExecStart lines, not one")
    line = lines[0][len("ExecStart="):]
    specifiers = {"i": instance, "I": instance, "%": "%"}
    def specifier(match):
        if match.group(1) not in specifiers:
            raise Failure(f"ExecStart uses the specifier %{match.group(1)}, unknown to this test")
        return specifiers[match.group(1)]
    line = re.sub(r"%(.)", specifier, line)
    if re.search(r"\$(?!\$)\{?[A-Za-z_]", line.replace("$$", "")):
        raise Failure("ExecStart uses environment variables, unknown to this test")
    return shlex.split(line.replace("$$", "$"))


def namespaces_work():
    return subprocess.run(["unshare", "-m", "--propagation", "private", "true"],
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0


def run_confined(work, arc, state, built, command, mounts):
    """Runs `command` confined, the archive and the state directory mounted
    where `mounts` says; returns its status and what it left in the private
    temporary directories."""
    root = tempfile.mkdtemp(dir=work, prefix="root-")
    overlay = tempfile.mkdtemp(dir=work, prefix="overlay-")
    run = subprocess.run(
        ["unshare", "-m", "--propagation", "private", "sh", "-euc", SANDBOX, "sh",
         root, overlay, arc, state, built, *mounts, *command],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=300)
    if run.returncode != 0 or not run.stdout.startswith("status "):
        raise Failure(f"the confined run could not be set up (status {run.returncode}):\n"
                      + run.stdout + run.stderr)
    lines = run.stdout.splitlines()
    if run.stderr:
        print(run.stderr, end="", file=sys.stderr)
    return int(lines[0].split()[1]), [line[5:] for line in lines[1:]]


# Per service: its unit, where the archive and the state directory are
# mounted, and the archive names of the instance.
SERVICES = {
    "export": ("qorarc-export@.service", ("/qor/arc", f"/var/lib/qorarc/{INSTANCE}"),
               [INSTANCE]),
    "dataset": ("qorarc-dataset@.service", (f"/mnt/{INSTANCE}/arc", "/var/lib/qorarc-lake"),
                ["plant", "boiler"]),
}


def check_lake(state, arc, built, names, days):
    """The lake after the runs: the cursors, their locks and one file per
    archive and day, the bytes of a plain Parquet export of that file."""
    lake = os.path.join(state, f"controller={INSTANCE}")
    found = sorted(os.path.relpath(os.path.join(top, name), state)
                   for top, dirs, files in os.walk(state) for name in files)
    want = []
    for name in names:
        want += [f"controller={INSTANCE}/_qorarc/{name}.state",
                 f"controller={INSTANCE}/_qorarc/{name}.state.lock"]
        want += [f"controller={INSTANCE}/archive={name}/date={day}/{name}-{day}-0.parquet"
                 for day in days]
    if found != sorted(want):
        raise Failure("the lake holds: " + ", ".join(found))
    with tempfile.TemporaryDirectory(prefix="qorarc-pq-") as tmp:
        for name in names:
            for day in days:
                plain = os.path.join(tmp, "plain.parquet")
                day_file = os.path.join(arc, day[:4], day[:7], f"{day}_{name}.rea")
                subprocess.run([built, "-i", day_file, "-pq", "-o", plain], check=True)
                with open(plain, "rb") as a, open(os.path.join(
                        lake, f"archive={name}", f"date={day}", f"{name}-{day}-0.parquet"),
                        "rb") as b:
                    if a.read() != b.read():
                        raise Failure(f"the lake's file of {name} on {day} is not the export "
                                      "of its archive file")
    print(f"{len(want) - 2 * len(names)} day files, each the export of its archive file")


def main():
    source, built, make_archive = (os.path.abspath(arg) for arg in sys.argv[1:4])
    service = sys.argv[4] if len(sys.argv) > 4 else "export"
    unit, mounts, names = SERVICES[service]
    if not namespaces_work():
        print("SKIPPED: no mount namespace can be made here (unshare -m takes root)")
        return SKIPPED
    command = exec_start(os.path.join(source, "packaging", unit), INSTANCE)
    print("ExecStart: " + shlex.join(command))
    with tempfile.TemporaryDirectory(prefix="qorarc-units-") as work:
        # The whole archive first, then the live one that grows to it.
        days = [subprocess.run(["date", "-d", when, "+%F"], check=True, text=True,
                               stdout=subprocess.PIPE).stdout.strip()
                for when in ("yesterday", "today")]
        full = os.path.join(work, "full")
        subprocess.run([make_archive, "-o", full, "-n", "3000", "-d", "2", "-s", days[0],
                        "--names", ",".join(names)], check=True, stdout=subprocess.DEVNULL)
        files = []
        for day in days:
            day_files = []
            for name in names:
                relative = os.path.join(day[:4], day[:7], f"{day}_{name}.rea")
                if not os.path.isfile(os.path.join(full, relative)):
                    raise Failure(f"make_archive wrote no {relative}")
                day_files.append(relative)
            files.append(day_files)
        arc = os.path.join(work, "arc")
        state = os.path.join(work, "state")
        os.mkdir(state)
        def copy(day_files, start, end):
            for relative in day_files:
                with open(os.path.join(full, relative), "rb") as whole:
                    data = whole.read()
                target = os.path.join(arc, relative)
                os.makedirs(os.path.dirname(target), exist_ok=True)
                # Appended: the same inode, as the runtime writes.
                with open(target, "ab") as live:
                    whole_end = len(data) if end is None else len(data) * end // 20
                    live.write(data[len(data) * start // 20:whole_end])
        cut = 11  # in twentieths: within a record, most likely
        stages = [("yesterday's file", lambda: copy(files[0], 0, None)),
                  ("today's file, cut short", lambda: copy(files[1], 0, cut)),
                  ("the rest of today's file", lambda: copy(files[1], cut, None))]
        for number, (what, grow) in enumerate(stages, 1):
            grow()
            status, left = run_confined(work, arc, state, built, command, mounts)
            print(f"run {number}, after {what}: status {status}")
            if status not in (0, 3):
                raise Failure(f"run {number} ended with status {status}")
            if left:
                raise Failure(f"run {number} left in /tmp or /var/tmp: {', '.join(left)}")
            time.sleep(1.1)  # the exports are named by the second
        if service == "dataset":
            check_lake(state, arc, built, names, days)
            return 0
        names = sorted(os.listdir(state))
        exports = [name for name in names if re.fullmatch(r"\d{8}T\d{6}Z\.jsonl\.zst", name)]
        others = set(names) - set(exports) - {"cursor.state", "cursor.state.lock"}
        if others or "cursor.state" not in names:
            raise Failure("the state directory holds: " + ", ".join(names))
        if len(exports) != len(stages):
            raise Failure(f"{len(exports)} exports for {len(stages)} runs: {', '.join(exports)}")
        got = b"".join(subprocess.run(["zstd", "-dcq", os.path.join(state, name)], check=True,
                                      stdout=subprocess.PIPE).stdout for name in exports)
        want = subprocess.run([built, "-i", arc, "-jl", INSTANCE], check=True,
                              stdout=subprocess.PIPE).stdout
        if got != want:
            got_lines, want_lines = got.splitlines(), want.splitlines()
            first = next((k for k, pair in enumerate(zip(got_lines, want_lines))
                          if pair[0] != pair[1]), min(len(got_lines), len(want_lines)))
            raise Failure(f"the exports hold {len(got_lines)} items ({len(set(got_lines))} "
                          f"different), the archive {len(want_lines)}; they differ from "
                          f"item {first} on")
        print(f"{len(want.splitlines())} items in {len(exports)} exports, each once")
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Failure as failure:
        print(f"FAIL: {failure}", file=sys.stderr)
        sys.exit(1)
