"""The places to break, in random order."""

import random


def draw(sites, seed):
    """One change of every place; the places in an order that the seed decides."""
    generator = random.Random(seed)
    order = list(sites)
    generator.shuffle(order)
    return [generator.choice(changes) for changes in order]
