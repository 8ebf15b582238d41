#!/usr/bin/python3
"""Interpolate at many points in several threads, which share one Locator.

    examples/threads.py [THREADS]     by default one thread a processor

Run it with the package on the path, as scripts/demo.sh does.
"""

import concurrent.futures
import os
import sys
import time

import numpy as np
from fields import ball, field_at

from meldra3d import Locator

SLICES_A_THREAD = 4  # so that a thread which is done early takes another


def interpolate_in_threads(locator: Locator, field: np.ndarray, queries: np.ndarray, threads: int) -> np.ndarray:
    """The same as `locator.interpolate(field, queries)`. The interpreter's lock is released in the searches."""
    slices = np.array_split(queries, SLICES_A_THREAD * threads)
    with concurrent.futures.ThreadPoolExecutor(threads) as pool:
        return np.concatenate(list(pool.map(lambda part: locator.interpolate(field, part), slices)))


if __name__ == "__main__":
    threads = int(sys.argv[1]) if len(sys.argv) > 1 else os.cpu_count() or 1
    points, cells = ball(30)
    locator = Locator(points, cells)
    queries = np.random.default_rng(0).uniform(-1, 1, (500_000, 3))

    start = time.perf_counter()
    alone = locator.interpolate(field_at(points), queries)
    middle = time.perf_counter()
    together = interpolate_in_threads(locator, field_at(points), queries, threads)
    end = time.perf_counter()

    print(f"{len(queries):,} points in {len(cells):,} tetrahedra")
    print(f"  1 thread   {middle - start:.2f} s")
    print(f"{threads:3} threads  {end - middle:.2f} s")
    if not np.array_equal(alone, together):
        sys.exit("the results differ")
    print("the results are the same")
