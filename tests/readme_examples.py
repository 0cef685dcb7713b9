#!/usr/bin/env python3
"""Runs the examples of README.md and compares what they print with what the
README shows.

    readme_examples.py <README.md> <built QorArc> <source dir>

Every fenced block marked `console` is an example: lines after "$ " are
commands (a trailing backslash continues one on the next line), each followed
by its expected output, standard output and standard error together. In the
expected output a line "..." stands for any number of lines, and a line
ending in "..." for one line that begins with the text before it. A command's
output that does not end with a line feed is compared as if it did.

Every fenced block marked `python` is a recipe: it runs whole under
/usr/bin/python3 (Debian's, with python3-pandas) and must succeed.

Each command runs under sh in a fresh directory in which "build/QorArc" is the
built program and "sample" the repository's sample directory, so that files
the examples write go nowhere else. NO_COLOR and the QORARC_ diagnostics
variables are removed from the environment.

The examples run twice in that directory, as a user who copies them twice
would run them: the second run must print what the first printed, and
afterwards the directory must hold nothing but "build", "sample" and the
examples' "scratch" folder, which the repository's .gitignore must ignore.
"""
import os
import re
import subprocess
import sys
import tempfile


def examples(readme_path):
    """Yields (line number, command, expected output lines)."""
    with open(readme_path, encoding="utf-8") as readme:
        lines = readme.read().split("\n")
    in_block = False
    current = None
    number = 0
    while number < len(lines):
        line = lines[number]
        number += 1
        if not in_block:
            in_block = line.strip() == "```console"
            continue
        if line.startswith("```"):
            in_block = False
            if current:
                yield current
            current = None
            continue
        if line.startswith("$ "):
            if current:
                yield current
            start = number
            command = line[2:]
            while command.endswith("\\") and number < len(lines):
                command += "\n" + lines[number]  # sh joins the lines
                number += 1
            current = (start, command, [])
        elif current is None:
            raise ValueError(f"line {number}: output before any command")
        else:
            current[2].append(line)
    if in_block:
        raise ValueError("a console block is not closed")


def recipes(readme_path):
    """Yields (line number, Python source) of every python block."""
    with open(readme_path, encoding="utf-8") as readme:
        lines = readme.read().split("\n")
    for number, line in enumerate(lines, 1):
        if line.strip() == "```python":
            end = next(k for k in range(number, len(lines)) if lines[k].startswith("```"))
            yield number, "\n".join(lines[number:end]) + "\n"


def pattern(expected):
    parts = []
    for line in expected:
        if line == "...":
            parts.append(r"(?:[^\n]*\n)*?")
        elif line.endswith("..."):
            parts.append(re.escape(line[:-3]) + r"[^\n]*\n")
        else:
            parts.append(re.escape(line) + r"\n")
    return re.compile("".join(parts))


def run_all(readme, work, env, earlier):
    """Runs every example and recipe in `work`; returns (their outputs, the
    count of failures). With `earlier`, the outputs of a first run, each
    output must also be the same as there."""
    outputs = []
    failures = 0
    for start, command, expected in examples(readme):
        run = subprocess.run(["sh", "-c", command], cwd=work, env=env,
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, timeout=60)
        output = run.stdout.decode("utf-8", "replace")
        if output and not output.endswith("\n"):
            output += "\n"
        outputs.append(output)
        if not pattern(expected).fullmatch(output):
            failures += 1
            print(f"{readme}:{start}: $ {command}\n--- shown:\n"
                  + "\n".join(expected) + "\n--- printed:\n" + output, file=sys.stderr)
        elif earlier is not None and output != earlier[len(outputs) - 1]:
            failures += 1
            print(f"{readme}:{start}: $ {command}\n--- printed the first time:\n"
                  + earlier[len(outputs) - 1] + "--- the second time:\n" + output,
                  file=sys.stderr)
    python = "/usr/bin/python3" if os.path.exists("/usr/bin/python3") else "python3"
    for start, source_text in recipes(readme):
        run = subprocess.run([python, "-"], input=source_text.encode(), cwd=work, env=env,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
        outputs.append(run.stdout.decode("utf-8", "replace"))
        if run.returncode != 0:
            failures += 1
            print(f"{readme}:{start}: the recipe fails:\n" + outputs[-1], file=sys.stderr)
        elif earlier is not None and outputs[-1] != earlier[len(outputs) - 1]:
            failures += 1
            print(f"{readme}:{start}: the recipe printed other text the second time",
                  file=sys.stderr)
    return outputs, failures


def sample_listing(source):
    """Every path under the repository's sample directory, which the
    examples reach through a link."""
    root = os.path.join(source, "sample")
    return sorted(os.path.relpath(os.path.join(top, name), root)
                  for top, dirs, files in os.walk(root) for name in dirs + files)


def leftovers(work, source, sample_before):
    """What the examples left outside their scratch folder; a text per
    fault."""
    faults = []
    extra = sorted(set(os.listdir(work)) - {"build", "sample", "scratch"})
    if extra:
        faults.append("left in the repository root: " + ", ".join(extra))
    if os.listdir(os.path.join(work, "build")) != ["QorArc"]:
        faults.append("left in build/: " + ", ".join(sorted(os.listdir(os.path.join(work, "build")))))
    if sample_listing(source) != sample_before:
        faults.append("changed the files under sample/")
    # In a git checkout, the folder must not show as new in `git status`.
    if os.path.isdir(os.path.join(work, "scratch")) and subprocess.run(
            ["git", "-C", source, "rev-parse", "--is-inside-work-tree"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0:
        if subprocess.run(["git", "-C", source, "check-ignore", "-q", "scratch/"]).returncode != 0:
            faults.append("scratch/ is not in .gitignore")
    return faults


def main():
    readme, program, source = sys.argv[1:4]
    source = os.path.abspath(source)
    env = {k: v for k, v in os.environ.items()
           if k != "NO_COLOR" and not k.startswith("QORARC_")}
    env["LC_ALL"] = "C"
    sample_before = sample_listing(source)
    with tempfile.TemporaryDirectory(prefix="qorarc-readme-") as work:
        os.mkdir(os.path.join(work, "build"))
        os.symlink(os.path.abspath(program), os.path.join(work, "build", "QorArc"))
        os.symlink(os.path.join(source, "sample"), os.path.join(work, "sample"))
        first, failures = run_all(readme, work, env, None)
        if not first:
            print("no examples found in " + readme, file=sys.stderr)
            return 1
        _, again = run_all(readme, work, env, first)
        faults = leftovers(work, source, sample_before)
    for fault in faults:
        print("The README examples " + fault, file=sys.stderr)
    failures += again + len(faults)
    print(f"{len(first)} README examples run twice, {failures} differ",
          file=sys.stderr if failures else sys.stdout)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
