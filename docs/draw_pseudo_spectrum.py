"""Draws the table of examples/pseudo_spectrum: draw_pseudo_spectrum.py TABLE.csv PICTURE.svg"""

import csv
import sys

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402

matplotlib.rcParams["svg.hashsalt"] = "flightpath"  # the same picture from the same numbers
matplotlib.rcParams["font.size"] = 10


def read(path):
    with open(path, newline="") as file:
        lines = list(file)
    distances = {kind: [float(line.split()[2]) for line in lines if line.startswith(f"# {kind}")]
                 for kind in ("true", "found")}
    rows = list(csv.DictReader(line for line in lines if not line.startswith("#")))
    return distances, {name: [float(row[name]) for row in rows] for name in rows[0]}


def relative(values):
    top = max(values)
    return [value - top for value in values]


def main():
    distances, table = read(sys.argv[1])
    figure, axes = pyplot.subplots(figsize=(7.6, 3.3), layout="constrained")
    spectrum = relative(table["pseudo_spectrum_dB"])
    axes.plot(table["distance_m"], relative(table["impulse_response_dB"]), color="#9aa5b1",
              label="inverse Fourier transform")
    axes.plot(table["distance_m"], spectrum, color="#0b6e99", label="MUSIC pseudo-spectrum")
    for k, distance in enumerate(distances["true"]):
        axes.axvline(distance, color="#c23b22", linewidth=0.8, linestyle=":",
                     label=None if k else "true distances")
    for distance in distances["found"]:
        nearest = min(range(len(spectrum)),
                      key=lambda j: abs(table["distance_m"][j] - distance))
        axes.annotate(f"{distance:.2f} m", (distance, spectrum[nearest]), xytext=(4, 1),
                      textcoords="offset points")
    axes.set_xlabel("distance, m")
    axes.set_ylabel("relative to the peak, dB")
    axes.set_xlim(0, 70)
    axes.set_ylim(-45, 5)
    axes.legend(loc="upper right", frameon=False)
    for side in ("top", "right"):
        axes.spines[side].set_visible(False)
    figure.savefig(sys.argv[2], metadata={"Date": None})


if __name__ == "__main__":
    main()
