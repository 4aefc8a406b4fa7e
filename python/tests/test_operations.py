"""Every image operation of the package against the C library called directly
on the same pixels: every dtype, both layouts, bit for bit."""

import ctypes
import itertools

import numpy as np
import pytest

import ozu_color
import reference as ref
from conftest import (DTYPES, HEIGHT, LAYOUTS, WIDTH, assert_same, colour_shape, random_image,
                      with_hue_max)

SPACES = {name: ozu_color.space_id(name) for name in ozu_color.spaces()}
PAIRS = [(a, b) for a, b in itertools.permutations(SPACES, 2)]


def source(frm, dtype, layout, stack=(), seed=1):
    if SPACES.get(frm) == 2:  # intensity: grey
        return random_image(tuple(stack) + (HEIGHT, WIDTH), dtype, seed)
    return with_hue_max(random_image(colour_shape(layout, stack), dtype, seed), layout, dtype)


def expected(entry, img, source_planes, result_planes, layout="interleaved", result_dtype=None,
             one_result=False, **kw):
    """The library's result for a package image, in the package's form."""
    canon = ref.canonical(img, source_planes, layout)
    result = ref.call(entry, canon, result_planes, result_dtype, one_result=one_result, **kw)
    stack = () if one_result else img.shape[:img.ndim - (3 if source_planes == 3 else 2)]
    return ref.package_form(result, stack, layout)


def convert_entry(code):
    return lambda s, d: ref.color.COL_ConvertColorSpace(s, d, code)


@pytest.mark.parametrize("frm,to", PAIRS)
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("layout", LAYOUTS)
def test_convert_matches_library(frm, to, dtype, layout):
    img = source(frm, dtype, layout)
    a, b = SPACES[frm], SPACES[to]
    want = expected(convert_entry(ref.code(a, b)), img, 1 if a == 2 else 3, 1 if b == 2 else 3,
                    layout)
    assert_same(ozu_color.convert(img, to, frm, layout=layout), want)


@pytest.mark.parametrize("dtype,result", [(np.uint8, np.int8), (np.int8, np.uint8),
                                          (np.uint16, np.int16), (np.int16, np.uint16)])
@pytest.mark.parametrize("to", ["HSV", "YUV", "I", "CMY"])
def test_convert_into_another_signedness(dtype, result, to):
    img = source("RGB", dtype, "interleaved")
    b = SPACES[to]
    want = expected(convert_entry(ref.code(16, b)), img, 3, 1 if b == 2 else 3,
                    result_dtype=result)
    assert_same(ozu_color.convert(img, to, dtype=result), want)


def test_hsv_conversions_need_whole_images():
    # Cut into bands, an HSV source converted into anything but RGB gives
    # other bits at hue-maximum pixels of a band's first line; converted into
    # RGB it does not. This is why such conversions run whole.
    img = source("HSV", np.uint8, "interleaved")
    for to, same in (("YUV", False), ("HLS", False), ("RGB", True)):
        code = ref.code(8, SPACES[to])
        whole = expected(convert_entry(code), img, 3, 3)
        banded = ozu_color._core.convert(img, code, 0, -1, True, False, None, 1)
        assert np.array_equal(banded, whole) == same, to
    # The same holds for a threshold in such a space.
    bounds = [128, 255, 0, 1, 0, 1]
    whole = ozu_color._core.threshold(img, 8, 256, bounds, 1, False, False, None, 1)
    banded = ozu_color._core.threshold(img, 8, 256, bounds, 1, True, False, None, 1)
    assert not np.array_equal(banded, whole)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("layout", LAYOUTS)
@pytest.mark.parametrize("result", [None, "signedness"])
def test_twist_matches_library(dtype, layout, result):
    rng = np.random.default_rng(7)
    matrix = rng.uniform(-1.5, 1.5, (4, 4))
    img = source("RGB", dtype, layout)
    result_dtype = None if result is None else {np.int8: np.uint8, np.uint8: np.int8,
                                               np.int16: np.uint16, np.uint16: np.int16}[dtype]
    flat = (ctypes.c_double * 16)(*matrix.ravel())
    want = expected(lambda s, d: ref.color.COL_ColorTwist(s, d, flat), img, 3, 3, layout,
                    result_dtype)
    assert_same(ozu_color.twist(img, matrix, result_dtype, layout=layout), want)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("layout", LAYOUTS)
