"""Independent estimators on the same vectors, each used as its own documentation says.

A peer is a function (vector, number of paths or None) -> normalised frequencies. Where a package
does not install, its peers are left out and the report says so.
"""

import time
import warnings

import numpy as np

warnings.filterwarnings("ignore")

GRID = 2048  # points of a peer's search grid at N = 64; scaled with N


def grid_points(n):
    return int(2 ** np.round(np.log2(30 * n)))


def tallest_peaks(values, count):
    """Positions of the tallest local maxima, refined by a parabola, in bins."""
    inner = np.flatnonzero((values[1:-1] > values[:-2]) & (values[1:-1] >= values[2:])) + 1
    best = inner[np.argsort(values[inner])[::-1][:count]]
    left, middle, right = values[best - 1], values[best], values[best + 1]
    curvature = left - 2 * middle + right
    return best + 0.5 * (left - right) / np.where(curvature == 0, 1, curvature)


# --- what one could write in an evening in NumPy ------------------------------------------------

def numpy_music(x, count):
    """Forward-backward smoothing, eigh, Akaike-type count, dense grid from the noise subspace."""
    n = len(x)
    size = round(0.75 * n)
    snapshots = np.lib.stride_tricks.sliding_window_view(x, size)[:, ::1].T
    forward = snapshots @ snapshots.conj().T / snapshots.shape[1]
    covariance = (forward + forward.conj()[::-1, ::-1]) / 2
    values, vectors = np.linalg.eigh(covariance)
    if count is None:
        rank = min(size, 2 * snapshots.shape[1])
        positive = np.maximum(values[::-1][:rank], 1e-12 * values[-1])
        k = np.arange(rank)
        tail = [positive[i:] for i in k]
        likelihood = [len(t) * np.log(np.mean(t) / np.exp(np.mean(np.log(t)))) for t in tail]
        count = int(np.argmin(np.array(likelihood) + (2 * rank - k + 1) * k / 2))
    if count == 0:
        return np.array([])
    points = grid_points(n)
    noise = vectors[:, : size - count]
    energy = np.sum(np.abs(np.fft.ifft(noise.conj(), points, axis=0) * points) ** 2, axis=1)
    decibels = -10 * np.log10(energy)
    bins = tallest_peaks(np.concatenate([decibels, decibels[:2]]), count)
    f = bins / points
    return -np.where(f > 0.5, f - 1, f)


# --- the package "spectrum": MUSIC after Marple --------------------------------------------------

def spectrum_music(x, count):
    import spectrum
    n = len(x)
    order = min(n // 2, 100)
    points = grid_points(n)
    psd, eigenvalues = spectrum.music(x.astype(complex), order, NSIG=count, NFFT=points)
    if count is None:
        # The number that its own criterion chose inside the call.
        criterion = spectrum.aic_eigen(eigenvalues, 2 * min(n - order, 100))
        count = int(np.argmin(criterion)) + 1
    bins = tallest_peaks(10 * np.log10(np.abs(psd) + 1e-300), count)
    return -(bins / points - 0.5)


# --- the package "pyroomacoustics": direction of arrival on a linear array ------------------------

class PyroomMusic:
    """Subcarriers as an array of sensors: subvectors are snapshots, a delay is a direction.

    The grid of directions covers normalised frequencies 0 to 0.125 (400 ns at 312.5 kHz), as fine
    as the other peers' grids.
    """

    def __init__(self):
        import pyroomacoustics
        self.package = pyroomacoustics
        self.finders = {}

    def __call__(self, x, count):
        size = round(0.75 * len(x))
        snapshots = np.lib.stride_tricks.sliding_window_view(x, size).T
        finder = self.finder(size, len(x), count)
        bins = np.stack([np.zeros_like(snapshots), snapshots.conj()], axis=1)  # bin 0: not looked at
        finder.locate_sources(bins, num_src=count, freq_bins=[1])
        return np.cos(finder.azimuth_recon) / 2

    def finder(self, size, n, count):
        """Elements half a wavelength apart at the one frequency bin, so f = cos(azimuth) / 2."""
        if (size, count) not in self.finders:
            positions = np.vstack([np.arange(size) * 0.5, np.zeros(size)])
            f = np.arange(0, 0.125, 1 / grid_points(n))
            finder = self.package.doa.MUSIC(
                L=positions, fs=2.0, nfft=2, c=1.0, num_src=count, azimuth=np.arccos(2 * f))
            self.finders[size, count] = finder
        return self.finders[size, count]


PEERS = [
    # label, package, how to make it, told
    ("NumPy, an evening's work", "numpy", lambda: numpy_music, "estimated"),
    ("NumPy, an evening's work", "numpy", lambda: numpy_music, "given"),
    ("spectrum.music", "spectrum", lambda: spectrum_music, "estimated"),
    ("spectrum.music", "spectrum", lambda: spectrum_music, "given"),
    ("pyroomacoustics.doa.MUSIC", "pyroomacoustics", lambda: PyroomMusic(), "given"),
]


def run(estimator, scenario, told, most_trials):
    """(found delays a trial, seconds a trial)."""
    count = len(scenario.delays_s) if told == "given" else None
    found, seconds = [], []
    estimator(scenario.samples[0], count)
    for x in scenario.samples[:most_trials]:
        start = time.perf_counter()
        frequencies = estimator(x, count)
        seconds.append(time.perf_counter() - start)
        found.append(np.asarray(frequencies) / scenario.spacing_Hz)
    return found, np.array(seconds)
