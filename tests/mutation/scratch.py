"""A copy of the tree in which one thing at a time is broken, built and tested."""

import filecmp
import os
import re
import resource
import shutil
import subprocess

ROOMS = ("runtime", "toolbox", "api", "spectrum", "rules", "music", "likelihood", "ranging", "floats")
NOT_COPIED = ("build", ".git", "__pycache__")
FAILED_TEST = re.compile(r"^\[  FAILED  \] (\S+?)[, ]", re.MULTILINE)
MOST_MEMORY = 6 << 30
# Of each thread, which counts as memory: a test makes a thousand.
MOST_STACK = 1 << 20


class Scratch:
    """The copy, its build and the test programs of these rooms. Making one builds it and runs every
    test once."""

    def __init__(self, root, work, jobs, rooms=ROOMS):
        self.tree = work / "tree"
        self.build = work / "build"
        self.log = work / "log"
        self.jobs = jobs
        self.seconds = {}  # of processor time that each program took unbroken
        self.copy(root)
        self.configure()
        for room in rooms:
            if not self.builds(room):
                raise SystemExit(f"the unbroken tree does not build:\n{self.log.read_text()}")
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            failure = self.failure_of(room, 600)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            if failure:
                raise SystemExit(f"the unbroken tree fails {failure}")
            self.seconds[room] = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
            print(f"-- {room}_tests: passes unbroken, {self.seconds[room]:.1f} s", flush=True)

    def copy(self, root):
        """Makes the copy like the tree. Files that are the same keep their time, for the build."""
        wanted = set()
        for folder, folders, files in os.walk(root):
            folders[:] = [f for f in folders if f not in NOT_COPIED]
            for name in files:
                source = os.path.join(folder, name)
                target = self.tree / os.path.relpath(source, root)
                wanted.add(target)
                if not target.exists() or not filecmp.cmp(source, target, shallow=False):
                    target.parent.mkdir(parents=True, exist_ok=True)
                    shutil.copyfile(source, target)
        for folder, _, files in os.walk(self.tree):
            for name in files:
                target = self.tree / os.path.relpath(os.path.join(folder, name), self.tree)
                if target not in wanted:
                    target.unlink()

    def configure(self):
        """The tests' own build type, without what only a debugger needs. With checks of bounds and
        overflow, since the tests also run under sanitizers; the address sanitizer would take more
        than the memory that a mutation may have."""
        subprocess.run(
            ["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja",
             "-DCMAKE_BUILD_TYPE=Debug",
             "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -D_GLIBCXX_ASSERTIONS -fsanitize=undefined "
             "-fno-sanitize-recover=all",
             "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"],
            check=True, stdout=subprocess.DEVNULL)

    def builds(self, room):
        with open(self.log, "w") as log:
            return subprocess.run(["cmake", "--build", self.build, "--target", f"{room}_tests",
                                   "-j", str(self.jobs)], stdout=log, stderr=log).returncode == 0

    def failure_of(self, room, seconds):
        """Runs a room's tests up to the first failure. Returns what failed, or an empty string."""

        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (int(seconds) + 1, int(seconds) + 1))
            resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))
            resource.setrlimit(resource.RLIMIT_STACK, (MOST_STACK, MOST_STACK))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        program = self.build / "tests" / f"{room}_tests"
        # Waiting for what never comes takes no processor time.
        deadline = 60 + 6 * seconds
        try:
            done = subprocess.run([program, "--gtest_fail_fast", "--gtest_brief=1"],
                                  preexec_fn=limit, timeout=deadline, cwd=self.build,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        except subprocess.TimeoutExpired:
            return f"{room}_tests: never ends"
        if done.returncode == 0:
            return ""
        failed = FAILED_TEST.search(done.stdout.decode(errors="replace"))
        return failed[1] if failed else f"{room}_tests: ends with {done.returncode}"

    def try_out(self, mutation):
        """What notices the mutation: the test's name, an empty string for nothing, or None where it
        does not compile. The copy is whole again afterwards."""
        path = self.tree / mutation.file
        whole = path.read_bytes()
        path.write_bytes(whole[:mutation.first] + mutation.after + whole[mutation.last:])
        try:
            return self.caught_by(self.nearest_first(mutation.file.split("/")[1]))
        finally:
            path.write_bytes(whole)

    def nearest_first(self, own_room):
        """The rooms, that of the mutation and then the fastest first."""
        return sorted(self.seconds, key=lambda room: (room != own_room, self.seconds[room]))

    def caught_by(self, rooms):
        """What notices the tree as it is: the test's name, an empty string for nothing, or None where
        it does not compile."""
        for room in rooms:
            if not self.builds(room):
                return None
            failure = self.failure_of(room, 10 + 5 * self.seconds[room])
            if failure:
                return failure
        return ""