def test_to_grey_matches_library(dtype, layout):
    w = (0.299, 0.587, 0.114)
    img = source("RGB", dtype, layout)
    want = expected(lambda s, d: ref.color.COL_ConvertToGrayscale(s, d, *w), img, 3, 1, layout)
    assert_same(ozu_color.to_grey(img, w, layout=layout), want)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("layout", LAYOUTS)
def test_to_colour_matches_library(dtype, layout):
    w = (1.0, 0.8, 0.55)
    img = random_image((HEIGHT, WIDTH), dtype)
    want = expected(lambda s, d: ref.color.COL_ConvertToColor(s, d, *w), img, 1, 3, layout)
    assert_same(ozu_color.to_colour(img, w, layout=layout), want)


THRESHOLD_CASES = [("RGB", "RGB"), ("RGB", "HSV"), ("RGB", "YUV"), ("HSV", "RGB"),
                   ("HSV", "YCC"), ("HSV", "HSV"), ("YIQ", "HLS")]


@pytest.mark.parametrize("frm,space", THRESHOLD_CASES)
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("layout", LAYOUTS)
@pytest.mark.parametrize("combine,invert,mode", [("all", False, 0), ("any", True, 3)])
# The second box catches the channel 0 of YCC-like spaces where a hue at its
# maximum changes it (see test_hsv_conversions_need_whole_images).
@pytest.mark.parametrize("ranges", [((20, 200), (40, 180), (0, 255)),
                                    ((128, 255), (0, 1), (0, 1))])
def test_threshold_matches_library(frm, space, dtype, layout, combine, invert, mode, ranges):
    if np.dtype(dtype).itemsize == 2 and frm != space:
        pytest.skip("16-bit images are thresholded in their own space only")
    img = source(frm, dtype, layout)
    a, b = SPACES[frm], SPACES[space]
    bounds = [v for r in ranges for v in r]
    want = expected(lambda s, d: ref.color.COL_Threshold(s, d, a, b, *bounds, mode), img, 3, 1,
                    layout, np.uint8)
    got = ozu_color.threshold(img, space, ranges, frm, combine, invert, layout=layout)
    assert_same(got, want)


@pytest.mark.parametrize("layout", LAYOUTS)
@pytest.mark.parametrize("colours", [(0xFFFFFF, 0xFF0000), ((0, 128, 255), (30, 60, 90))])
def test_distance_matches_library(layout, colours):
    img = source("RGB", np.uint8, layout)
    packed = [c if isinstance(c, int) else (c[0] << 16) | (c[1] << 8) | c[2] for c in colours]
    want = expected(lambda s, d: ref.color.COL_CalcColorDistanceImage(s, d, *packed), img, 3, 1,
                    layout)
    assert_same(ozu_color.distance(img, *colours, layout=layout), want)


