"""ozu_color: colour-space conversions and colour analysis on NumPy images.

Images are NumPy arrays of ``int8``, ``uint8``, ``int16`` or ``uint16``:
``H x W`` grey, ``H x W x 3`` interleaved colour, or ``3 x H x W`` planar
colour with ``layout="planar"``. Up to two leading dimensions make a stack
of images, converted in one call. Results are new arrays of the same layout
(or the caller's ``out=``, which must have the result's exact shape and
dtype). Arrays that are not C-contiguous are copied once on the way in.

Every operation releases the GIL for all of its work and runs on
``threads`` threads: by default every processor of the machine (as
OpenCV does), ``threads=1`` for the calling thread alone. The results are
the same bits for every thread count.

Bad arguments raise :class:`Error`, a ``ValueError`` carrying the library's
error code and text.

Example::

    import numpy as np, ozu_color
    rgb = np.zeros((480, 640, 3), np.uint8)
    hsv = ozu_color.convert(rgb, "HSV")                 # from RGB by default
    back = ozu_color.convert(hsv, "RGB", frm="HSV")
    grey = ozu_color.to_grey(rgb, (0.299, 0.587, 0.114))
"""

import os as _os

from . import _core
from . import _operations as _ops
from ._error import Error

_core._set_error_class(Error)
# A forked child has none of the pools' worker threads.
_os.register_at_fork(after_in_child=_core._forget_pools)

__all__ = [
    "Error", "convert", "twist", "to_grey", "to_colour", "threshold", "distance",
    "max_contrast", "demosaic", "spectral", "spaces", "space_id", "space_name",
    "model_to_long", "model_to_short", "extract_model", "model_tinting", "version",
    "default_threads", "PATTERNS",
]

PATTERNS = tuple(_ops.PATTERNS)


def convert(img, to, frm="RGB", dtype=None, *, layout="interleaved", out=None, threads=None):
    """Converts an image from colour space ``frm`` into ``to``.

    Spaces are named as the library names them (case-sensitive): ``RGB``,
    ``HSV``, ``HLS``, ``YUV``, ``YIQ``, ``YCC``, ``XYZ`` (= ``XYZ601``),
    ``XYZ709``, ``XYZITU``, ``CMY``, ``I`` (intensity, a grey ``H x W``
    image), long forms such as ``Hue/Saturation/Value`` (see
    :func:`spaces`), or given by identifier. ``frm="Bayer"`` takes a raw
    mosaic of the host's default pattern (GRBG); :func:`demosaic` names
    the pattern.

    Args:
        img: the source image (one plane for ``I``, three otherwise).
        to, frm: the destination and source colour spaces.
        dtype: the result's dtype; by default the source's. It may differ
            in signedness only (8-bit stays 8-bit, 16-bit stays 16-bit);
            values are rescaled by the types' ranges.
        layout: ``"interleaved"`` (``H x W x 3``) or ``"planar"``
            (``3 x H x W``), for source and result.
        out: an array for the result, of its exact shape and dtype.
        threads: threads to run on; None for every processor.

    Returns:
        The converted image. Hue scales are the library's own: 0..max over
        the full circle, like OpenCV's ``*_FULL`` codes but not its others.

    Raises:
        Error: an unknown space (-506), equal spaces (-506), an unsupported
            dtype or 8/16-bit mix (-106), a shape that is no image of the
            planes the space has (-500).
    """
    return _ops.convert(to, frm, dtype, layout)(img, out, threads)


def twist(img, matrix, dtype=None, *, layout="interleaved", out=None, threads=None):
    """Applies a colour twist: a 4 x 4 matrix of coefficients.

    Each result channel k is ``m[0][k] c0 + m[1][k] c1 + m[2][k] c2 +
    8192 m[3][k]`` in 13-bit fixed point (coefficients truncated to
    multiples of 1/8192), wrapping in 32 bits, then clamped to the result's
    range: rows 0 to 2 weigh the source channels, row 3 is an offset (1.0
    adds 8192 levels), and column 3 is not used.

    Args:
        img: a three-plane image.
        matrix: 16 numbers, row by row, or a 4 x 4 array-like.
        dtype, layout, out, threads: as for :func:`convert`.

    Raises:
        Error: a matrix without 16 numbers (-505), a pixel type the twist
            does not take (-106), a shape that is no three-plane image (-500).
    """
    return _ops.twist(matrix, dtype, layout)(img, out, threads)


