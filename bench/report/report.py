"""Runs the peers on the accuracy scenarios and writes the benchmark page.

    report.py RESULTS_FOLDER DOCS_FOLDER PEER_TRIALS

RESULTS_FOLDER holds times-*.json, long.json, batch.json, memory.json, memory-ranger.jsonl, agreement.md, roads.md
and scenarios/.

DOCS_FOLDER/benchmarks.md, benchmarks.json (every number of the page), benchmarks-stages.svg and
benchmarks-long.svg
"""

import importlib.util
import json
import pathlib
import statistics
import sys

import matplotlib
import numpy as np

import peers
import promises
import scenarios
from markdown import table

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402

SCENARIOS = ["one", "easy3", "weak3", "close3", "wide3", "wide5", "none"]
STAGES = [("StageSmoothing", "smoothing"), ("StageEigen", "eigen decomposition"),
          ("StageCount", "count"), ("StageFFTSpectrum", "FFT spectrum"),
          ("StagePeaks", "peaks"), ("StageFineSearch", "fine search")]


def medians(runs):
    return {key: statistics.median(times) for key, times in runs.items()}


def duration(us):
    """Three digits, in the unit that suits them."""
    scale, unit = (1, "us") if us < 1e3 else (1e3, "ms") if us < 1e6 else (1e6, "s")
    return f"{us / scale:.3g} {unit}"


def time_table(times):
    rows = []
    for (name, N, paths) in sorted(times, key=lambda key: (key[2], key[1])):
        if name != "Floor":
            continue
        floor = times["Floor", N, paths]
        row = [str(paths), str(N), duration(floor)]
        for kind, target in zip(("MUSICToF", "estimateToF"), promises.FLOOR.get(N, (None, None))):
            time = times[kind, N, paths]
            row += [duration(time), f"{time / floor:.3f}" + (f" (at most {target})" if target else "")]
        rows.append(row)
    return table(["paths", "N", "floor", "`MUSICLib::MUSICToF`", "/ floor",
                  "`MUSIC::estimateToF`", "/ floor"], rows)


def measured_section(measured):
    """The counts of both engines on the measured channels, side by side."""
    return ("Measured channels: the count of the dense route / of the Ranger for each measurement; `(!)` "
            "where the counts agree and the paths do not, within one fine step.\n\n```\n"
            + measured.strip().replace("data/", "").replace(": dense/ranger", ":") + "\n```")


def ranger_section(times, batch, agreement, measured):
    rows = []
    for (name, N, paths) in sorted(times, key=lambda key: (key[2], key[1])):
        if name == "Ranger" and paths == 3:
            dense = times["estimateToF", N, paths]
            row = [str(N), duration(dense)]
            for engine, targets in (("Ranger", promises.FASTER),
                                    ("Likelihood", promises.FASTER_LIKELIHOOD)):
                time = times[engine, N, paths]
                row += [duration(time), f"{dense / time:.1f}"
                        + (f" (at least {targets[N]})" if N in targets else "")]
            rows.append(row)
    lines = [
        table(["N", "`MUSIC::estimateToF`", "Ranger, MUSIC", "times faster",
               "Ranger, maximum likelihood", "times faster"], rows),
        f"2,000 measurements of 64 subcarriers in one call: {duration(batch[1])} on one thread, "
        f"{duration(batch[2])} on two,\n{batch[1] / batch[2]:.2f} times faster (at least "
        f"{promises.FASTER_ON_TWO_THREADS})."]
    lines += ["### The same answer\n\nSimulated channels, N of 30 to 498, 0 to 5 paths half a "
              "resolution cell to four cells apart, random amplitudes and phases:", agreement.strip(),
              measured_section(measured)]
    return "\n\n".join(lines)


def long_table(times, memory):
    rows = []
    for (name, N, snr_dB) in sorted(times):
        if name != "Unformed":
            continue
        unformed = times[name, N, snr_dB]
        formed = times.get(("Formed", N, snr_dB))
        least = promises.FASTER_UNFORMED.get(N)
        limit = f" (at most {promises.MEMORY_MB[N]})" if N in promises.MEMORY_MB else ""
        rows.append([
            str(N), str(snr_dB), duration(formed) if formed else "", duration(unformed),
            (f"{formed / unformed:.1f}" + (f" (at least {least})" if least else "")) if formed else "",
            duration(times["LongLikelihood", N, snr_dB]),
            f"{memory[N]:.1f} MB{limit}" if N in memory else ""])
    return table(["N", "SNR, dB", "MUSIC, covariance formed", "MUSIC", "times faster",
                  "maximum likelihood", "memory added"], rows)


