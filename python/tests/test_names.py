"""The text and scalar functions against the library called directly."""

import ctypes

import numpy as np
import pytest

import ozu_color
import reference as ref

MODELS = ["RGB", "Red/Green/Blue", "R/500/G", "Hue/S/Value", "XYZ709", "C/M/Y", "YCrCb",
          "X/Y/Z", "I", "Yellow"]


def test_version():
    buffer = ctypes.create_string_buffer(32)
    ref.check(ref.color.COL_GetVersion(buffer, 32))
    assert ozu_color.version() == buffer.value.decode() == "6.6.0.5300"


def test_spaces_and_their_identifiers():
    names = ozu_color.spaces()
    assert names == ["CMY", "I", "HLS", "HSV", "RGB", "XYZ601", "XYZ709", "XYZITU", "YCC",
                     "YIQ", "YUV"]
    for k, name in enumerate(names):
        found = ctypes.c_int32()
        ref.check(ref.color.COL_GetColorSpaceID(name.encode(), ctypes.byref(found)))
        assert ozu_color.space_id(name) == found.value == 1 << k
        assert ozu_color.space_name(1 << k) == name
    assert ozu_color.space_id("Hue/Saturation/Value") == 8
    assert ozu_color.space_id("Bayer") == 2048
    assert ozu_color.space_name(3) == ""


def library_model(entry, model, *extra):
    out = ctypes.create_string_buffer(1024)
    ref.check(entry(model.encode(), *extra, out, 1024))
    return out.value.decode()


@pytest.mark.parametrize("model", MODELS)
def test_model_names(model):
    assert ozu_color.model_to_long(model) == library_model(ref.color.COL_ModelToLong, model)
    assert ozu_color.model_to_short(model) == library_model(ref.color.COL_ModelToShort, model)
    for index in range(4):
        assert ozu_color.extract_model(model, index) == library_model(
            ref.color.COL_ExtractModel, model, index)
    assert ozu_color.model_to_long("RGB") == "R/G/B"
    assert ozu_color.extract_model("R/500/G", 1) == "500nm"


@pytest.mark.parametrize("model", ["H", "R", "S", "I", "550nm", "RGB", "Yel"])
def test_model_tinting(model):
    lut = ctypes.c_int32(-1)
    ref.check(ref.color.COL_ModelTinting(model.encode(), ctypes.byref(lut)))
    try:
        want = ref.from_host(lut.value, (1, 1, 3, 1, 256), np.uint8)[0, 0, :, 0, :].T
    finally:
        ref.base.IPL_BufFree(lut.value)
    got = ozu_color.model_tinting(model)
    assert got.shape == (256, 3) and got.dtype == np.uint8
    assert np.array_equal(got, want)


@pytest.mark.parametrize("space", ["RGB", "HSV", "HLS", "CMY", "I", "YUV"])
@pytest.mark.parametrize("nm", [380, 383, 450, 550, 600, 779])
def test_spectral(space, nm):
    out = [ctypes.c_double() for _ in range(3)]
    ref.check(ref.color.COL_SpectralToColor(nm, ozu_color.space_id(space),
                                            *[ctypes.byref(v) for v in out]))
    assert ozu_color.spectral(nm, space) == tuple(v.value for v in out)


def test_default_threads_is_every_processor():
    import os
    assert ozu_color.default_threads() == len(os.sched_getaffinity(0)) or \
        ozu_color.default_threads() == os.cpu_count()
