"""The accuracy scenarios: loading, matching found delays with true ones, and the bound."""

import json
import pathlib
from dataclasses import dataclass

import numpy as np
from scipy.optimize import linear_sum_assignment


ENGINES = {"likelihood": "flightpath, `Ranger`, maximum likelihood",
           "music": "flightpath, `Ranger`, MUSIC",
           "dense": "flightpath, `MUSIC::estimateToF`"}


@dataclass
class Scenario:
    name: str
    num_subcarriers: int
    spacing_Hz: float
    snr_dB: float              # of the strongest path
    delays_s: np.ndarray       # (P,)
    amplitudes: np.ndarray     # (P,)
    phases_rad: np.ndarray     # (T, P)
    samples: np.ndarray        # (T, tones) complex64
    tones: np.ndarray          # indices of the samples
    answers: dict              # by engine, T records: what flightpath found

    def found_s(self, engine):
        return [answer["found_s"] for answer in self.answers[engine]]

    def seconds(self, engine):
        return np.array([answer["seconds"] for answer in self.answers[engine]])

    @property
    def tolerance_s(self):
        """Half the smallest separation of two paths; half a resolution cell for a single one."""
        if len(self.delays_s) < 2:
            return 0.5 / (self.num_subcarriers * self.spacing_Hz)
        return 0.5 * np.min(np.diff(np.sort(self.delays_s)))


def load(folder, name):
    folder = pathlib.Path(folder)
    d = json.loads((folder / f"{name}.json").read_text())
    tones = np.array(d["tones"] or range(d["N"]))
    samples = np.fromfile(folder / f"{name}.samples", dtype=np.complex64).reshape(-1, len(tones))
    trials = d["trials"]
    return Scenario(
        name=name, num_subcarriers=d["N"], spacing_Hz=d["spacing_Hz"], snr_dB=d["snr_dB"],
        delays_s=np.array(d["delays_s"]), amplitudes=np.array(d["amplitudes"]),
        phases_rad=np.array([t["phases_rad"] for t in trials]),
        samples=samples, tones=tones,
        answers={e: [t[e] for t in trials] for e in ENGINES if e in trials[0]})


def score(scenario, found_s):
    """(share of trials with every path found, RMSE in seconds over those trials).

    A path is found when a delay matched to it, one to one, lies within the tolerance.
    """
    errors = []
    for found in found_s:
        if len(found) < len(scenario.delays_s):
            continue
        distance = np.abs(np.subtract.outer(scenario.delays_s, np.asarray(found)))
        rows, cols = linear_sum_assignment(distance)
        matched = distance[rows, cols]
        if np.all(matched <= scenario.tolerance_s):
            errors.append(matched)
    share = len(errors) / len(found_s)
    rmse = float(np.sqrt(np.mean(np.square(errors)))) if errors else float("nan")
    return share, rmse


def cramer_rao_rms(scenario):
    """Root mean square over paths and trials of the Cramer-Rao bound of the delays, in seconds."""
    return float(np.sqrt(np.mean(bounds(scenario))))


def bounds(scenario):
    """(T, P): the Cramer-Rao bound of the delays' variances, per trial, in square seconds.

    Deterministic signals, unknown complex amplitudes, white noise (Stoica and Nehorai, MUSIC,
    maximum likelihood, and Cramer-Rao bound, IEEE Trans. Acoust., Speech, Signal Process. 37(5),
    1989): CRB = noise / 2 * inv(Re((D^H P D) o conj(a) a^T)), D the derivatives of the steering
    vectors and P the projection off them.
    """
    k = scenario.tones[:, None]
    omega = 2 * np.pi * scenario.spacing_Hz
    A = np.exp(-1j * omega * k * scenario.delays_s)
    D = -1j * omega * k * A
    noise = np.max(scenario.amplitudes**2) * 10 ** (-scenario.snr_dB / 10)
    off = np.eye(len(k)) - A @ np.linalg.pinv(A)
    H = D.conj().T @ off @ D
    variances = []
    for phases in scenario.phases_rad:
        a = scenario.amplitudes * np.exp(1j * phases)
        fisher = np.real(H * np.outer(a.conj(), a))
        variances.append(np.diag(np.linalg.inv(fisher)) * noise / 2)
    return np.array(variances)
