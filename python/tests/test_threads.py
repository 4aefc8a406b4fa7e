"""The GIL is released for the whole of a call: two Python threads convert
at once, each with the results of one after the other, and Python code runs
beside a long call."""

import threading
import time

import numpy as np

import ozu_color
from conftest import assert_same, random_image
from ozu_color import _core


def test_two_python_threads_give_the_results_of_one_after_the_other():
    _core._set_band_pixels(0)
    images = [random_image((512, 768, 3), np.uint8, seed=s) for s in (21, 22)]
    convert = [lambda img: ozu_color.convert(img, "HLS"),
               lambda img: ozu_color.convert(img, "YUV", "HSV")]
    want = [convert[k](images[k]) for k in (0, 1)]
    got = [[], []]

    def work(k):
        for _ in range(8):
            got[k].append(convert[k](images[k]))

    threads = [threading.Thread(target=work, args=(k,)) for k in (0, 1)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for k in (0, 1):
        for result in got[k]:
            assert_same(result, want[k])


def count_for(seconds, stop=None):
    """Counts loop turns of plain Python for `seconds`, or until `stop`."""
    turns, end = 0, time.perf_counter() + seconds
    while (stop is None and time.perf_counter() < end) or (stop is not None and
                                                            not stop.is_set()):
        turns += 1
    return turns


def test_python_runs_beside_a_call():
    # A second thread counts while one long call runs. Were the GIL held
    # through the call, the counter would stop for all of it (but for the
    # interpreter's switch interval before the call starts); released, it
    # goes on at about its own speed, however busy the machine is.
    _core._set_band_pixels(0)
    img = random_image((4096, 4096, 3), np.uint8, seed=23)
    done, turns = threading.Event(), []
    counter = threading.Thread(target=lambda: turns.append(count_for(0, done)))
    alone = count_for(0.05) / 0.05
    counter.start()
    start = time.perf_counter()
    ozu_color.convert(img, "HLS", "HSV", threads=1)  # a whole-image conversion
    elapsed = time.perf_counter() - start
    done.set()
    counter.join()
    assert elapsed > 0.02
    assert turns[0] > 0.3 * alone * elapsed, (turns[0], alone * elapsed)