def hard_table(times, labels):
    sizes = sorted({N for (name, N, case) in times if name == "Hard"})
    rows = []
    for case, label in sorted(labels.items()):
        row = [label]
        for N in sizes:
            time = times.get(("Hard", N, case))
            row.append("" if time is None else duration(time) if case == 0
                       else f"{time / times['Hard', N, 0]:.1f}")
        rows.append(row)
    return table(["record"] + [f"N = {N}" for N in sizes], rows)


def long_section(times, labels, memory, roads):
    lines = ["From N = 280 on the Ranger does not form the covariance (ARCHITECTURE.md, \"Long records\"). Below, three "
             "paths; the road\nthat forms it is what every N took before, in the same run.",
             long_table(times, memory),
             "![time of an estimate by N](benchmarks-long.svg)"]
    if ("Unformed", 65535, 25) in times:
        exponents = [f"{promises.growth_exponent(times, name, 25):.2f}"
                     for name in ("Unformed", "LongLikelihood")]
        lines.append(f"From N = 1992 to 65,535 the time grows with N to the power of {exponents[0]} (at most "
                     f"{promises.GROWTH_EXPONENT}), of maximum likelihood {exponents[1]}.")
    lines += ["From some 20,000 tones on MUSIC's threshold, a standard deviation above the mean of the "
              "pseudo-spectrum, lies below the\nsidelobes of strong paths, and the leftmost peaks are "
              "not all paths: take maximum likelihood there.",
              "### The same answer on both roads\n\n" + roads.strip(),
              "### The hardest records\n\nMUSIC; times the first line, that of an estimate of three paths "
              f"at 25 dB (at most {promises.HARDEST}):",
              hard_table(times, labels)]
    return "\n\n".join(lines)


def draw_long(times, dense, path):
    """Time over N, both logarithmic: the dense route and both roads of the Ranger."""
    figure, axes = pyplot.subplots(figsize=(8, 4.5))
    curves = {"MUSIC::estimateToF": dense}
    for name, label in (("Formed", "Ranger, MUSIC, covariance formed"), ("Unformed", "Ranger, MUSIC"),
                        ("LongLikelihood", "Ranger, maximum likelihood")):
        curves[label] = {N: time for (kind, N, snr_dB), time in times.items()
                         if kind == name and snr_dB == 25}
    for label, curve in curves.items():
        sizes = sorted(curve)
        axes.loglog(sizes, [curve[N] * 1e-3 for N in sizes], marker="o", markersize=3, label=label)
    axes.set_xlabel("tones N (three paths, 25 dB; estimateToF 30 dB)")
    axes.set_ylabel("one estimate, ms")
    axes.grid(True, which="both", alpha=0.2)
    axes.legend()
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def stage_shares(times, paths=3):
    sizes = sorted({N for (name, N, p) in times if name == "MUSICToF" and p == paths})
    return sizes, {label: [times[stage, N, paths] / times["MUSICToF", N, paths] for N in sizes]
                   for stage, label in STAGES}


