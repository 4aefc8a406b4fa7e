"""Arrays as users hold them: stacks, out=, views, read-only and byte-swapped
inputs, layouts against each other, round trips, band sizes."""

import numpy as np
import pytest

import ozu_color
import reference as ref
from conftest import (HEIGHT, LAYOUTS, WIDTH, assert_same, colour_shape, random_image,
                      with_hue_max)
from ozu_color import _core

# One operation of each way of running: banded, whole, mosaic, grey in and out.
OPERATIONS = {
    "rgb_to_hsv": (3, lambda img, **kw: ozu_color.convert(img, "HSV", **kw)),
    "hsv_to_yuv": (3, lambda img, **kw: ozu_color.convert(img, "YUV", "HSV", **kw)),
    "hsv_threshold": (3, lambda img, **kw: ozu_color.threshold(
        img, "HLS", ((0, 200), (10, 255), (0, 90)), "HSV", **kw)),
    "to_grey": (3, lambda img, **kw: ozu_color.to_grey(img, (0.5, 0.25, 0.25), **kw)),
    "to_colour": (1, lambda img, **kw: ozu_color.to_colour(img, (0.5, 0.25, 1), **kw)),
    "demosaic": (1, lambda img, **kw: ozu_color.demosaic(img, "GRBG", **kw)),
}


def image(planes, layout, stack=(), dtype=np.uint8, seed=1):
    if planes == 1:
        return random_image(tuple(stack) + (HEIGHT, WIDTH), dtype, seed)
    return with_hue_max(random_image(colour_shape(layout, stack), dtype, seed), layout, dtype)


@pytest.mark.parametrize("name", OPERATIONS)
@pytest.mark.parametrize("stack", [(4,), (2, 3)])
@pytest.mark.parametrize("layout", LAYOUTS)
def test_a_stack_is_its_images_converted_apart(name, stack, layout):
    planes, op = OPERATIONS[name]
    imgs = image(planes, layout, stack)
    got = op(imgs, layout=layout)
    for index in np.ndindex(*stack):
        assert_same(got[index], op(imgs[index], layout=layout))


def test_a_stack_matches_the_library_image_by_image():
    # An HSV stack converted into YUV, against the library called on each
    # image (the library itself carries lines from one image into the next).
    imgs = image(3, "interleaved", (2, 3))
    code = ref.code(8, 1024)
    got = ozu_color.convert(imgs, "YUV", "HSV")
    for index in np.ndindex(2, 3):
        canon = ref.canonical(imgs[index], 3)
        want = ref.package_form(ref.call(lambda s, d: ref.color.COL_ConvertColorSpace(s, d, code),
                                         canon, 3), ())
        assert_same(got[index], want)


def test_a_per_pixel_stack_matches_the_library_as_one_buffer():
    # The stack as the host's extents: image (j, i) is block (i, j).
    imgs = image(3, "planar", (2, 3), np.int16)
    code = ref.code(16, 256)
    canon = ref.canonical(imgs, 3, "planar")
    assert canon.shape[:2] == (2, 3)
    want = ref.package_form(ref.call(lambda s, d: ref.color.COL_ConvertColorSpace(s, d, code),
                                     canon, 3), (2, 3), "planar")
    assert_same(ozu_color.convert(imgs, "YCC", layout="planar"), want)


@pytest.mark.parametrize("name", OPERATIONS)
def test_interleaved_and_planar_give_the_same_pixels(name):
    planes, op = OPERATIONS[name]
    img = image(planes, "interleaved")
    got = op(img)
    planar_in = np.ascontiguousarray(np.moveaxis(img, -1, 0)) if planes == 3 else img
    planar = op(planar_in, layout="planar")
    if planar.ndim == 3:
        planar = np.moveaxis(planar, 0, -1)
    assert_same(got, planar)


@pytest.mark.parametrize("name", OPERATIONS)
@pytest.mark.parametrize("band_pixels", [1, 3 * WIDTH, 0])
def test_band_sizes_give_the_same_bits(name, band_pixels):
    planes, op = OPERATIONS[name]
    img = image(planes, "interleaved", (2,))
    want = op(img, threads=1)
    _core._set_band_pixels(band_pixels)
    for threads in (1, 2, 3):
        assert_same(op(img, threads=threads), want)


@pytest.mark.parametrize("name", OPERATIONS)
def test_out_receives_the_result(name):
    planes, op = OPERATIONS[name]
    img = image(planes, "interleaved")
    want = op(img)
    out = np.full_like(want, 7)
    assert op(img, out=out) is out
    assert_same(out, want)
    # A strided view is written through a copy; around it nothing changes.
    big = np.full((2,) + want.shape, 9, want.dtype)
    view = big[1, ::-1]
    assert op(img[::-1], out=view) is view
    assert_same(view, op(np.ascontiguousarray(img[::-1])))
    assert (big[0] == 9).all()


def test_out_may_be_the_source():
    img = image(3, "interleaved", dtype=np.uint16)
    want = ozu_color.convert(img, "YIQ")
    assert ozu_color.convert(img, "YIQ", out=img) is img
    assert_same(img, want)


def test_views_and_read_only_inputs():
    img = image(3, "interleaved", dtype=np.int16)
    want = ozu_color.convert(np.ascontiguousarray(img[3:-2, 5::2]), "HLS")
    assert_same(ozu_color.convert(img[3:-2, 5::2], "HLS"), want)
    frozen = img.copy()
    frozen.setflags(write=False)
    assert_same(ozu_color.convert(frozen, "HLS"), ozu_color.convert(img, "HLS"))
    swapped = img.astype(img.dtype.newbyteorder(">"))
    assert_same(ozu_color.convert(swapped, "HLS"), ozu_color.convert(img, "HLS"))
    fortran = np.asfortranarray(img)
    assert_same(ozu_color.convert(fortran, "HLS"), ozu_color.convert(img, "HLS"))


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
@pytest.mark.parametrize("layout", LAYOUTS)
def test_round_trips(dtype, layout):
    # For unsigned pixels an identity twist is a copy and the inversion its
    # own inverse (signed ones lose their negative values on the way).
    img = image(3, layout, dtype=dtype)
    assert_same(ozu_color.twist(img, np.eye(4), layout=layout), img)
    cmy = ozu_color.convert(img, "CMY", layout=layout)
    assert not np.array_equal(cmy, img)
    assert_same(ozu_color.convert(cmy, "RGB", "CMY", layout=layout), img)


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
def test_interleaved_lines_of_every_width_go_into_planes_and_back(dtype):
    # The moves between interleaved pixels and planes take whole steps of
    # many pixels and then the rest: every width up to three steps and a
    # bit, each pixel of a line different, must come back as it went in.
    rng = np.random.default_rng(7)
    top = np.iinfo(dtype).max
    for width in range(1, 101):
        img = rng.integers(0, top + 1, (3, width, 3)).astype(dtype)
        assert_same(ozu_color.twist(img, np.eye(4)), img)
        # The planes come out in the channel order they went in: first and
        # last swapped come back swapped.
        swap = np.eye(4)[[2, 1, 0, 3]]
        assert_same(ozu_color.twist(img, swap), img[:, :, [2, 1, 0]])