def to_grey(img, weights, dtype=None, *, layout="interleaved", out=None, threads=None):
    """Reduces a colour image to grey, the weighted sum of its three planes.

    Args:
        img: a three-plane image.
        weights: three weights, each 0.0 to 1.0 (e.g. 0.299, 0.587, 0.114).
        dtype, layout, out, threads: as for :func:`convert`; the result is
            ``H x W``.

    Raises:
        Error: a weight outside 0..1 (-505), a pixel type not taken (-106),
            a shape that is no three-plane image (-500).
    """
    return _ops.to_grey(weights, dtype, layout)(img, out, threads)


def to_colour(img, weights, dtype=None, *, layout="interleaved", out=None, threads=None):
    """Spreads a grey image into three planes, plane k the grey value times
    ``weights[k]``.

    Args:
        img: a grey ``H x W`` image.
        weights: three weights, each 0.0 to 1.0 (1, 0.8, 0.55 gives sepia).
        dtype, out, threads: as for :func:`convert`.
        layout: the layout of the three-plane result.

    Raises:
        Error: a weight outside 0..1 (-505), a pixel type not taken (-106).
    """
    return _ops.to_colour(weights, dtype, layout)(img, out, threads)


def threshold(img, space, ranges, frm="RGB", combine="all", invert=False, *,
              layout="interleaved", out=None, threads=None):
    """Segments a colour image by a box in colour space ``space``.

    The image, in space ``frm``, is brought into ``space`` at 8 bits per
    channel; channel k is in range where ``low_k <= value <= high_k``. The
    result is a ``uint8`` ``H x W`` mask, 255 where all channels
    (``combine="all"``) or any channel (``combine="any"``) are in range, 0
    elsewhere; ``invert=True`` inverts it. Ranges do not wrap round.

    Args:
        img: a three-plane image (16-bit only when ``space == frm``).
        space: the space the ranges apply in.
        ranges: three ``(low, high)`` pairs, 0..255, each low below its high.
        frm: the image's colour space.

    Raises:
        Error: a space the threshold does not take (-506), a bound above 255
            or a low bound not below its high one (-505), a 16-bit image to
            be converted (-106).
    """
    return _ops.threshold(space, ranges, frm, combine, invert, layout)(img, out, threads)


def distance(img, colour1, colour2, *, layout="interleaved", out=None, threads=None):
    """The relative colour distance image of a ``uint8`` colour image.

    With ``d(c)`` the squared distance of a pixel to colour ``c`` divided by
    765, each result pixel is ``(d(colour1) - d(colour2)) / (d(colour2) +
    1)`` truncated: 0 where the pixel is at least as near to ``colour1`` as
    to ``colour2``, growing as it lies nearer ``colour2``.

    Args:
        img: a three-plane ``uint8`` image.
        colour1, colour2: ``0xRRGGBB`` (planes 0, 1, 2) or three values 0..255.

    Returns:
        A ``uint8`` ``H x W`` image.

    Raises:
        Error: a colour not 0..255 per channel (-505), another dtype (-106).
    """
    return _ops.distance(colour1, colour2, layout)(img, out, threads)


