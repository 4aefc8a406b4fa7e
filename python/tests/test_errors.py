"""Every way a call can fail raises ozu_color.Error with the library's code
and text, and leaves the host's buffer count as it was."""

import pickle

import numpy as np
import pytest

import ozu_color
import reference as ref
from conftest import HEIGHT, WIDTH

RGB = np.zeros((HEIGHT, WIDTH, 3), np.uint8)
GREY = np.zeros((HEIGHT, WIDTH), np.uint8)
RANGES = ((0, 255), (0, 255), (0, 255))

CASES = {
    # Names and identifiers.
    "unknown space": (-506, lambda: ozu_color.convert(RGB, "hsv")),
    "unknown source space": (-506, lambda: ozu_color.convert(RGB, "HSV", frm="Lab")),
    "space of another type": (-506, lambda: ozu_color.convert(RGB, 1.5)),
    "equal spaces": (-506, lambda: ozu_color.convert(RGB, "RGB")),
    "threshold space": (-506, lambda: ozu_color.threshold(RGB, "I", RANGES)),
    "candidate space": (-506, lambda: ozu_color.max_contrast(RGB, (1, 1, 9, 1), 1, 3,
                                                             ["Luv"])),
    "demosaic target": (-506, lambda: ozu_color.demosaic(GREY, to="HSV")),
    "space_id": (-506, lambda: ozu_color.space_id("rgb")),
    # Pixel types.
    "float pixels": (-106, lambda: ozu_color.convert(RGB.astype(np.float32), "HSV")),
    "int64 from a list": (-106, lambda: ozu_color.convert(RGB.tolist(), "HSV")),
    "bool pixels": (-106, lambda: ozu_color.to_grey(RGB.astype(bool), (1, 0, 0))),
    "no array": (-106, lambda: ozu_color.convert("picture", "HSV")),
    "result dtype": (-106, lambda: ozu_color.convert(RGB, "HSV", dtype=np.float64)),
    "8 into 16 bits": (-106, lambda: ozu_color.convert(RGB, "HSV", dtype=np.uint16)),
    "16-bit threshold across spaces": (-106, lambda: ozu_color.threshold(
        RGB.astype(np.uint16), "HSV", RANGES)),
    "16-bit distance": (-106, lambda: ozu_color.distance(RGB.astype(np.uint16), 0, 1)),
    "16-bit mosaic": (-106, lambda: ozu_color.demosaic(GREY.astype(np.uint16))),
    # Shapes.
    "one dimension": (-500, lambda: ozu_color.convert(RGB[0, 0], "HSV")),
    "grey for colour": (-500, lambda: ozu_color.convert(GREY, "HSV")),
    "four channels": (-500, lambda: ozu_color.convert(np.zeros((4, 5, 4), np.uint8), "HSV")),
    "planar of two": (-500, lambda: ozu_color.convert(np.zeros((2, 5, 4), np.uint8), "HSV",
                                                      layout="planar")),
    "three stack dimensions": (-500, lambda: ozu_color.convert(
        np.zeros((2, 2, 2, 4, 5, 3), np.uint8), "HSV")),
    "grey in three stack dimensions": (-500, lambda: ozu_color.to_colour(
        np.zeros((2, 2, 2, 4, 5), np.uint8), (1, 1, 1))),
    "empty": (-1002, lambda: ozu_color.convert(np.zeros((0, 5, 3), np.uint8), "HSV")),
    "empty stack": (-1002, lambda: ozu_color.convert(np.zeros((0, 4, 5, 3), np.uint8), "HSV")),
    "tiny mosaic": (-505, lambda: ozu_color.demosaic(GREY[:1])),
    # out=.
    "out dtype": (-106, lambda: ozu_color.convert(RGB, "HSV", out=np.zeros_like(RGB, np.int8))),
    "out width": (-501, lambda: ozu_color.convert(RGB, "HSV", out=np.zeros_like(RGB[:, 1:]))),
    "out height": (-502, lambda: ozu_color.convert(RGB, "HSV", out=np.zeros_like(RGB[1:]))),
    "out planes": (-500, lambda: ozu_color.convert(RGB, "HSV", out=np.zeros_like(RGB[..., 0]))),
    "out channels": (-500, lambda: ozu_color.convert(RGB, "HSV",
                                                     out=np.zeros_like(RGB[..., :2]))),
    "out extent 2": (-503, lambda: ozu_color.convert(np.stack([RGB] * 3), "HSV",
                                                     out=np.zeros_like(np.stack([RGB] * 2)))),
    "out extent 3": (-504, lambda: ozu_color.convert(
        np.zeros((2, 3, 4, 5, 3), np.uint8), "HSV", out=np.zeros((4, 3, 4, 5, 3), np.uint8))),
    "out read-only": (-505, lambda: ozu_color.convert(RGB, "HSV",
                                                      out=np.broadcast_to(RGB, RGB.shape))),
    "out no array": (-505, lambda: ozu_color.convert(RGB, "HSV", out=[0])),
    # Arguments.
    "layout": (-505, lambda: ozu_color.convert(RGB, "HSV", layout="packed")),
    "threads zero": (-505, lambda: ozu_color.convert(RGB, "HSV", threads=0)),
    "threads text": (-505, lambda: ozu_color.convert(RGB, "HSV", threads="all")),
    "matrix size": (-505, lambda: ozu_color.twist(RGB, np.eye(3))),
    "matrix text": (-505, lambda: ozu_color.twist(RGB, "identity")),
    "weights count": (-505, lambda: ozu_color.to_grey(RGB, (1, 1))),
    "weight above 1": (-505, lambda: ozu_color.to_grey(RGB, (1.5, 0, 0))),
    "colour weight below 0": (-505, lambda: ozu_color.to_colour(GREY, (1, -0.5, 0))),
    "ranges count": (-505, lambda: ozu_color.threshold(RGB, "HSV", RANGES[:2])),
    "range pair": (-505, lambda: ozu_color.threshold(RGB, "HSV", ((0, 1, 2), (0, 1), (0, 1)))),
    "negative bound": (-505, lambda: ozu_color.threshold(RGB, "HSV", ((-1, 9), (0, 1), (0, 1)))),
    "bound above 255": (-505, lambda: ozu_color.threshold(RGB, "HSV", ((0, 256), (0, 1), (0, 1)))),
    "low not below high": (-505, lambda: ozu_color.threshold(RGB, "HSV", ((9, 9), (0, 1),
                                                                          (0, 1)))),
    "combine": (-505, lambda: ozu_color.threshold(RGB, "HSV", RANGES, combine="none")),
    "colour channel": (-505, lambda: ozu_color.distance(RGB, (0, 0, 256), 0)),
    "colour size": (-505, lambda: ozu_color.distance(RGB, 2**40, 0)),
    "line length": (-505, lambda: ozu_color.max_contrast(RGB, (1, 1, 9), 1, 3)),
    "negative width": (-505, lambda: ozu_color.max_contrast(RGB, (1, 1, 9, 1), -1, 3)),
    "candidate shape": (-505, lambda: ozu_color.max_contrast(RGB, (1, 1, 9, 1), 1, 3,
                                                             [("RGB", "HSV", "YUV")])),
    "line outside": (-111, lambda: ozu_color.max_contrast(RGB, (1, 1, WIDTH, 1), 1, 3)),
    "even filter": (-111, lambda: ozu_color.max_contrast(RGB, (1, 1, 9, 1), 1, 4)),
    "pattern": (-505, lambda: ozu_color.demosaic(GREY, "RGBG")),
    "wavelength": (-507, lambda: ozu_color.spectral(300)),
    "wavelength text": (-505, lambda: ozu_color.spectral("green")),
    "spectral space": (-506, lambda: ozu_color.spectral(500, 2048)),
    "model token": (-506, lambda: ozu_color.model_to_long("R/Foo/G")),
    "short model token": (-506, lambda: ozu_color.model_to_short("Foo")),
    "channel index": (-505, lambda: ozu_color.extract_model("RGB", -1)),
    "tint of V": (-505, lambda: ozu_color.model_tinting("V")),
    "dask operation": (-505, lambda: __import__("ozu_color.dask").dask.apply("version", GREY)),
}


