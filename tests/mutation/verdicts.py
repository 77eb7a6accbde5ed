"""What became of the mutations, and which survivors no test could notice."""

import collections
import sys


def read_equivalents(path):
    """The listed survivors: (file, line before, line after).

    One entry is a file's path, the line before behind "- ", the line after behind "+ ", and the reason
    in lines that are indented.
    """
    entries = set()
    name = before = after = None
    reasons = True
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        if line.startswith("- "):
            before = line[2:].strip()
        elif line.startswith("+ "):
            after = line[2:].strip()
            entries.add((name, before, after))
            reasons = False
        elif line.startswith(" "):
            reasons = True
        elif reasons:
            name = line.strip()
        else:
            raise SystemExit(f"{path}:{number}: the entry above has no reason")
    if not reasons:
        raise SystemExit(f"{path}: the last entry has no reason")
    return entries


def lines_of(path):
    """The lines of a file without their indentation; none of a file that is gone."""
    return [line.strip() for line in path.read_text().splitlines()] if path.exists() else []


class Verdicts:
    """The results so far, printed as they come."""

    def __init__(self, equivalents, root):
        self.equivalents = read_equivalents(equivalents)
        stale = [f"{equivalents}: {name} has no such line any more: {before}"
                 for name, before, _ in sorted(self.equivalents)
                 if before not in lines_of(root / name)]
        if stale:
            raise SystemExit("\n".join(stale))
        self.results = []  # (mutation, what caught it)

    def is_listed(self, mutation):
        return (mutation.file, mutation.line_before, mutation.line_after) in self.equivalents

    def add(self, mutation, caught_by):
        self.results.append((mutation, caught_by))
        print(f"{len(self.results):3} {mutation.describe()}\n  {self.verdict(mutation, caught_by)}",
              flush=True)

    def verdict(self, mutation, caught_by):
        if caught_by:
            return f"caught by {caught_by}"
        return "survives, as listed" if self.is_listed(mutation) else "SURVIVES"

    def report(self, seed, least):
        """Prints the sums and the survivors that are not listed. Returns the exit status."""
        survivors = [mutation for mutation, by in self.results if not by]
        listed = [mutation for mutation in survivors if self.is_listed(mutation)]
        wrongly_listed = [mutation for mutation, by in self.results if by and self.is_listed(mutation)]
        self.print_kinds()
        counted = len(self.results) - len(listed)
        caught = len(self.results) - len(survivors)
        percent = 100.0 * caught / counted if counted else 100.0
        print(f"seed {seed}: {len(self.results)} mutations, {caught} caught, {len(survivors)} "
              f"survived, {len(listed)} of them equivalent: {percent:.1f} % caught")
        for mutation in survivors:
            if mutation not in listed:
                print(f"survived: {mutation.describe()}")
        for mutation in wrongly_listed:
            print(f"listed as equivalent, but caught: {mutation.describe()}", file=sys.stderr)
        if percent < least:
            print(f"below {least} %", file=sys.stderr)
        return 1 if percent < least or wrongly_listed else 0

    def print_kinds(self):
        drawn = collections.Counter(mutation.kind for mutation, _ in self.results)
        caught = collections.Counter(mutation.kind for mutation, by in self.results if by)
        for kind in sorted(drawn):
            print(f"{kind:12}{caught[kind]:4} of {drawn[kind]:3} caught")
