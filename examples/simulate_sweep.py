#!/usr/bin/env python3
"""Simulates a sweep of a network analyser: reflections along 12 m of coaxial cable.

    simulate_sweep.py > sweep_1601.csv

1,601 points, 2 MHz apart from 10 MHz on. The cable has a velocity of 0.85 c and the loss of the skin effect, 0.13 dB per
metre at 1 GHz, growing with the root of the frequency, with the phase that such a loss brings. It reflects at a connector
(1.5 m, 0.03), at a dent (7.2 m, 0.02) and at its open end (12 m, all of it); noise lies 70 dB below full reflection.
"""

import cmath
import math
import random

POINTS, FIRST_HZ, SPACING_HZ = 1601, 10e6, 2_000_000
VELOCITY_MPS = 0.85 * 299792458.0
LOSS_DB_PER_M = 0.13  # at 1 GHz
REFLECTIONS = ((1.5, 0.03), (7.2, 0.02), (12.0, 1.0))  # metres, reflection coefficient
NOISE = 10 ** (-70 / 20)


def reflected(f_hz, length_m, coefficient):
    """Of a wave that goes there and back."""
    nepers = LOSS_DB_PER_M * math.sqrt(f_hz / 1e9) * math.log(10) / 20
    return coefficient * cmath.exp(-2 * length_m * complex(nepers, nepers + 2 * math.pi * f_hz / VELOCITY_MPS))


def main():
    rng = random.Random(1)
    print(f"# spacing_hz={SPACING_HZ} measurements=1 subcarriers={POINTS}")
    print("# simulated, see simulate_sweep.py: reflections at 1.5, 7.2 and 12 m of cable, 0.85 c; round trip")
    values = []
    for k in range(POINTS):
        gamma = sum(reflected(FIRST_HZ + k * SPACING_HZ, *r) for r in REFLECTIONS)
        gamma += NOISE * complex(rng.gauss(0, math.sqrt(0.5)), rng.gauss(0, math.sqrt(0.5)))
        values += [f"{gamma.real:.6g}", f"{gamma.imag:.6g}"]
    print(",".join(values))


if __name__ == "__main__":
    main()
