"""The GIL is released for the whole of a call: two Python threads convert
at once, each with the results of one after the other."""

import threading
import time

import numpy as np

import ozu_color
from conftest import assert_same, random_image
from ozu_color import _core


def test_two_python_threads_convert_at_once():
    _core._set_band_pixels(0)
    images = [random_image((1024, 1536, 3), np.uint8, seed=s) for s in (21, 22)]
    convert = [lambda img: ozu_color.convert(img, "HLS", threads=1),
               lambda img: ozu_color.convert(img, "YUV", "HSV", threads=1)]
    want = [convert[k](images[k]) for k in (0, 1)]

    def timed(k, results):
        start = time.perf_counter()
        for _ in range(4):
            results[k] = convert[k](images[k])
        results[k + 2] = time.perf_counter() - start

    # With the GIL held through a call the two would take turns: the wall
    # time would be the sum of both alone. The best of three tries counts,
    # since other work on the machine can stall either thread.
    tries = []
    for _ in range(3):
        alone = [None] * 4
        for k in (0, 1):
            timed(k, alone)
        together = [None] * 4
        threads = [threading.Thread(target=timed, args=(k, together)) for k in (0, 1)]
        start = time.perf_counter()
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        wall = time.perf_counter() - start
        for k in (0, 1):
            assert_same(together[k], want[k])
        tries.append((wall / (alone[2] + alone[3]), wall, alone[2:]))
        if tries[-1][0] < 0.9:
            break
    assert min(tries)[0] < 0.9, tries
