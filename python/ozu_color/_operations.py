"""The image operations, each resolved from its arguments into a Request.

A Request knows which library entry it calls with which identifiers, the
planes and dtype of its result, and how the rows of an image may be cut
without changing a bit (``rows``), which ozu_color.dask reads to choose
between map_blocks, map_overlap and whole images. The public functions of
ozu_color and of ozu_color.dask build their Request here, so that rule lives
in one place.
"""

import numbers

import numpy as np

from . import _core
from ._error import Error

# How the rows of an image may be cut.
LINES = "lines"  # each result line depends on its source line alone
BAYER = "bayer"  # a line needs the lines above and below, in 2x2 cells from the top
IMAGE = "image"  # an image is converted whole; images of a stack are separate
STACK = "stack"  # the whole stack gives one result

# Colour-space identifiers used here (ozu/color.h).
_I, _HSV, _RGB, _BAYER = 2, 8, 16, 2048

# Bayer pattern names, the colours of the top-left 2x2 cell read row by row,
# and the host's parity numbers for them (ozu/bayer.h).
PATTERNS = {"GRBG": 0, "RGGB": 1, "BGGR": 2, "GBRG": 3}

_TYPES = {np.dtype(np.int8): 1, np.dtype(np.uint8): 2, np.dtype(np.int16): 3,
          np.dtype(np.uint16): 4}
_LAYOUTS = {"interleaved": False, "planar": True}

# Error codes the package's own checks raise (ozu/color.h).
ERR_PIXEL_TYPE = -106
ERR_RANGE = -505
ERR_COLOR_SPACE = -506


def fail(code, message):
    """Raises Error with the library's text for ``code``."""
    raise Error(code, _core.error_text(code), message)


def space(name, role):
    """The identifier of a colour space given by name or identifier."""
    if isinstance(name, numbers.Integral) and not isinstance(name, bool):
        return int(name)
    if not isinstance(name, str):
        fail(ERR_COLOR_SPACE, f"{role}: {name!r} is no colour-space name")
    if name == "Bayer":
        return _BAYER
    found = _core.space_id(name)
    if found == 0:
        fail(ERR_COLOR_SPACE, f"{role}: unknown colour space {name!r} (names are "
                              "case-sensitive; see ozu_color.spaces())")
    return found


def planes_of(space_id):
    """Intensity and the Bayer mosaic are one plane, every other space three."""
    return 1 if space_id in (_I, _BAYER) else 3


def _result_type(dtype):
    if dtype is None:
        return 0
    try:
        found = _TYPES.get(np.dtype(dtype))
    except TypeError:
        found = None
    if found is None:
        fail(ERR_PIXEL_TYPE, f"dtype={dtype!r} is not one of int8, uint8, int16, uint16")
    return found


def _planar(layout):
    if layout not in _LAYOUTS:
        fail(ERR_RANGE, f"layout={layout!r}: expected 'interleaved' or 'planar'")
    return _LAYOUTS[layout]


def _numbers(values, count, role):
    flat = np.asarray(values, dtype=np.float64).ravel() if _is_numeric(values) else None
    if flat is None or flat.size != count:
        fail(ERR_RANGE, f"{role}: expected {count} numbers, got {values!r}")
    return [float(v) for v in flat]


def _is_numeric(values):
    try:
        np.asarray(values, dtype=np.float64)
        return True
    except (TypeError, ValueError):
        return False


def _unsigned(value, role):
    if not isinstance(value, numbers.Integral) or isinstance(value, bool) or value < 0 \
            or value > 0xFFFFFFFF:
        fail(ERR_RANGE, f"{role}: expected a non-negative integer, got {value!r}")
    return int(value)


def _packed_colour(colour, role):
    """A colour as the distance image takes it: 0xAABBCC, or a triple."""
    if isinstance(colour, numbers.Integral) and not isinstance(colour, bool):
        if not -2**31 <= colour < 2**31:
            fail(ERR_RANGE, f"{role}: {colour!r} does not fit 32 bits")
        return int(colour)
    try:
        c = [int(v) for v in colour]
    except (TypeError, ValueError):
        c = None
    if c is None or len(c) != 3 or not all(0 <= v <= 255 for v in c):
        fail(ERR_RANGE, f"{role}: expected 0xRRGGBB or three values 0..255, got {colour!r}")
    return (c[0] << 16) | (c[1] << 8) | c[2]


class Request:
    """One operation with its arguments resolved.

    ``run(img, out, threads)`` applies it; ``rows`` says how rows may be
    cut; ``source_planes`` and ``result_planes`` are 1 or 3;
    ``result_dtype(dtype)`` is the dtype of the result of a source of
    ``dtype``; ``planar`` is the layout of three-plane arrays.
    """

    def __init__(self, run, rows, source_planes, result_planes, result_type, planar):
        self.run = run
        self.rows = rows
        self.source_planes = source_planes
        self.result_planes = result_planes
        self._result_type = result_type
        self.planar = planar

    def result_dtype(self, dtype):
        if self._result_type == 0:
            return np.dtype(dtype)
        return next(d for d, t in _TYPES.items() if t == self._result_type)

    def __call__(self, img, out=None, threads=None):
        if threads is None:
            threads = 0
        elif not isinstance(threads, numbers.Integral) or isinstance(threads, bool) \
                or threads < 1:
            fail(ERR_RANGE, f"threads={threads!r}: expected a positive integer or None")
        return self.run(img, out, int(threads))


