"""ozu_color.dask against the single call on the whole array, bit for bit:
on a dask.distributed cluster of two worker processes for a 4096 x 4096
image and a batch of 32 images, and on the local scheduler for the layouts
and the rules of cutting rows."""

import logging

import dask
import dask.array as da
import numpy as np
import pytest

import ozu_color
import ozu_color.dask as ozd
from conftest import assert_same, random_image, with_hue_max

distributed = pytest.importorskip("distributed")

BIG = 4096


@pytest.fixture(scope="module")
def cluster():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None, silence_logs=logging.ERROR) as c, \
            distributed.Client(c) as client:
        yield client


@pytest.fixture(scope="module")
def big_image():
    return with_hue_max(random_image((BIG, BIG, 3), np.uint8, seed=11), "interleaved", np.uint8,
                        every=5)


# Row chunks of odd sizes, so that chunk boundaries fall on odd rows too.
ODD_ROWS = 1001


@pytest.mark.parametrize("args", [("HSV",), ("RGB", "HSV"), ("YCC", "HSV")])
def test_big_image_on_a_cluster(cluster, big_image, args):
    img = da.from_array(big_image, chunks=(ODD_ROWS, BIG, 3))
    got = cluster.compute(ozd.apply(ozu_color.convert, img, *args)).result()
    assert_same(got, ozu_color.convert(big_image, *args))


@pytest.mark.parametrize("to", ["RGB", "I"])
def test_big_mosaic_on_a_cluster(cluster, to):
    raw = random_image((BIG, BIG), np.uint8, seed=12)
    mosaic = da.from_array(raw, chunks=(ODD_ROWS, 1500))
    got = cluster.compute(ozd.apply(ozu_color.demosaic, mosaic, "GBRG", to)).result()
    assert_same(got, ozu_color.demosaic(raw, "GBRG", to))


@pytest.fixture(scope="module")
def batch():
    return with_hue_max(random_image((32, 255, 263, 3), np.uint8, seed=13), "interleaved",
                        np.uint8)


@pytest.mark.parametrize("operation,args", [
    ("convert", ("HSV",)),
    ("convert", ("HLS", "HSV")),
    ("threshold", ("YUV", ((10, 200), (0, 140), (60, 255)), "HSV")),
    ("to_grey", ((0.299, 0.587, 0.114),)),
])
def test_batch_on_a_cluster(cluster, batch, operation, args):
    stack = da.from_array(batch, chunks=(5, 77, 263, 3))
    got = cluster.compute(ozd.apply(operation, stack, *args)).result()
    assert_same(got, getattr(ozu_color, operation)(batch, *args))


def test_batch_of_mosaics_on_a_cluster(cluster):
    raw = random_image((32, 255, 263), np.uint8, seed=14)
    stack = da.from_array(raw, chunks=(7, 51, 100))
    got = cluster.compute(ozd.apply(ozu_color.demosaic, stack, "BGGR")).result()
    assert_same(got, ozu_color.demosaic(raw, "BGGR"))


# The local scheduler: every way of cutting, both layouts.

@pytest.fixture
def local():
    with dask.config.set(scheduler="threads"):
        yield


def colour(shape_hw, layout, seed=15, stack=()):
    h, w = shape_hw
    shape = tuple(stack) + ((h, w, 3) if layout == "interleaved" else (3, h, w))
    return with_hue_max(random_image(shape, np.uint16, seed), layout, np.uint16, every=3)


@pytest.mark.parametrize("layout", ["interleaved", "planar"])
@pytest.mark.parametrize("operation,args", [
    ("convert", ("YIQ", "HSV")),
    ("convert", ("HSV",)),
    ("convert", ("I",)),
    ("twist", (np.eye(4) * 0.5,)),
    ("to_grey", ((0.2, 0.3, 0.5),)),
    ("max_contrast", ((1, 3, 40, 3), 3, 5, ["HSV", "YUV"])),
])
def test_layouts_locally(local, layout, operation, args):
    img = colour((57, 45), layout, stack=(3,))
    chunks = (2, 9, 45, 3) if layout == "interleaved" else (2, 3, 9, 45)
    kwargs = {"layout": layout}
    if operation == "max_contrast":
        img = img.astype(np.uint8)
    got = ozd.apply(operation, da.from_array(img, chunks=chunks), *args, **kwargs).compute()
    assert_same(got, getattr(ozu_color, operation)(img, *args, **kwargs))


@pytest.mark.parametrize("layout", ["interleaved", "planar"])
def test_grey_into_colour_locally(local, layout):
    grey = random_image((4, 33, 21), np.int16, seed=16)
    got = ozd.apply("to_colour", da.from_array(grey, chunks=(3, 5, 21)), (1, 0.5, 0.25),
                    layout=layout).compute()
    assert_same(got, ozu_color.to_colour(grey, (1, 0.5, 0.25), layout=layout))


@pytest.mark.parametrize("layout", ["interleaved", "planar"])
@pytest.mark.parametrize("rows", [(1, 1, 1, 30), (3, 5, 7, 11, 7), (33,), (2, 31)])
def test_mosaic_row_chunks_locally(local, layout, rows):
    raw = random_image((33, 27), np.uint8, seed=17)
    got = ozd.apply("demosaic", da.from_array(raw, chunks=(rows, 27)), "RGGB",
                    layout=layout).compute()
    assert_same(got, ozu_color.demosaic(raw, "RGGB", layout=layout))


def test_hue_maximum_pixels_reach_chunk_boundaries(local):
    # Converted chunk by chunk as they stand, an HSV image gives other bits
    # than the whole call: the test data exercises what the rechunking into
    # whole images is for.
    img = colour((64, 40), "interleaved").astype(np.uint8)
    naive = da.from_array(img, chunks=(7, 40, 3)).map_blocks(
        lambda c: ozu_color.convert(c, "YCC", "HSV"), dtype=np.uint8).compute()
    assert not np.array_equal(naive, ozu_color.convert(img, "YCC", "HSV"))


def test_even_row_chunks():
    from ozu_color.dask import _even_rows
    assert _even_rows((1001, 1001, 1001, 1093), 2) == (1002, 1000, 1002, 1092)
    assert _even_rows((1, 1, 1, 30), 2) == (2, 2, 29)
    assert _even_rows((33,), 2) == (33,)
    assert _even_rows((2, 31), 2) == (2, 31)
    assert _even_rows((30, 1), 2) == (31,)


def test_unknown_operation_is_refused():
    with pytest.raises(ozu_color.Error) as raised:
        ozd.apply("spectral", da.zeros((4, 4), np.uint8))
    assert raised.value.code == -505
