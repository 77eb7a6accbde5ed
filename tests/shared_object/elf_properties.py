#!/usr/bin/env python3
"""Checks with readelf what a shared object asks of the loader, and what it lets out.

    elf_properties.py <shared object>              every property has to hold
    elf_properties.py --all-fail <shared object>   every one has to be found broken: for a library
                                                   that was built wrongly on purpose
"""

import re
import subprocess
import sys

FOREIGN = {"libfftw3.so.3", "libfftw3f.so.3", "liblapacke.so.3", "libopenblas.so.0"}
PLATFORM = re.compile(r"(libstdc\+\+|libm|libgcc_s|libc|ld-linux[-\w]*)\.so\.\d+$")
OTHERS_NAMES = re.compile(
    r"_Z(Z?N?[KVRO]*|T[ISV]N?|GVN?)(S[absiodt]|9__gnu_cxx|10__cxxabiv1)|_Z(n[wa]|d[la])|"
    r"(fftwf?|cblas|openblas|lapacke?)_", re.IGNORECASE)


class Symbol:
    """A line of the dynamic symbol table."""

    def __init__(self, columns):
        self.binding, self.section = columns[4], columns[6]
        self.name, _, self.version = columns[7].partition("@")
        self.exported = self.section != "UND" and self.binding != "LOCAL"


class SharedObject:
    """The parts of readelf's output that the checks look at."""

    def __init__(self, path):
        self.segments = {}
        for line in readelf("--program-headers", path):
            found = re.match(r"\s+([A-Z_]+)\s+0x\S+ 0x\S+ 0x\S+ 0x\S+ 0x\S+ ([R ][W ][E ])", line)
            if found:
                self.segments.setdefault(found[1], []).append(found[2])
        self.dynamic = [(found[1], found[2]) for found in
                        (re.match(r"\s+0x\S+ \((\w+)\)\s+(.*)", line)
                         for line in readelf("--dynamic", path)) if found]
        self.symbols = [Symbol(line.split()) for line in readelf("--dyn-syms", path)
                        if re.match(r"\s+\d+: ", line) and len(line.split()) >= 8]

    def values(self, tag):
        return [value for name, value in self.dynamic if name == tag]

    def flags(self):
        return " ".join(self.values("FLAGS") + self.values("FLAGS_1"))

    def exported(self, accept):
        return [s.name for s in self.symbols if s.exported and accept(s)]


def readelf(what, path):
    return subprocess.run(["readelf", "--wide", what, path], check=True, text=True,
                          capture_output=True).stdout.splitlines()


def names_in_brackets(values):
    return {name for value in values for name in re.findall(r"\[(.*)\]", value)}


def unexpected_needs(library):
    needed = names_in_brackets(library.values("NEEDED"))
    return sorted({n for n in needed - FOREIGN if not PLATFORM.match(n)} | (FOREIGN - needed))


def undefined(library, name):
    return any(s.name == name and s.section == "UND" for s in library.symbols)


# What has to hold, and what shows that it does not: an empty list or None is good.
PROPERTIES = [
    ("relocated data becomes read-only (GNU_RELRO)",
     lambda l: "GNU_RELRO" not in l.segments),
    ("everything is bound at load (BIND_NOW)",
     lambda l: "NOW" not in l.flags().replace("BIND_NOW", "NOW").split()),
    ("the stack is not executable",
     lambda l: [f for f in l.segments.get("GNU_STACK", ["no GNU_STACK"]) if "E" in f or "no" in f]),
    ("no segment is writable and executable",
     lambda l: [f for f in l.segments["LOAD"] if "W" in f and "E" in f]),
    ("the code is not relocated",
     lambda l: l.values("TEXTREL") or "TEXTREL" in l.flags()),
    ("no search path is built in",
     lambda l: l.values("RPATH") + l.values("RUNPATH")),
    ("functions with arrays check their stack",
     lambda l: not undefined(l, "__stack_chk_fail")),
    ("dlclose may unload it",
     lambda l: "NODELETE" in l.flags()),
    ("its name is libflightpath.so.1",
     lambda l: names_in_brackets(l.values("SONAME")) ^ {"libflightpath.so.1"}),
    ("it needs FFTW, LAPACKE, OpenBLAS and the platform, no more and no less",
     unexpected_needs),
    ("every exported symbol has the version FLIGHTPATH_1",
     lambda l: l.exported(lambda s: s.version.lstrip("@") != "FLIGHTPATH_1" and
                          s.name != "FLIGHTPATH_1") or not l.exported(lambda s: True)),
    ("no exported symbol is unique in the process, which would keep it from being unloaded",
     lambda l: l.exported(lambda s: s.binding == "UNIQUE")),
    ("no exported symbol is weak: two libraries would share one template's code",
     lambda l: l.exported(lambda s: s.binding == "WEAK")),
    ("no symbol of the standard library or of a foreign one is exported",
     lambda l: l.exported(lambda s: OTHERS_NAMES.match(s.name))),
]


def main():
    all_fail = "--all-fail" in sys.argv
    library = SharedObject(sys.argv[-1])
    wrong = 0
    for name, evidence in PROPERTIES:
        found = evidence(library)
        if bool(found) != all_fail:
            wrong += 1
            verdict = "not found broken" if all_fail else "does not hold"
            shown = "" if isinstance(found, bool) else f": {', '.join(sorted(found)[:5])}"
            print(f"{sys.argv[-1]}: {verdict}: {name}{shown}", file=sys.stderr)
    if wrong == 0:
        print(f"-- shared object: {len(PROPERTIES)} properties "
              f"{'found broken, as they are' if all_fail else 'hold'}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
