#!/usr/bin/env python3
"""Says how many lines and branches of the library the tests reach, and which ones they do not.

A branch is one outcome, true or false, of one condition as the source has it. Conditions of a template
count once, whichever instantiation reached them.

The exceptions file names what no test can reach. One entry:

    line <file>: <text of the line>
    branch <file>: <text of the condition> never <true|false>
        <reason, in lines that are indented>

Entries right below each other share a reason. Lines and conditions are named by their text, so that
an entry survives changes elsewhere in the file.
"""

import argparse
import collections
import json
import pathlib
import re
import sys

LEAST_LINES = 98.0
LEAST_BRANCHES = 92.0

Place = collections.namedtuple("Place", "kind file line text")
BRANCH_ENTRY = re.compile(r"branch (\S+): (.*) (never (?:true|false))$")
LINE_ENTRY = re.compile(r"line (\S+): (.*)$")


class Sources:
    """The library's files, by their path below flightpath/."""

    def __init__(self, root):
        self.root = root
        self.texts = {}

    def name(self, path):
        return str(pathlib.Path(path).resolve().relative_to(self.root))

    def line(self, name, number):
        if name not in self.texts:
            self.texts[name] = (self.root / name).read_text().split("\n")
        return self.texts[name][number - 1]

    def text(self, name, first, first_column, last, last_column):
        """The source from one position to another, counted from 1, white space as one blank."""
        lines = [self.line(name, number) for number in range(first, last + 1)]
        lines[-1] = lines[-1][:last_column - 1]
        lines[0] = lines[0][first_column - 1:]
        return " ".join(" ".join(lines).split())


def read_lines(export, sources):
    """Every line with code in it, which a brace alone is not: its place, and how often it ran."""
    counts = {}
    name = None
    for entry in export.read_text().splitlines():
        key, _, value = entry.partition(":")
        if key == "SF":
            name = sources.name(value)
        elif key == "DA":
            number, count = (int(part) for part in value.split(",")[:2])
            place = Place("line", name, number, sources.line(name, number).strip())
            if place.text != "}":
                counts[place] = counts.get(place, 0) + count
    return counts


def read_branches(export, sources):
    """Both outcomes of every condition: the place, and how often each came."""
    conditions = collections.Counter()
    for data in json.loads(export.read_text())["data"]:
        for file in data["files"]:
            name = sources.name(file["filename"])
            for *position, when_true, when_false, _, _, _ in file["branches"]:
                conditions[(name, *position, "never true")] += when_true
                conditions[(name, *position, "never false")] += when_false
    counts = {}
    for (name, *position, outcome), count in conditions.items():
        text = sources.text(name, *position)
        if text not in ("true", "false"):  # a constant is no condition
            # The column keeps two conditions of one text in one line apart.
            place = Place("branch", name, (position[0], position[1]), f"{text} {outcome}")
            counts[place] = count
    return counts


def read_exceptions(path):
    """The entries as (kind, file, text), each of which must have a reason."""
    entries, unexplained = [], []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        branch, plain = BRANCH_ENTRY.match(line), LINE_ENTRY.match(line)
        if branch:
            entries.append(("branch", branch[1], f"{branch[2]} {branch[3]}"))
            unexplained.append(line)
        elif plain:
            entries.append(("line", plain[1], plain[2]))
            unexplained.append(line)
        elif line.startswith(" ") and entries:
            unexplained = []  # one reason serves the entries right above it
        elif line and not line.startswith("#"):
            raise SystemExit(f"{path}:{number}: neither 'line <file>: ...' nor 'branch <file>: ...'")
        if unexplained and not line:
            break
    if unexplained:
        raise SystemExit(f"{path}: no reason for: {unexplained[0]}")
    return entries


def percent(covered, total):
    return 100.0 * covered / total if total else 100.0


def print_table(counts, excepted):
    """Covered, counted and excepted lines and branches of each room; returns the percentages."""
    rooms = sorted({place.file.partition("/")[0] for place in counts})
    print(f"{'':10}{'lines':>15}{'%':>8}{'branches':>16}{'%':>8}  excepted")
    totals = {}
    for room in [*rooms, "all"]:
        row, cells = f"{room:10}", 0
        for kind, width in (("line", 15), ("branch", 16)):
            here = [place for place in counts
                    if place.kind == kind and room in ("all", place.file.partition("/")[0])]
            counted = [place for place in here if place not in excepted]
            covered = sum(counts[place] > 0 for place in counted)
            totals[kind] = percent(covered, len(counted))
            row += f"{f'{covered} of {len(counted)}':>{width}}{totals[kind]:8.2f}"
            cells += len(here) - len(counted)
        print(f"{row}{cells:>10}")
    raw = {kind: percent(sum(count > 0 for place, count in counts.items() if place.kind == kind),
                         sum(place.kind == kind for place in counts)) for kind in ("line", "branch")}
    print(f"with the exceptions counted: {raw['line']:.2f} % of lines, "
          f"{raw['branch']:.2f} % of branches")
    return totals["line"], totals["branch"]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    for name in ("lines", "branches", "exceptions"):
        parser.add_argument(f"--{name}", type=pathlib.Path, required=True)
    options = parser.parse_args()

    library = pathlib.Path(__file__).resolve().parent.parent.parent / "flightpath"
    sources = Sources(library)
    counts = {**read_lines(options.lines, sources), **read_branches(options.branches, sources)}
    gaps = [place for place, count in counts.items() if count == 0]
    entries = read_exceptions(options.exceptions)
    excepted = {gap for gap in gaps if (gap.kind, gap.file, gap.text) in entries}
    stale = [entry for entry in entries
             if entry not in {(gap.kind, gap.file, gap.text) for gap in gaps}]

    lines, branches = print_table(counts, excepted)
    for gap in sorted(set(gaps) - excepted, key=str):
        line = gap.line if gap.kind == "line" else gap.line[0]
        print(f"not reached: flightpath/{gap.file}:{line}: {gap.kind}: {gap.text}")
    for kind, file, text in stale:
        print(f"exception without a gap: {kind} {file}: {text}", file=sys.stderr)
    if lines < LEAST_LINES or branches < LEAST_BRANCHES:
        print(f"below {LEAST_LINES} % of lines or {LEAST_BRANCHES} % of branches", file=sys.stderr)
        return 1
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main())