IMAGE_OPERATIONS = ("convert", "twist", "to_grey", "to_colour", "threshold", "distance",
                    "max_contrast", "demosaic")


@pytest.mark.parametrize("case", CASES)
@pytest.mark.parametrize("threads", [1, 2])
def test_failure_raises_error_with_code_and_leaks_nothing(case, threads, monkeypatch):
    # Each case once on the calling thread and once on the pool, where the
    # failure happens in a job.
    for name in IMAGE_OPERATIONS:
        operation = getattr(ozu_color, name)
        monkeypatch.setattr(ozu_color, name, lambda *a, _op=operation, **kw: _op(
            *a, **{"threads": threads, **kw}))
    code, call = CASES[case]
    before = ref.buffer_count()
    with pytest.raises(ozu_color.Error) as raised:
        call()
    error = raised.value
    assert isinstance(error, ValueError)
    assert error.code == code, str(error)
    assert error.text == ref.error_text(code)
    assert f"error {code} ({error.text})" in str(error)
    assert ref.buffer_count() == before


def test_error_survives_pickling():
    # Dask hands errors from worker processes back to the caller pickled.
    with pytest.raises(ozu_color.Error) as raised:
        ozu_color.convert(RGB, "hsv")
    copy = pickle.loads(pickle.dumps(raised.value))
    assert (copy.code, copy.text, str(copy)) == (-506, raised.value.text, str(raised.value))


def test_successes_leak_nothing_either():
    before = ref.buffer_count()
    stack = np.zeros((3, HEIGHT, WIDTH, 3), np.uint8)
    ozu_color.convert(stack, "HSV")
    ozu_color.convert(stack, "YUV", "HSV", threads=2)
    ozu_color.demosaic(GREY)
    ozu_color.max_contrast(stack, (1, 1, 9, 1), 1, 3, ["HSV"])
    ozu_color.model_tinting("H")
    assert ref.buffer_count() == before
