"""Realistic mistakes, one patch each, and which of them the tests notice."""

import re
import subprocess
import sys
import typing

# A folder of flightpath/, or examples/, whose tests are a program like those of a room.
ROOM_OF_FILE = re.compile(r"^diff --git a/(?:flightpath/)?(\w+)/", re.MULTILINE)
# Everything in the library that the mistakes are made in is reached through this room.
LAST_ROOM = "ranging"


class Mistake(typing.NamedTuple):
    """One patch. `equivalent` is the reason why no test could notice it, or empty."""

    path: object
    what: str
    equivalent: str
    rooms: tuple  # whose tests it meets, in this order

    @property
    def name(self):
        return self.path.stem


def read_mistake(path):
    """What stands above the patch: what the mistake is and, behind "Equivalent:", a reason."""
    text = path.read_text()
    header, found, _ = text.partition("diff --git ")
    what, _, equivalent = header.partition("\nEquivalent:")
    if not found or not what.strip():
        raise SystemExit(f"{path}: nothing above the patch says what the mistake is")
    if "\nEquivalent:" in header and not equivalent.strip():
        raise SystemExit(f"{path}: the equivalent mistake has no reason")
    rooms = dict.fromkeys([*ROOM_OF_FILE.findall(text), LAST_ROOM])
    return Mistake(path, " ".join(what.split()), " ".join(equivalent.split()), tuple(rooms))


def read_mistakes(folder):
    return [read_mistake(path) for path in sorted(folder.glob("*.patch"))]


def choose(mistakes, names):
    """Those of these names; all of them for none."""
    unknown = set(names) - {mistake.name for mistake in mistakes}
    if unknown:
        raise SystemExit(f"there is no mistake {', '.join(sorted(unknown))}")
    return [mistake for mistake in mistakes if not names or mistake.name in names]


def apply(patch, tree, *options):
    """Whether the patch applies to the tree, which need not be a repository, and may lie in one."""
    command = ["env", f"GIT_CEILING_DIRECTORIES={tree.parent}", "git", "apply", *options, patch]
    return subprocess.run(command, cwd=tree, check=False).returncode == 0


def check_applicable(mistakes, tree):
    stale = [mistake.name for mistake in mistakes if not apply(mistake.path, tree, "--check")]
    if stale:
        raise SystemExit(f"the sources have changed, and these have to follow: {', '.join(stale)}")


def try_out(mistake, scratch):
    """What notices the mistake; empty for nothing. The scratch copy is whole again afterwards."""
    check_applicable([mistake], scratch.tree)
    apply(mistake.path, scratch.tree)
    try:
        noticed_by = scratch.caught_by(mistake.rooms)
    finally:
        apply(mistake.path, scratch.tree, "--reverse")
    if noticed_by is None:
        raise SystemExit(f"{mistake.path} does not compile:\n{scratch.log.read_text()}")
    return noticed_by


def verdict(mistake, noticed_by):
    if noticed_by:
        return f"noticed by {noticed_by}"
    return "unnoticed, as its patch says" if mistake.equivalent else "UNNOTICED"


def run(mistakes, scratch, least):
    """Tries out every mistake, and prints what became of it. Returns the exit status."""
    results = []
    for mistake in mistakes:
        results.append((mistake, try_out(mistake, scratch)))
        print(f"{len(results):3} {mistake.name}: {verdict(*results[-1])}", flush=True)
    return report(results, least)


def report(results, least):
    unnoticed = [mistake for mistake, by in results if not by]
    equivalent = [mistake for mistake in unnoticed if mistake.equivalent]
    wrongly_explained = [mistake for mistake, by in results if by and mistake.equivalent]
    noticed = len(results) - len(unnoticed)
    counted = len(results) - len(equivalent)
    percent = 100.0 * noticed / counted if counted else 100.0
    print(f"{len(results)} mistakes, {noticed} noticed, {len(unnoticed)} not, {len(equivalent)} of "
          f"them equivalent: {percent:.1f} % noticed")
    for mistake in unnoticed:
        if not mistake.equivalent:
            print(f"unnoticed: {mistake.name}: {mistake.what}")
    for mistake in wrongly_explained:
        print(f"{mistake.path} says that no test could notice it, but one does", file=sys.stderr)
    if percent < least:
        print(f"below {least} %", file=sys.stderr)
    return 1 if percent < least or wrongly_explained else 0