def edge_image(dtype, layout, stack=()):
    """Noise with a step in plane 2 across the middle columns."""
    img = random_image(colour_shape("planar", stack), dtype, seed=3) // 8
    img[..., 2, :, WIDTH // 2:] += np.iinfo(np.dtype(dtype)).max // 2
    return np.ascontiguousarray(np.moveaxis(img, -3, -1)) if layout == "interleaved" else img


@pytest.mark.parametrize("dtype", [np.uint8, np.int8])
@pytest.mark.parametrize("layout", LAYOUTS)
@pytest.mark.parametrize("stack", [(), (2,)])
def test_max_contrast_matches_library(dtype, layout, stack):
    line, width, filt = (2, 14, 34, 14), 3, 5
    candidates = [("RGB", "HSV"), ("RGB", "YUV"), ("RGB", "I")]
    codes = (ctypes.c_int32 * 3)(*[ref.code(SPACES[a], SPACES[b]) for a, b in candidates])
    pts = (ctypes.c_uint32 * 4)(*line)
    img = edge_image(dtype, layout, stack)
    want = expected(lambda s, d: ref.color.COL_GetMaxContrastPlane(s, d, codes, 3, pts, width,
                                                                    filt),
                    img, 3, 1, layout, one_result=True, space=16)
    got = ozu_color.max_contrast(img, line, width, filt, candidates, layout=layout)
    assert_same(got, want)
    assert got.shape == (HEIGHT, WIDTH)


@pytest.mark.parametrize("pattern", ozu_color.PATTERNS)
@pytest.mark.parametrize("to", ["RGB", "I"])
@pytest.mark.parametrize("dtype", [np.uint8, np.int8])
@pytest.mark.parametrize("layout", LAYOUTS)
def test_demosaic_matches_library(pattern, to, dtype, layout):
    raw = random_image((HEIGHT, WIDTH), dtype)
    parity = {"GRBG": 0, "RGGB": 1, "BGGR": 2, "GBRG": 3}[pattern]
    b = SPACES[to]
    # Lines without padding (alignment 1, flags 1 << 8), as the package
    # allocates a mosaic's result.
    want = expected(convert_entry(ref.code(2048, b)), raw, 1, 1 if b == 2 else 3, layout,
                    parity=parity, result_flags=1 << 8)
    assert_same(ozu_color.demosaic(raw, pattern, to, layout=layout), want)


def mosaic(rgb, pattern):
    """A Bayer mosaic sampled from an RGB image: each pixel keeps the channel
    the pattern names at its place in the 2x2 cell."""
    channel = {"R": 0, "G": 1, "B": 2}
    raw = np.zeros(rgb.shape[:2], rgb.dtype)
    for k, letter in enumerate(pattern):
        dy, dx = divmod(k, 2)
        raw[dy::2, dx::2] = rgb[dy::2, dx::2, channel[letter]]
    return raw


@pytest.mark.parametrize("pattern", ozu_color.PATTERNS)
def test_pattern_names_the_top_left_cell(pattern):
    # A mosaic of one colour demosaics to that colour everywhere, borders
    # included, only when it is read with the pattern it was made with.
    colour = np.array([200, 100, 30], np.uint8)
    rgb = np.broadcast_to(colour, (HEIGHT + 1, WIDTH + 1, 3))
    raw = mosaic(rgb, pattern)
    for other in ozu_color.PATTERNS:
        got = ozu_color.demosaic(raw, other)
        assert np.array_equal(got, rgb) == (other == pattern), (pattern, other)


def test_demosaic_of_a_scene_keeps_each_sampled_channel():
    # Every pixel keeps its own sample for its own colour.
    rgb = random_image((HEIGHT + 1, WIDTH + 1, 3), np.uint8, seed=5)
    for pattern in ozu_color.PATTERNS:
        raw = mosaic(rgb, pattern)
        got = ozu_color.demosaic(raw, pattern)
        assert np.array_equal(mosaic(got, pattern), raw)


def test_demosaic_to_grey_is_the_grey_of_the_colour_result():
    # Odd width: the grey rows must land on their own lines, not packed.
    raw = random_image((HEIGHT, WIDTH), np.uint8, seed=9)
    rgb = ozu_color.demosaic(raw, "GBRG").astype(np.int32)
    grey = (299 * rgb[..., 0] + 587 * rgb[..., 1] + 114 * rgb[..., 2] + 500) // 1000
    assert_same(ozu_color.demosaic(raw, "GBRG", "I"), grey.astype(np.uint8))


def test_convert_from_bayer_reads_the_default_pattern():
    raw = random_image((HEIGHT, WIDTH), np.uint8, seed=10)
    assert_same(ozu_color.convert(raw, "RGB", "Bayer"), ozu_color.demosaic(raw, "GRBG"))
    assert not np.array_equal(ozu_color.convert(raw, "RGB", "Bayer"),
                              ozu_color.demosaic(raw, "RGGB"))


def test_twist_rows_weigh_source_channels_and_row_3_is_an_offset():
    # As documented: result channel k = m[0][k] c0 + m[1][k] c1 + m[2][k] c2
    # + 8192 m[3][k]; column 3 is not read.
    img = np.array([[[10, 20, 30]]], dtype=np.uint8)
    m = np.zeros((4, 4))
    m[0][1] = m[1][2] = m[2][0] = 1
    m[0][3] = 0.5
    assert ozu_color.twist(img, m).tolist() == [[[30, 10, 20]]]
    m = np.eye(4)
    m[3][0] = 5 / 8192
    assert ozu_color.twist(img, m).tolist() == [[[15, 20, 30]]]
