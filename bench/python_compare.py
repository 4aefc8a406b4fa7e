#!/usr/bin/python3
"""End-to-end speed from Python: ozu_color against OpenCV's cv2.cvtColor on
the same NumPy image (3840 x 2160 x 3 uint8 by default), each with its
default threads (every processor), the result a new array each call.

    scripts/install-deps --bench          # python3-opencv
    PYTHONPATH=build/python /usr/bin/python3 bench/python_compare.py [--size WxH] [--runs N]

The hue scales differ (ours 0..255 over the circle, as OpenCV's *_FULL
codes), so the comparison is of speed only. Prints the median and the best
of N runs per call, in milliseconds and megapixels per second.
"""

import argparse
import statistics
import threading
import time

import cv2
import numpy as np

import ozu_color


def timed(call, runs):
    call()  # warm: pools started, pages touched
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        call()
        times.append(time.perf_counter() - start)
    return statistics.median(times), min(times)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--size", default="3840x2160", help="WxH (default 3840x2160)")
    parser.add_argument("--runs", type=int, default=25)
    args = parser.parse_args()
    width, height = (int(v) for v in args.size.split("x"))
    rgb = np.random.default_rng(1).integers(0, 256, (height, width, 3), dtype=np.uint8)
    pixels = width * height

    cases = [
        ("RGB->HSV", lambda: ozu_color.convert(rgb, "HSV"),
         lambda: cv2.cvtColor(rgb, cv2.COLOR_RGB2HSV_FULL)),
        ("RGB->HLS", lambda: ozu_color.convert(rgb, "HLS"),
         lambda: cv2.cvtColor(rgb, cv2.COLOR_RGB2HLS_FULL)),
        ("RGB->YUV", lambda: ozu_color.convert(rgb, "YUV"),
         lambda: cv2.cvtColor(rgb, cv2.COLOR_RGB2YUV)),
        ("RGB->I", lambda: ozu_color.convert(rgb, "I"),
         lambda: cv2.cvtColor(rgb, cv2.COLOR_RGB2GRAY)),
    ]
    print(f"{width}x{height}x3 uint8, median/best of {args.runs}; ozu_color "
          f"{ozu_color.version()} on {ozu_color.default_threads()} threads, OpenCV "
          f"{cv2.__version__} on {cv2.getNumThreads()}")
    print(f"{'operation':<10} {'ozu ms':>14} {'OpenCV ms':>14} {'ozu Mpx/s':>10} "
          f"{'OpenCV Mpx/s':>13} {'ratio':>6}")
    for name, ours, theirs in cases:
        (our_median, our_best), (cv_median, cv_best) = timed(ours, args.runs), timed(theirs,
                                                                                    args.runs)
        print(f"{name:<10} {our_median * 1e3:7.2f}/{our_best * 1e3:6.2f} "
              f"{cv_median * 1e3:7.2f}/{cv_best * 1e3:6.2f} {pixels / our_median / 1e6:10.0f} "
              f"{pixels / cv_median / 1e6:13.0f} {cv_median / our_median:6.2f}")
    two_threads(rgb, args.runs)


def two_threads(rgb, runs):
    """Two Python threads converting at once (one thread each), against the
    same calls one after the other: the GIL is released for each call."""
    def work():
        for _ in range(runs // 5 + 1):
            ozu_color.convert(rgb, "HSV", threads=1)

    start = time.perf_counter()
    work()
    work()
    serial = time.perf_counter() - start
    threads = [threading.Thread(target=work) for _ in range(2)]
    start = time.perf_counter()
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    together = time.perf_counter() - start
    print(f"RGB->HSV on one thread each, two Python threads at once: {together * 1e3:.0f} ms, "
          f"one after the other: {serial * 1e3:.0f} ms ({together / serial:.2f})")


if __name__ == "__main__":
    main()
