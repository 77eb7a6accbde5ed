"""What the benchmark page promises, and whether a run kept it.

Every promise is a ratio of two times that one run took interleaved, or an amount of memory.
"""

import json
import math
import statistics
import typing

FLOOR = {  # most times the floor: (MUSICToF, estimateToF)
    64: (1.15, 1.3), 242: (1.05, 1.06), 498: (1.05, 1.06), 996: (1.05, 1.06), 1992: (1.05, 1.06)}
FASTER = {64: 12, 242: 30, 1992: 1200}  # least times faster than MUSIC::estimateToF
FASTER_LIKELIHOOD = {64: 12, 242: 60, 1992: 280}  # the same of maximum likelihood
OVER_MUSIC = {64: 2, 242: 1.3}  # most times the Ranger's MUSIC
FASTER_ON_TWO_THREADS = 1.85
MEMORY_MB = {1992: 6, 3276: 10, 10001: 40, 65535: 250}  # most that a Ranger and its estimate add
FASTER_UNFORMED = {1992: 3, 3276: 6, 10001: 15}  # least times faster than the road that forms the covariance
LONGEST_S = 2.0  # most for N = 65,535
GROWTH_EXPONENT = 1.2  # most, from N = 1992 to 65,535
HARDEST = 5  # most times the typical estimate of its N
LARGEST_SCATTER = 0.10  # a machine that is busier than that keeps nothing for it


class Ratio(typing.NamedTuple):
    """The time of one thing over that of another, each as its repetitions."""

    what: str
    over: list
    under: list
    least: float = 0.0
    most: float = float("inf")

    def value(self):
        return statistics.median(self.over) / statistics.median(self.under)

    def scatter(self):
        """The smallest and the largest ratio that two repetitions of this run give, but no further
        from the ratio of the medians than LARGEST_SCATTER."""
        value = self.value()
        return (max(min(self.over) / max(self.under), value * (1 - LARGEST_SCATTER)),
                min(max(self.over) / min(self.under), value * (1 + LARGEST_SCATTER)))

    def is_kept(self):
        """Missed only where no two repetitions keep it: that is more than the machine's scatter."""
        lowest, highest = self.scatter()
        return lowest <= self.most and highest >= self.least

    def describe(self):
        lowest, highest = self.scatter()
        bound = f"at least {self.least}" if self.least else f"at most {self.most}"
        return f"{self.what}: {self.value():.3f} ({lowest:.3f} to {highest:.3f}), {bound}"


def load_times(results):
    """What Google Benchmark wrote of the small sizes and of the large ones, as one."""
    files = [json.loads(file.read_text()) for file in sorted(results.glob("times-*.json"))]
    return {"context": files[0]["context"],
            "benchmarks": [run for file in files for run in file["benchmarks"]]}


