#!/usr/bin/env python3
"""Runs the packaged service's own command three times over a growing
archive, confined as systemd confines it, and checks that the exports
together hold every item once.

    units_test.py <source dir> <built QorArc> <make_archive>

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
root=$1 overlay=$2 arc=$3 state=$4 built=$5 instance=$6
shift 6
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
mkdir "$root/proc" "$root/dev" "$root/tmp" "$root/qor"
mkdir -p "$root/var/tmp" "$root/var/lib/qorarc/$instance" "$root/qor/arc"
mount --rbind /proc "$root/proc"
mount --rbind /dev "$root/dev"
mount -t tmpfs qorarc-tmp "$root/tmp"
mount -t tmpfs qorarc-var-tmp "$root/var/tmp"
mount --bind "$arc" "$root/qor/arc"
mount -o remount,bind,ro "$root/qor/arc"
mount --bind "$state" "$root/var/lib/qorarc/$instance"
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


def run_confined(work, arc, state, built, command):
    """Runs `command` confined; returns its status and what it left in the
    private temporary directories."""
    root = tempfile.mkdtemp(dir=work, prefix="root-")
    overlay = tempfile.mkdtemp(dir=work, prefix="overlay-")
    run = subprocess.run(
        ["unshare", "-m", "--propagation", "private", "sh", "-euc", SANDBOX, "sh",
         root, overlay, arc, state, built, INSTANCE, *command],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=300)
    if run.returncode != 0 or not run.stdout.startswith("status "):
        raise Failure(f"the confined run could not be set up (status {run.returncode}):\n"
                      + run.stdout + run.stderr)
    lines = run.stdout.splitlines()
    if run.stderr:
        print(run.stderr, end="", file=sys.stderr)
    return int(lines[0].split()[1]), [line[5:] for line in lines[1:]]


def main():
    source, built, make_archive = (os.path.abspath(arg) for arg in sys.argv[1:4])
    if not namespaces_work():
        print("SKIPPED: no mount namespace can be made here (unshare -m takes root)")
        return SKIPPED
    command = exec_start(os.path.join(source, "packaging", "qorarc-export@.service"), INSTANCE)
    print("ExecStart: " + shlex.join(command))
    with tempfile.TemporaryDirectory(prefix="qorarc-units-") as work:
        # The whole archive first, then the live one that grows to it.
        days = [subprocess.run(["date", "-d", when, "+%F"], check=True, text=True,
                               stdout=subprocess.PIPE).stdout.strip()
                for when in ("yesterday", "today")]
        full = os.path.join(work, "full")
        subprocess.run([make_archive, "-o", full, "-n", "3000", "-d", "2", "-s", days[0],
                        "--names", INSTANCE], check=True, stdout=subprocess.DEVNULL)
        files = []
        for day in days:
            relative = os.path.join(day[:4], day[:7], f"{day}_{INSTANCE}.rea")
            if not os.path.isfile(os.path.join(full, relative)):
                raise Failure(f"make_archive wrote no {relative}")
            files.append(relative)
        arc = os.path.join(work, "arc")
        state = os.path.join(work, "state")
        os.mkdir(state)
        def copy(relative, start, end):
            with open(os.path.join(full, relative), "rb") as whole:
                data = whole.read()
            target = os.path.join(arc, relative)
            os.makedirs(os.path.dirname(target), exist_ok=True)
            with open(target, "ab") as live:  # appended: the same inode, as the runtime writes
                live.write(data[start:len(data) if end is None else end])
        today_size = os.path.getsize(os.path.join(full, files[1]))
        cut = today_size * 11 // 20  # within a record, most likely
        stages = [("yesterday's file", lambda: copy(files[0], 0, None)),
                  ("today's file, cut short", lambda: copy(files[1], 0, cut)),
                  ("the rest of today's file", lambda: copy(files[1], cut, None))]
        for number, (what, grow) in enumerate(stages, 1):
            grow()
            status, left = run_confined(work, arc, state, built, command)
            print(f"run {number}, after {what}: status {status}")
            if status not in (0, 3):
                raise Failure(f"run {number} ended with status {status}")
            if left:
                raise Failure(f"run {number} left in /tmp or /var/tmp: {', '.join(left)}")
            time.sleep(1.1)  # the exports are named by the second
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