def max_contrast(img, line, width, filter, candidates=(), frm="RGB", *, layout="interleaved",
                 out=None, threads=None):
    """The colour plane in which an edge across a line is strongest.

    The image is sampled along the segment ``line = (x0, y0, x1, y1)`` over
    ``width`` samples across it; each candidate plane's profile along the
    line is filtered with steps ``filter`` samples wide, and the plane with
    the largest step wins. Candidates are the image's own planes, then those
    of the image converted into each of ``candidates``. That plane of the
    whole image is returned (of a stack: of the image whose plane won).

    Args:
        img: a three-plane image in colour space ``frm``.
        line: both end points inside the image, different.
        width: odd, at least 1; the strip across the line must fit the image.
        filter: odd, 3 to the line's length in samples.
        candidates: space names (converted from ``frm``), ``(from, to)``
            pairs, or conversion codes.
        frm: the image's colour space.

    Returns:
        One ``H x W`` image of the source's dtype.

    Raises:
        Error: line or filter arguments that do not fit (-111), any failure
            of a candidate's conversion.
    """
    return _ops.max_contrast(line, width, filter, candidates, frm, layout)(img, out, threads)


def demosaic(raw, pattern="RGGB", to="RGB", *, layout="interleaved", out=None, threads=None):
    """Demosaics a raw Bayer image (bilinear interpolation).

    Args:
        raw: an ``H x W`` ``uint8`` (or ``int8``) mosaic, H and W at least 2.
        pattern: the colours of the top-left 2x2 cell, row by row: ``RGGB``,
            ``GRBG``, ``GBRG`` or ``BGGR``.
        to: ``"RGB"`` for colour, ``"I"`` for grey.
        layout, out, threads: as for :func:`convert`.

    Raises:
        Error: an unknown pattern (-505), another target (-506), a 16-bit
            mosaic (-106), one smaller than 2 x 2 (-505).
    """
    return _ops.demosaic(pattern, to, layout)(raw, out, threads)


def spectral(nm, space="RGB"):
    """The colour of light of wavelength ``nm`` (380..779) as three values
    0.0..1.0 in ``space`` (CMY, I, HLS, HSV or RGB; other spaces give RGB).

    Raises:
        Error: a wavelength outside 380..779 (-507), another space (-506).
    """
    if isinstance(nm, bool) or not isinstance(nm, int):
        try:
            nm = int(nm)
        except (TypeError, ValueError):
            _ops.fail(_ops.ERR_RANGE, f"nm={nm!r} is no number")
    return _core.spectral(nm, _ops.space(space, "space"))


def spaces():
    """The short names of the library's colour spaces, by identifier."""
    return [_core.space_name(1 << k) for k in range(11)]


def space_id(name):
    """The identifier of a colour-space name (``"HSV"`` gives 8)."""
    return _ops.space(name, "name")


def space_name(id):
    """The short name of a colour-space identifier (8 gives ``"HSV"``);
    ``""`` for an identifier the library does not name."""
    return _core.space_name(id)


def model_to_long(model):
    """A model name in its channel-list form: ``"RGB"`` gives ``"R/G/B"``,
    ``"R/500/G"`` gives ``"R/500nm/G"``.

    Raises:
        Error: a token that is neither a channel nor a wavelength (-506).
    """
    return _core.model_to_long(model)


def model_to_short(model):
    """A model name in its compact form: ``"Red/Green/Blue"`` gives ``"RGB"``.

    Raises:
        Error: a token that is neither a channel nor a wavelength (-506).
    """
    return _core.model_to_short(model)


def extract_model(model, index):
    """The name of channel ``index`` (from 0) of a model: ``("RGB", 1)``
    gives ``"G"``; ``""`` past the last channel.

    Raises:
        Error: a negative index (-505), an unknown token (-506).
    """
    return _core.extract_model(model, index)


def model_tinting(model):
    """The tint table of a model's first channel: a ``uint8`` 256 x 3 array
    of red, green and blue (``"H"`` the hue rainbow, ``"R"`` black to red,
    ``"550nm"`` black to that wavelength's colour).

    Raises:
        Error: a channel without a tint (-505), an unknown token (-506).
    """
    return _core.model_tinting(model)


def version():
    """The library's version string."""
    return _core.version()


def default_threads():
    """The threads an operation runs on when ``threads`` is not given."""
    return _core.default_threads()