def convert(to, frm="RGB", dtype=None, layout="interleaved"):
    to_id, frm_id = space(to, "to"), space(frm, "frm")
    code = ((to_id & 0xFFFF) << 16) | (frm_id & 0xFFFF)
    if frm_id == _BAYER:
        rows = BAYER
    elif frm_id == _HSV and to_id != _RGB:
        # From HSV into anything but RGB, a line passes through an
        # intermediate RGB line in which a pixel whose hue is at its maximum
        # keeps the value the previous line left there: rows depend on the
        # rows above them, so an image is converted whole.
        rows = IMAGE
    else:
        rows = LINES
    result_type, planar = _result_type(dtype), _planar(layout)
    banded = rows == LINES
    return Request(lambda img, out, threads: _core.convert(
        img, code, result_type, -1, banded, planar, out, threads),
        rows, planes_of(frm_id), planes_of(to_id), result_type, planar)


def twist(matrix, dtype=None, layout="interleaved"):
    m, result_type, planar = _numbers(matrix, 16, "matrix"), _result_type(dtype), _planar(layout)
    return Request(lambda img, out, threads: _core.twist(
        img, m, result_type, True, planar, out, threads), LINES, 3, 3, result_type, planar)


def to_grey(weights, dtype=None, layout="interleaved"):
    w, result_type, planar = _numbers(weights, 3, "weights"), _result_type(dtype), _planar(layout)
    return Request(lambda img, out, threads: _core.weighted(
        True, img, w, result_type, True, planar, out, threads), LINES, 3, 1, result_type, planar)


def to_colour(weights, dtype=None, layout="interleaved"):
    w, result_type, planar = _numbers(weights, 3, "weights"), _result_type(dtype), _planar(layout)
    return Request(lambda img, out, threads: _core.weighted(
        False, img, w, result_type, True, planar, out, threads), LINES, 1, 3, result_type,
        planar)


_COMBINE = {"all": 0, "any": 1}


def threshold(space_name, ranges, frm="RGB", combine="all", invert=False,
              layout="interleaved"):
    space_id, frm_id = space(space_name, "space"), space(frm, "frm")
    try:
        pairs = [tuple(r) for r in ranges]
    except TypeError:
        pairs = []
    if len(pairs) != 3 or not all(len(p) == 2 for p in pairs):
        fail(ERR_RANGE, f"ranges: expected three (low, high) pairs, got {ranges!r}")
    bounds = [_unsigned(v, "ranges") for pair in pairs for v in pair]
    if combine not in _COMBINE:
        fail(ERR_RANGE, f"combine={combine!r}: expected 'all' or 'any'")
    mode = _COMBINE[combine] | (2 if invert else 0)
    # The source is converted into the threshold's space first, with the
    # conversion's own rule for rows (see convert).
    rows = IMAGE if frm_id == _HSV and space_id not in (_RGB, _HSV) else LINES
    planar, banded = _planar(layout), rows == LINES
    return Request(lambda img, out, threads: _core.threshold(
        img, frm_id, space_id, bounds, mode, banded, planar, out, threads),
        rows, 3, 1, 2, planar)


def distance(colour1, colour2, layout="interleaved"):
    c1, c2 = _packed_colour(colour1, "colour1"), _packed_colour(colour2, "colour2")
    planar = _planar(layout)
    return Request(lambda img, out, threads: _core.distance(
        img, c1, c2, True, planar, out, threads), LINES, 3, 1, 2, planar)


def max_contrast(line, width, filter, candidates=(), frm="RGB", layout="interleaved"):
    frm_id = space(frm, "frm")
    codes = []
    for candidate in candidates:
        if isinstance(candidate, numbers.Integral) and not isinstance(candidate, bool):
            codes.append(int(candidate))
            continue
        if isinstance(candidate, str):
            a, b = frm_id, space(candidate, "candidates")
        else:
            try:
                a, b = (space(s, "candidates") for s in candidate)
            except (TypeError, ValueError):
                fail(ERR_RANGE, f"candidates: {candidate!r} is neither a space name nor a "
                                "(from, to) pair")
        codes.append((b << 16) | a)
    try:
        points = [_unsigned(v, "line") for v in line]
    except TypeError:
        points = []
    if len(points) != 4:
        fail(ERR_RANGE, f"line: expected (x0, y0, x1, y1), got {line!r}")
    w, f, planar = _unsigned(width, "width"), _unsigned(filter, "filter"), _planar(layout)
    return Request(lambda img, out, threads: _core.max_contrast(
        img, codes, points, w, f, frm_id, planar, out, threads), STACK, 3, 1, 0, planar)


def demosaic(pattern="RGGB", to="RGB", layout="interleaved"):
    if pattern not in PATTERNS:
        fail(ERR_RANGE, f"pattern={pattern!r}: expected one of {', '.join(PATTERNS)}")
    to_id = space(to, "to")
    if to_id not in (_RGB, _I):
        fail(ERR_COLOR_SPACE, f"to={to!r}: a mosaic is demosaiced into RGB or I only")
    parity, planar = PATTERNS[pattern], _planar(layout)
    code = (to_id << 16) | _BAYER
    return Request(lambda img, out, threads: _core.convert(
        img, code, 0, parity, False, planar, out, threads),
        BAYER, 1, planes_of(to_id), 0, planar)