def draw_stages(times, path):
    sizes, shares = stage_shares(times)
    figure, axes = pyplot.subplots(figsize=(8, 4))
    bottom = np.zeros(len(sizes))
    for label, share in shares.items():
        axes.bar([str(N) for N in sizes], share, bottom=bottom, label=label)
        bottom += share
    rest = np.maximum(0, 1 - bottom)
    axes.bar([str(N) for N in sizes], rest, bottom=bottom, label="the rest", color="lightgrey")
    axes.set_xlabel("subcarriers N (three paths)")
    axes.set_ylabel("share of one MUSICToF")
    axes.legend(bbox_to_anchor=(1.02, 1), loc="upper left")
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def accuracy(folder, peer_trials):
    """One record per estimator and scenario, and the notes on peers that could not run."""
    records, notes = [], []
    for name in SCENARIOS:
        scenario = scenarios.load(folder, name)
        for engine, label in scenarios.ENGINES.items():
            records.append(record(scenario, label, "estimated", scenario.found_s(engine),
                                  scenario.seconds(engine)))
        for label, package, make, told in peers.PEERS:
            if importlib.util.find_spec(package) is None or (name == "none" and told == "given"):
                continue
            try:
                found, seconds = peers.run(make(), scenario, told, peer_trials)
            except Exception as error:  # a peer that refuses a scenario is reported, not hidden
                notes.append(f"{label} ({told}) on `{name}`: {type(error).__name__}: {error}")
                continue
            records.append(record(scenario, label, told, found, seconds))
    for package in ("spectrum", "pyroomacoustics", "doatools"):
        if importlib.util.find_spec(package) is None:
            notes.append(f"`{package}` did not install from the Python package index: no number.")
    return records, notes


def record(scenario, label, told, found, seconds):
    if len(scenario.delays_s) == 0:
        share, rmse, bound = float(np.mean([len(f) > 0 for f in found])), None, None
    else:
        share, rmse = scenarios.score(scenario, found)
        bound = scenarios.cramer_rao_rms(scenario)
    return {"scenario": scenario.name, "estimator": label, "count": told, "trials": len(found),
            "median_ms": float(np.median(seconds)) * 1e3, "share": share, "rmse_s": rmse,
            "bound_s": bound}


def accuracy_table(records, name):
    rows = []
    for r in records:
        if r["scenario"] != name:
            continue
        rmse = "" if r["rmse_s"] is None or np.isnan(r["rmse_s"]) else f"{r['rmse_s'] * 1e9:.3f}"
        rows.append([r["estimator"], r["count"], str(r["trials"]), f"{r['median_ms']:.2f}",
                     f"{100 * r['share']:.1f} %", rmse])
    share = "a path invented" if name == "none" else "all paths found"
    return table(["estimator", "count", "trials", "median, ms", share, "RMSE, ns"], rows)


def describe(scenario, records):
    if len(scenario.delays_s) == 0:
        return f"`{scenario.name}`: noise alone, N = {scenario.num_subcarriers}"
    bound = next(r["bound_s"] for r in records if r["scenario"] == scenario.name)
    delays = "/".join(f"{1e9 * d:.0f}" for d in scenario.delays_s)
    amplitudes = "/".join(f"{a:g}" for a in scenario.amplitudes)
    return (f"`{scenario.name}`: N = {scenario.num_subcarriers}, {delays} ns, amplitudes "
            f"{amplitudes}, {scenario.snr_dB:g} dB. Cramér-Rao bound {1e9 * bound:.3f} ns, "
            f"found within {1e9 * scenario.tolerance_s:.1f} ns")


def memory_section(memory):
    N = memory["N"]
    L = int(np.floor(0.75 * N + 0.5))
    square = 8 * L * L / 1e6
    rows = [["covariance A, L x L", f"{square:.2f}"],
            ["eigenvectors V as the solver leaves them, L x L", f"{square:.2f}"],
            ["eigenvectors, strongest first, L x L", f"{square:.2f}"],
            ["together", f"{3 * square:.2f}"],
            ["measured: what the estimate added to the process", f"{memory['added_MB']:.2f}"]]
    return (f"At the peak of one estimate with N = {N} (L = {L}) three matrices of L x L complex\n"
            "single-precision values live at once, when the ordered eigenvectors are gathered; the\n"
            "covariance cannot be freed earlier: the decomposition leaves its input as it is. The\n"
            "data matrix (L x 0.25 N) is gone by then, and the noise subspace (at most L x L) is\n"
            "formed when the first two are gone too. Megabytes:\n\n"
            + table(["matrix", "MB"], rows)
            + "\n\nThe remainder is the solver's work space (33 L complex values) and code pages "
              "touched for\nthe first time.")


