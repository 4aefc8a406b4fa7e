"""The C library called directly through ctypes: the reference every test of
the package compares against, on the same pixels.

Images here are held in one canonical form, ``(ext3, ext2, planes, H, W)``,
and moved into and out of host buffers plane by plane with
IPL_PutBufDataEx / IPL_GetBufDataEx, independently of the extension's own
line copies.
"""

import ctypes
import os

import numpy as np

import ozu_color  # noqa: F401  (loads the libraries the extension uses)

_DIR = os.environ.get("OZU_TEST_LIBRARY_DIR", "")


def _load(name):
    # By soname, the very library the extension has loaded; a path only when
    # the test is told where the build put it.
    path = os.path.join(_DIR, name) if _DIR and os.path.exists(os.path.join(_DIR, name)) else name
    return ctypes.CDLL(path)


color = _load("libozu_color.so.6")
base = ctypes.CDLL("libozu_base.so.6")

i32, u32, dbl = ctypes.c_int32, ctypes.c_uint32, ctypes.c_double
P32 = ctypes.POINTER(i32)

base.IPL_BufAlloc.argtypes = [P32] + [i32] * 8
base.IPL_PutBufDataEx.argtypes = [i32] * 10 + [ctypes.c_void_p, i32]
base.IPL_GetBufDataEx.argtypes = [i32] * 10 + [ctypes.c_void_p, i32]
base.IPL_BufFree.argtypes = [i32]
base.IPL_BufControl.argtypes = [i32, i32, P32]
base.IPL_GetErrorCode2.restype = i32
base.IPL_SetErrorCode.argtypes = [i32]
base.IPL_GetErrorString.restype = ctypes.c_char_p
base.IPL_GetErrorString.argtypes = [i32]
base.BASE_BufferCount.restype = i32


class BaseBuffer(ctypes.Structure):
    _fields_ = [(n, i32) for n in ("handle", "width", "height", "planes", "ext2", "ext3",
                                   "type", "kind", "pitch", "bitsPerSample", "dataPresent",
                                   "bayerParity")] + [("colorCorrection", dbl * 7)]


base.BASE_GetAtBuffer.restype = ctypes.POINTER(BaseBuffer)
base.BASE_GetAtBuffer.argtypes = [i32]

color.COL_ConvertColorSpace.argtypes = [i32, P32, u32]
color.COL_ColorTwist.argtypes = [i32, P32, ctypes.POINTER(dbl)]
color.COL_ConvertToGrayscale.argtypes = [i32, P32, dbl, dbl, dbl]
color.COL_ConvertToColor.argtypes = [i32, P32, dbl, dbl, dbl]
color.COL_Threshold.argtypes = [i32, P32, i32, i32] + [u32] * 6 + [i32]
color.COL_CalcColorDistanceImage.argtypes = [i32, P32, i32, i32]
color.COL_GetMaxContrastPlane.argtypes = [i32, P32, P32, u32, ctypes.POINTER(u32), u32, u32]
color.COL_SpectralToColor.argtypes = [i32, i32] + [ctypes.POINTER(dbl)] * 3
color.COL_ModelToLong.argtypes = [ctypes.c_char_p, ctypes.c_char_p, i32]
color.COL_ModelToShort.argtypes = [ctypes.c_char_p, ctypes.c_char_p, i32]
color.COL_ExtractModel.argtypes = [ctypes.c_char_p, i32, ctypes.c_char_p, i32]
color.COL_ModelTinting.argtypes = [ctypes.c_char_p, P32]
color.COL_GetColorSpaceID.argtypes = [ctypes.c_char_p, P32]
color.COL_GetModelFromID.argtypes = [i32, ctypes.c_char_p, i32]
color.COL_GetVersion.argtypes = [ctypes.c_char_p, i32]

TYPES = {np.dtype(np.int8): 1, np.dtype(np.uint8): 2, np.dtype(np.int16): 3,
         np.dtype(np.uint16): 4}