def repetitions(benchmark_json):
    """{(benchmark, N, paths): microseconds of each repetition}"""
    runs = {}
    for run in benchmark_json["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        name, N, paths = run["run_name"].split("/")[:3]
        if not N.startswith("N:"):
            continue
        key = (name.removeprefix("BM_"), int(N.split(":")[1]), int(paths.split(":")[1]))
        runs.setdefault(key, []).append(run["real_time"])
    return runs


def batch_repetitions(benchmark_json):
    """{threads: microseconds of each repetition of a batch}"""
    runs = {}
    for run in benchmark_json["benchmarks"]:
        if run["run_type"] == "iteration" and run["run_name"].startswith("BM_RangerBatch"):
            threads = int(run["run_name"].split("/")[1].split(":")[1])
            runs.setdefault(threads, []).append(run["real_time"])
    return runs


def floor_ratios(times):
    """Both estimators over their floor, for the sizes of this run that have a promise."""
    return [Ratio(f"{kind} / floor, N = {N}, paths = {paths}", times[kind, N, paths], floor, most=most)
            for (name, N, paths), floor in sorted(times.items()) if name == "Floor" and N in FLOOR
            for kind, most in zip(("MUSICToF", "estimateToF"), FLOOR[N])]


def ranger_ratios(times):
    """The Ranger beside the dense route and beside itself."""
    ratios = [Ratio(f"estimateToF / Ranger, N = {N}", times["estimateToF", N, 3], ranger,
                    least=FASTER[N])
              for (name, N, paths), ranger in sorted(times.items())
              if name == "Ranger" and paths == 3 and N in FASTER]
    ratios += [Ratio(f"estimateToF / Likelihood, N = {N}", times["estimateToF", N, 3],
                     times["Likelihood", N, 3], least=least)
               for N, least in FASTER_LIKELIHOOD.items() if ("Likelihood", N, 3) in times]
    ratios += [Ratio(f"Likelihood / Ranger, N = {N}", times["Likelihood", N, 3],
                     times["Ranger", N, 3], most=most)
               for N, most in OVER_MUSIC.items() if ("Likelihood", N, 3) in times]
    return ratios


def long_repetitions(benchmark_json):
    """{(benchmark, tones, second argument): microseconds of each repetition}, and the labels of cases"""
    runs, labels = {}, {}
    for run in benchmark_json["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        name, tones, second = run["run_name"].split("/")[:3]
        key = (name.removeprefix("BM_"), int(tones.split(":")[1]), int(second.split(":")[1]))
        runs.setdefault(key, []).append(run["real_time"])
        if "label" in run:
            labels[key[2]] = run["label"]
    return runs, labels


def growth_exponent(times, name, snr_dB):
    """From N = 1992 to 65,535, of times as medians."""
    return (math.log(times[name, 65535, snr_dB] / times[name, 1992, snr_dB])
            / math.log(65535 / 1992))


def long_ratios(results):
    """Long records beside the road that forms the covariance, and the hardest beside the typical ones."""
    times, labels = long_repetitions(json.loads((results / "long.json").read_text()))
    ratios = [Ratio(f"formed / unformed, N = {N}, {snr_dB} dB", times["Formed", N, snr_dB], unformed,
                    least=FASTER_UNFORMED[N])
              for (name, N, snr_dB), unformed in sorted(times.items())
              if name == "Unformed" and N in FASTER_UNFORMED and ("Formed", N, snr_dB) in times]
    ratios += [Ratio(f"{labels[case]} / {labels[0]}, N = {N}", hard, times["Hard", N, 0], most=HARDEST)
               for (name, N, case), hard in sorted(times.items()) if name == "Hard" and case > 0]
    ratios += [Ratio(f"{name}, N = 65535, {snr_dB} dB, in seconds", longest, [1e6] * len(longest),
                     most=LONGEST_S)
               for (name, N, snr_dB), longest in sorted(times.items()) if N == 65535]
    medians = {key: statistics.median(runs) for key, runs in times.items()}
    ratios += [Ratio(f"exponent of growth to 65535, {snr_dB} dB",
                     [growth_exponent(medians, "Unformed", snr_dB)], [1.0], most=GROWTH_EXPONENT)
               for (name, N, snr_dB) in sorted(times) if (name, N) == ("Unformed", 65535)]
    return ratios


def ranger_memory(results):
    """{N: megabytes that a Ranger and its estimate add}"""
    lines = (results / "memory-ranger.jsonl").read_text().splitlines()
    return {line["N"]: line["added_MB"] for line in map(json.loads, lines)}


def all_ratios(results):
    """Every promised ratio that a run's folder has numbers for."""
    times = repetitions(load_times(results))
    batch = batch_repetitions(json.loads((results / "batch.json").read_text()))
    return floor_ratios(times) + ranger_ratios(times) + long_ratios(results) + [
        Ratio("a batch on one thread / on two", batch[1], batch[2], least=FASTER_ON_TWO_THREADS)]