def page(times, context, memory, ranger, long, folder, records, notes, peer_trials):
    parts = [
        "# Benchmarks",
        "Written by `./scripts/bench`: do not edit. Every number comes from one run on one machine\n"
        f"({context['num_cpus']} cores at {context['mhz_per_cpu']} MHz, {context['date'][:10]}); "
        "times are medians, of one thread. Compare\nratios, not times: they are measured "
        "interleaved in the same process.",
        "## One estimate and its floor",
        "The floor makes only the foreign calls that the method cannot do without for the same\n"
        "measurement: the covariance product (`cblas_cgemm`), the decomposition "
        "(`LAPACKE_cheev`), the\ntransforms (FFTW), the steering vectors (`sincosf`), the fine "
        "products (`cblas_cgemm`), roots (`powf`)\nand decibels (`log10f`). `MUSICToF` keeps its "
        "object, `estimateToF` plans its transforms afresh.\nAt N = 64 the target is 1.15 and 1.3 "
        "times the floor, from N = 242 on 1.05 and 1.06.\nA ratio "
        "below 1 is the scatter of the machine: nothing can be faster than its own calls.",
        time_table(times),
        "## Where the time goes",
        "![share of each stage by N](benchmarks-stages.svg)",
        "The eigen decomposition is one LAPACK call on an L x L matrix, and the method as it "
        "stands needs it: its\nshare only grows with N.",
        "## Memory",
        memory_section(memory),
        "## The structured engine beside the dense route",
        ranger,
        "## Long records",
        long,
        "## Accuracy beside speed",
        "Random path phases in every trial; the same vectors for every estimator, one thread "
        f"each; peers on the\nfirst {peer_trials} trials. A trial counts as found when every true "
        "path has a delay of its own within half the\nsmallest separation of two paths (half a "
        "resolution cell for one path). RMSE over the paths of the trials\nfound; the Cramér-Rao "
        "bound for known count and unknown amplitudes, averaged over the phases drawn. SNR is that of the\n"
        "strongest path, per tone.",
    ]
    for name in SCENARIOS:
        scenario = scenarios.load(folder, name)
        parts += ["### " + describe(scenario, records), accuracy_table(records, name)]
    parts += [
        "### How the peers were used",
        "- *NumPy, an evening's work* (`bench/report/peers.py`): the same method in double "
        "precision, without the fine search.\n"
        "- *spectrum.music*: order N/2, its own Akaike criterion where the count is estimated, "
        "tallest peaks refined by a parabola.\n"
        "- *pyroomacoustics.doa.MUSIC*: subcarriers as a linear array, subvectors as snapshots, "
        "its own peak search on a grid of directions that covers 400 ns at 1/(30 N); the count "
        "must be given.",
    ]
    if notes:
        parts.append("\n".join("- " + note for note in notes))
    return "\n\n".join(parts) + "\n"


def main():
    results, docs, peer_trials = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
    benchmark = promises.load_times(results)
    memory = json.loads((results / "memory.json").read_text())
    ranger_memory = promises.ranger_memory(results)
    long_runs, labels = promises.long_repetitions(json.loads((results / "long.json").read_text()))
    long_times = medians(long_runs)
    folder = results / "scenarios"
    times = medians(promises.repetitions(benchmark))
    batch = medians(promises.batch_repetitions(json.loads((results / "batch.json").read_text())))
    ranger = ranger_section(times, batch, (results / "agreement.md").read_text(),
                            (results / "measured.txt").read_text())
    long = long_section(long_times, labels, ranger_memory, (results / "roads.md").read_text())
    records, notes = accuracy(folder, int(peer_trials))
    docs.mkdir(exist_ok=True)
    draw_stages(times, docs / "benchmarks-stages.svg")
    draw_long(long_times, {N: time for (name, N, paths), time in times.items()
                           if name == "estimateToF" and paths == 3 and N >= 242},
              docs / "benchmarks-long.svg")
    (docs / "benchmarks.md").write_text(
        page(times, benchmark["context"], memory, ranger, long, folder, records, notes, int(peer_trials)))
    (docs / "benchmarks.json").write_text(json.dumps({
        "times_us": [{"benchmark": k[0], "N": k[1], "paths": k[2], "median": v}
                     for k, v in sorted(times.items())],
        "long_us": [{"benchmark": k[0], "N": k[1], "snr_dB or case": k[2], "median": v}
                    for k, v in sorted(long_times.items())],
        "batch_us": batch, "memory": memory, "memory_ranger": ranger_memory, "accuracy": records, "notes": notes}, indent=1) + "\n")


if __name__ == "__main__":
    main()
