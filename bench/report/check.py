"""Fails where a run misses what the benchmark page promises, by more than the run's own scatter.

    check.py RESULTS_FOLDER

Each ratio is printed with the smallest and the largest that two repetitions of the run give, a tenth
of it at most to either side.
"""

import pathlib
import sys

import promises


def missed_memory(results):
    """Memory has no scatter to speak of: the promise is a limit."""
    return [f"a Ranger at N = {N} adds {added} MB, at most {promises.MEMORY_MB[N]}"
            for N, added in promises.ranger_memory(results).items()
            if added > promises.MEMORY_MB.get(N, float("inf"))]


def main():
    results = pathlib.Path(sys.argv[1])
    ratios = promises.all_ratios(results)
    missed = [ratio.describe() for ratio in ratios if not ratio.is_kept()] + missed_memory(results)
    for ratio in ratios:
        print(f"   {ratio.describe()}")
    for miss in missed:
        print(f"MISSED: {miss}", file=sys.stderr)
    print(f"-- bench: {len(ratios)} promised ratios, {len(missed)} missed")
    return 1 if missed or not ratios else 0


if __name__ == "__main__":
    sys.exit(main())
