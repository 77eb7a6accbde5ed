"""Draws the pictures of docs/trust.md and fills its tables.

    trust.py RESULTS_FOLDER DOCS_FOLDER PEER_TRIALS

RESULTS_FOLDER holds trust/ (of flightpath_accuracy), likelihood.txt (of flightpath_likelihood) and
measured.csv (of flightpath_measured_paths). In DOCS_FOLDER/trust.md what stands between
`<!-- table NAME -->` and `<!-- end -->` is replaced.
"""

import csv
import importlib.util
import math
import pathlib
import re
import sys

import matplotlib
import numpy as np

import peers
import scenarios
from markdown import table

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402

matplotlib.rcParams["svg.hashsalt"] = "flightpath"  # the same picture from the same numbers
matplotlib.rcParams["font.size"] = 10

LEVELS_dB = range(0, 41, 5)
PAIRS = (5, 10, 15, 20, 25, 35, 50, 70, 100, 140, 200)  # hundredths of a cell
GAPS = {"Legacy20": "52 tones of 64", "HT20": "56 tones of 64", "HT40": "114 tones of 128",
        "Grouped20": "30 tones, grouped by two"}
COLOURS = {"likelihood": "#0b6e99", "music": "#c23b22"}
LABELS = {"likelihood": "maximum likelihood", "music": "MUSIC"}
PEER_COLOURS = ("#8a8f98", "#b58900", "#6a994e")
CELL_s = 1 / (64 * 312500)


def axes_of(path, ylabel, xlabel, draw, height=3.4):
    figure, axes = pyplot.subplots(figsize=(7.6, height), layout="constrained")
    draw(axes)
    axes.set_xlabel(xlabel)
    axes.set_ylabel(ylabel)
    axes.legend(frameon=False)
    axes.grid(color="#e4e7eb", linewidth=0.6)
    for side in ("top", "right"):
        axes.spines[side].set_visible(False)
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)


def matched(scenario, answer):
    """The answer's paths where there are as many as there are true ones, each within the tolerance."""
    found = np.asarray(answer["found_s"], dtype=float)
    if len(found) != len(scenario.delays_s):
        return None
    order = np.argsort(found)
    if np.any(np.abs(found[order] - scenario.delays_s) > scenario.tolerance_s):
        return None
    return {key: np.array(answer[key], dtype=float)[order]
            for key in ("found_s", "deviations_s", "lower_s", "upper_s")}


def statistics(scenario, engine):
    """Share found, RMS error over the bound, and coverage within 1, 2 and 3 deviations and by the
    interval."""
    answers = [matched(scenario, answer) for answer in scenario.answers[engine]]
    kept = [answer for answer in answers if answer is not None]
    if not kept:
        return {"found": 0.0, "error": np.nan, "within": [np.nan] * 3, "interval": np.nan}
    found = np.array([answer["found_s"] for answer in kept])
    deviations = np.array([answer["deviations_s"] for answer in kept])
    errors = np.abs(found - scenario.delays_s)
    lower = np.array([answer["lower_s"] for answer in kept])
    upper = np.array([answer["upper_s"] for answer in kept])
    bounds = scenarios.bounds(scenario)[[answer is not None for answer in answers]]
    return {"found": len(kept) / len(answers),
            "error": float(np.sqrt(np.mean(errors**2 / bounds))),
            "within": [float(np.mean(errors <= k * deviations)) for k in (1, 2, 3)],
            "interval": float(np.mean((lower <= scenario.delays_s) & (scenario.delays_s <= upper)))}


def peer_curves(levels, peer_trials):
    """{label: RMS error over the bound at each level} of the peers that are told the count."""
    curves = {}
    for label, package, make, told in peers.PEERS:
        if told != "given" or importlib.util.find_spec(package) is None:
            continue
        curves[label] = []
        for scenario in levels:
            found, _ = peers.run(make(), scenario, told, peer_trials)
            share, rmse = scenarios.score(scenario, found)
            bound = scenarios.cramer_rao_rms(scenario)
            curves[label].append(rmse / bound if share > 0.5 else np.nan)
    return curves


