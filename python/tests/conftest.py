"""Shared fixtures: seeded images, and bands small enough that the small
test images are cut into many (the last one shorter), as large ones are."""

import numpy as np
import pytest

from ozu_color import _core

MAXIMA = {np.dtype(np.int8): 127, np.dtype(np.uint8): 255, np.dtype(np.int16): 32767,
          np.dtype(np.uint16): 65535}
DTYPES = [np.int8, np.uint8, np.int16, np.uint16]
LAYOUTS = ["interleaved", "planar"]

# Odd sizes, so that no band, line or vector step comes out even.
HEIGHT, WIDTH = 29, 37


@pytest.fixture(autouse=True)
def small_bands():
    _core._set_band_pixels(2 * WIDTH)
    yield
    _core._set_band_pixels(0)


def random_image(shape, dtype, seed=1):
    """Pixels over the dtype's whole range."""
    info = np.iinfo(np.dtype(dtype))
    rng = np.random.default_rng(seed)
    return rng.integers(info.min, info.max, size=shape, endpoint=True, dtype=dtype)


def with_hue_max(img, layout, dtype, every=7):
    """Sets plane 0 of every ``every``-th pixel to the type's colour maximum:
    a hue at its maximum, which HSV conversions treat apart."""
    img = img.copy()
    plane0 = img[..., 0] if layout == "interleaved" else img[..., 0, :, :]
    flat = plane0.reshape(-1)
    flat[::every] = MAXIMA[np.dtype(dtype)]
    if layout == "interleaved":
        img[..., 0] = flat.reshape(plane0.shape)
    else:
        img[..., 0, :, :] = flat.reshape(plane0.shape)
    return img


def colour_shape(layout, stack=()):
    if layout == "interleaved":
        return tuple(stack) + (HEIGHT, WIDTH, 3)
    return tuple(stack) + (3, HEIGHT, WIDTH)


def assert_same(actual, expected):
    """Bit for bit, same shape and dtype; shows the first differing pixel."""
    assert actual.dtype == expected.dtype, (actual.dtype, expected.dtype)
    assert actual.shape == expected.shape, (actual.shape, expected.shape)
    differ = np.argwhere(actual != expected)
    if differ.size:
        where = tuple(differ[0])
        raise AssertionError(f"{len(differ)} values differ; first at {where}: "
                             f"{actual[where]} where the library gives {expected[where]}")