DTYPES = {t: d for d, t in TYPES.items()}


class LibraryFailure(Exception):
    def __init__(self, code):
        super().__init__(code)
        self.code = code


def buffer_count():
    return base.BASE_BufferCount()


def check(flag):
    if not flag:
        code = base.IPL_GetErrorCode2()
        raise LibraryFailure(code if code != 0 else -100)


def error_text(code):
    return base.IPL_GetErrorString(code).decode()


def to_host(canonical, parity=None, space=None):
    """A new host buffer holding a canonical array."""
    e3, e2, planes, h, w = canonical.shape
    t = TYPES[canonical.dtype]
    handle = i32(-1)
    check(base.IPL_BufAlloc(ctypes.byref(handle), w, h, planes, e2, e3, t, 1, 0))
    for j in range(e3):
        for i in range(e2):
            for p in range(planes):
                plane = np.ascontiguousarray(canonical[j, i, p])
                check(base.IPL_PutBufDataEx(handle, 0, 0, p, i, j, w, h, 0, plane.strides[0],
                                            plane.ctypes.data, t))
    if parity is not None:
        base.BASE_GetAtBuffer(handle).contents.bayerParity = parity
    if space is not None:
        check(base.IPL_BufControl(handle, 43, ctypes.byref(i32(space))))
    return handle.value


def from_host(handle, shape, dtype):
    """The canonical array of a host buffer of shape (ext3, ext2, planes, H, W)."""
    out = np.zeros(shape, dtype)
    e3, e2, planes, h, w = shape
    for j in range(e3):
        for i in range(e2):
            for p in range(planes):
                plane = np.zeros((h, w), dtype)
                check(base.IPL_GetBufDataEx(handle, 0, 0, p, i, j, w, h, 0, plane.strides[0],
                                            plane.ctypes.data, TYPES[np.dtype(dtype)]))
                out[j, i, p] = plane
    return out


def call(entry, canonical, result_planes, result_dtype=None, parity=None, space=None,
         one_result=False, result_flags=0):
    """Runs ``entry(src, byref(dst))`` on a canonical image and returns the
    canonical result (a new destination of the result's geometry, allocated
    with the host's ``result_flags``)."""
    result_dtype = np.dtype(result_dtype or canonical.dtype)
    e3, e2, _, h, w = canonical.shape
    if one_result:
        e3 = e2 = 1
    src = to_host(canonical, parity, space)
    dst = i32(-1)
    try:
        check(base.IPL_BufAlloc(ctypes.byref(dst), w, h, result_planes, e2, e3,
                                TYPES[result_dtype], 1, result_flags))
        base.IPL_SetErrorCode(0)
        check(entry(src, ctypes.byref(dst)))
        return from_host(dst.value, (e3, e2, result_planes, h, w), result_dtype)
    finally:
        base.IPL_BufFree(src)
        if dst.value != -1:
            base.IPL_BufFree(dst.value)


# Canonical form and the package's layouts.

def canonical(img, planes, layout="interleaved"):
    """The canonical form of a package image (stack, planes, H, W)."""
    img = np.asarray(img)
    if planes == 1:
        img = img[..., np.newaxis, :, :]
    elif layout == "interleaved":
        img = np.moveaxis(img, -1, -3)
    stack = img.shape[:-3]
    e3 = stack[0] if len(stack) == 2 else 1
    return np.ascontiguousarray(img.reshape((e3, -1) + img.shape[-3:]))


def package_form(canon, stack, layout="interleaved"):
    """A canonical array back in the package's form with the given stack."""
    planes = canon.shape[2]
    img = canon.reshape(tuple(stack) + canon.shape[2:])
    if planes == 1:
        return img[..., 0, :, :]
    if layout == "interleaved":
        return np.moveaxis(img, -3, -1)
    return img


def code(frm, to):
    return (to << 16) | frm