def draw_levels(folder, docs, peer_trials):
    levels = [scenarios.load(folder, f"level-{snr}") for snr in LEVELS_dB]
    results = {engine: [statistics(level, engine) for level in levels] for engine in COLOURS}
    curves = peer_curves(levels, peer_trials)

    def errors(axes):
        for engine, colour in COLOURS.items():
            points = [r["error"] if r["found"] > 0.5 else np.nan for r in results[engine]]
            axes.semilogy(LEVELS_dB, points, "o-", color=colour, label=LABELS[engine])
        for (label, points), colour in zip(curves.items(), PEER_COLOURS):
            axes.semilogy(LEVELS_dB, points, ".--", color=colour, label=label + ", count given")
        axes.axhline(1.0, color="black", linewidth=0.8)
        axes.annotate("Cramér-Rao bound", (40, 1.0), xytext=(-4, -12), ha="right",
                      textcoords="offset points")

    def shares(axes):
        for engine, colour in COLOURS.items():
            axes.plot(LEVELS_dB, [100 * r["found"] for r in results[engine]], "o-", color=colour,
                      label=LABELS[engine])

    axes_of(docs / "trust-error.svg", "RMS error over the bound", "SNR of the strongest path, dB",
            errors)
    axes_of(docs / "trust-found.svg", "right count, all paths found, %",
            "SNR of the strongest path, dB", shares, height=2.6)
    return results


def draw_pairs(folder, docs):
    pairs = [scenarios.load(folder, f"pair-{hundredths}") for hundredths in PAIRS]
    results = {engine: [statistics(pair, engine) for pair in pairs] for engine in COLOURS}
    apart = [hundredths / 100 for hundredths in PAIRS]

    def shares(axes):
        for engine, colour in COLOURS.items():
            axes.semilogx(apart, [100 * r["found"] for r in results[engine]], "o-", color=colour,
                          label=LABELS[engine] + ": both found")
        axes.semilogx(apart, [100 * r["interval"] for r in results["likelihood"]], "s:",
                      color="#6a994e", label="truth within the interval of 95.45 %")
        axes.semilogx(apart, [100 * r["within"][1] for r in results["likelihood"]], "^:",
                      color="#b58900", label="truth within two deviations")
        axes.set_xticks(apart, [f"{a:g}" for a in apart])
        axes.minorticks_off()

    axes_of(docs / "trust-pairs.svg", "%", "distance of the two paths, cells (1 / bandwidth)", shares)
    rows = []
    spoilt = [missed_coverage(pair) for pair in pairs]
    for separation, likelihood, music, missed in zip(apart, results["likelihood"], results["music"],
                                                     spoilt):
        rows.append([f"{separation:g}", percent(music["found"]), percent(likelihood["found"]),
                     ratio(likelihood["error"]), percent(likelihood["within"][1]),
                     percent(likelihood["interval"]), missed])
    return table(["cells apart", "MUSIC: both found", "maximum likelihood: both found",
                  "error / bound", "within 2 deviations", "in the 95.45 % interval",
                  "where one was missed: the stronger in the other's interval"], rows)


def missed_coverage(pair):
    """Where only one of two paths was found: how often the stronger one lies in its interval."""
    single = [answer for answer in pair.answers["likelihood"] if len(answer["found_s"]) == 1]
    if len(single) < 10:
        return ""
    held = sum(answer["lower_s"][0] <= pair.delays_s[0] <= answer["upper_s"][0] for answer in single)
    return f"{held} of {len(single)}"


def draw_coverage(results, docs):
    def draw(axes):
        nominal = (68.27, 95.45, 99.73)
        for k, (share, colour) in enumerate(zip(nominal, ("#0b6e99", "#6a994e", "#c23b22"))):
            points = [100 * r["within"][k] for r in results["likelihood"]]
            axes.plot(LEVELS_dB, points, "o-", color=colour,
                      label=f"within {k + 1} deviation{'s' if k else ''}")
            axes.axhline(share, color=colour, linewidth=0.8, linestyle=":")
        axes.set_ylim(50, 101)

    axes_of(docs / "trust-coverage.svg", "the truth lies there, %", "SNR of the strongest path, dB",
            draw, height=3.0)


def draw_gaps(folder, docs):
    rows, told, packed = [], [], []
    for name, label in GAPS.items():
        scenario = scenarios.load(folder, f"gaps-{name}")
        result = statistics(scenario, "likelihood")
        bound_ns = 1e9 * np.sqrt(np.mean(scenarios.bounds(scenario)[:, 0]))
        errors = [first_path_error_ns(scenario, engine) for engine in ("likelihood", "music")]
        told.append(errors[0])
        packed.append(errors[1])
        rows.append([label, percent(result["found"]), f"{bound_ns:.3f}", f"{errors[0]:.3f}",
                     ratio(result["error"]), f"{errors[1]:.2f}"])

    def draw(axes):
        places = np.arange(len(GAPS))
        axes.bar(places - 0.2, told, 0.4, color=COLOURS["likelihood"], label="told which tones")
        axes.bar(places + 0.2, packed, 0.4, color="#b7bcc4", label="packed together, by MUSIC")
        axes.set_yscale("log")
        axes.set_xticks(places, list(GAPS.values()))

    axes_of(docs / "trust-gaps.svg", "RMS error of the first path, ns", "", draw, height=2.8)
    return table(["tones", "all found", "first path: bound, ns", "RMS error, ns", "all paths, error / bound",
                  "packed together: first path, RMS error, ns"], rows)


def first_path_error_ns(scenario, engine):
    """Of the nearest answer to the first path, in all trials that have an answer."""
    errors = [np.min(np.abs(np.array(answer["found_s"]) - scenario.delays_s[0]))
              for answer in scenario.answers[engine] if answer["found_s"]]
    return 1e9 * float(np.sqrt(np.mean(np.square(errors))))


def percent(share):
    return "" if np.isnan(share) else f"{100 * share:.1f} %"


def ratio(value):
    return "" if np.isnan(value) else f"{value:.2f}"


def scenario_table(path):
    """Of flightpath_likelihood, whose first column is 32 characters wide."""
    rows = []
    for line in path.read_text().splitlines()[1:]:
        found, over, _, error, one, two, three, interval = line[32:].split()[:8]
        missing = [value.replace("-nan", "nan") == "nan" for value in (error, one, interval)]
        rows.append([line[:32].strip(), f"{found} %", f"{over} %"] + (
            [""] * 3 if all(missing) else [error, f"{one} / {two} / {three}", f"{interval} %"]))
    return table(["scenario", "found", "too many", "error / bound", "within 1 / 2 / 3 deviations, %",
                  "in the 99.73 % interval"], rows)


def measured_table(measured, references):
    """Per row of the measured files: the reference, and the nearest path of each method."""
    paths = {}
    for line in csv.DictReader(measured.open()):
        paths.setdefault((line["file"], line["row"]), {}).setdefault(line["method"], []).append(line)
    rows = []
    for line in csv.DictReader(row for row in references.open() if not row.startswith("#")):
        answers = paths[line["file"], line["row"]]
        reference = float(line["delay_ns"])
        rows.append([line["file"].removesuffix(".csv"), line["row"], f"{reference:.4f}"]
                    + [nearest(answers[method], reference)
                       for method in ("music", "likelihood", "tolerant")])
    return table(["file", "row", "reference, ns", "MUSIC", "maximum likelihood",
                  "with ModelError = -25"], rows)


def spread_line(measured):
    """What the strongest answers to the same set-up, measured again and again, differ by."""
    strongest = {}
    for line in csv.DictReader(measured.open()):
        if line["file"] == "phase_ranging_200.csv" and line["delay_ns"]:
            rows = strongest.setdefault(line["method"], {})
            rows[line["row"]] = max(rows.get(line["row"], (-math.inf, 0.0)),
                                    (float(line["power_dB"]), float(line["delay_ns"])))
    spreads = {}
    for method, rows in strongest.items():
        delays = [delay for _, delay in rows.values()]
        spreads[method] = f"{max(delays) - min(delays):.2f} ns"
    return ("The seven rows of phase_ranging_200 are the same set-up. From the smallest to the largest "
            "answer, of the strongest\npath in each row: "
            f"{spreads['music']} by MUSIC, {spreads['likelihood']} by maximum likelihood, "
            f"{spreads['tolerant']} with ModelError = -25; half of\nthat in one-way delay.")


def nearest(answers, reference):
    """The nearest delay, by how much it is off, and of how many paths it was chosen."""
    delays = [float(answer["delay_ns"]) for answer in answers if answer["delay_ns"]]
    if not delays:
        return "no path"
    best = min(delays, key=lambda delay: abs(delay - reference))
    return f"{best:.4f} ({100 * (best / reference - 1):+.2f} %, of {len(delays)})"


def fill(page, name, text):
    pattern = re.compile(rf"(<!-- table {name} -->\n).*?(<!-- end -->)", re.DOTALL)
    filled, count = pattern.subn(lambda m: m[1] + "\n" + text + "\n\n" + m[2], page)
    if count != 1:
        raise SystemExit(f"trust.md has {count} places for the table {name}")
    return filled


def main():
    results, docs = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    folder = results / "trust"
    levels = draw_levels(folder, docs, int(sys.argv[3]))
    draw_coverage(levels, docs)
    page = (docs / "trust.md").read_text()
    page = fill(page, "pairs", draw_pairs(folder, docs))
    page = fill(page, "gaps", draw_gaps(folder, docs))
    page = fill(page, "scenarios", scenario_table(results / "likelihood.txt"))
    references = pathlib.Path(__file__).resolve().parents[2] / "data" / "references.csv"
    page = fill(page, "measured", measured_table(results / "measured.csv", references) + "\n\n"
                + spread_line(results / "measured.csv"))
    (docs / "trust.md").write_text(page)


if __name__ == "__main__":
    main()
