"""ozu_color.dask: the package's image operations on Dask arrays.

An image or a stack of images held as a ``dask.array`` (the shapes
ozu_color takes, chunked along rows and stack dimensions; width and
channels are joined into whole chunks here) is converted chunk by chunk,
on whatever scheduler runs the graph, a ``dask.distributed`` cluster
included. The result is bit for bit the result of the single call on the
whole array::

    import dask.array as da, ozu_color, ozu_color.dask
    img = da.from_zarr(...)                              # H x W x 3 uint8
    hsv = ozu_color.dask.apply(ozu_color.convert, img, "HSV")
    raw_rgb = ozu_color.dask.apply(ozu_color.demosaic, raw, "GRBG")

How rows are cut follows what each operation reads:

- Per-pixel operations (most conversions, the twist, grey and colour, the
  threshold, the distance image) map every chunk as it is (``map_blocks``).
- A conversion from HSV into any space but RGB (and a threshold that makes
  one) reads, at pixels whose hue is at its maximum, what the line above
  left in an intermediate line: its rows are rechunked into whole images
  (stack dimensions stay chunked).
- Demosaicing reads the lines above and below in 2x2 cells: rows are
  rechunked so that every chunk starts on an even row, and each chunk is
  demosaiced with two rows of its neighbours on each side (an even count,
  so that the pattern's cell stays aligned), which are then dropped.
- The maximum-contrast plane compares all images of a stack: the whole
  array becomes one chunk.
"""

import functools

import dask.array as da
import numpy as np

from . import _operations as _ops

__all__ = ["apply"]

# Rows of the neighbouring chunks a demosaiced chunk is given on each side:
# the demosaic reads one line up and down, and the count must be even.
_BAYER_DEPTH = 2

_OPERATIONS = ("convert", "twist", "to_grey", "to_colour", "threshold", "distance",
               "max_contrast", "demosaic")


def apply(operation, array, *args, threads=1, **kwargs):
    """Applies an operation of ozu_color to a Dask array image or stack.

    Args:
        operation: a function of ozu_color (``ozu_color.convert``, ...) or its
            name: convert, twist, to_grey, to_colour, threshold, distance,
            max_contrast, demosaic.
        array: a ``dask.array.Array`` (anything else is wrapped) in the
            shape the operation takes.
        *args, **kwargs: the operation's arguments after the image (``out``
            is not taken).
        threads: threads per chunk (1 by default: Dask runs the chunks in
            parallel).

    Returns:
        A lazy ``dask.array.Array`` of the result, chunked along rows (and
        the stack) as the operation allows.

    Raises:
        Error: bad arguments, at once; bad pixels or shapes when computed.
    """
    name = operation if isinstance(operation, str) else getattr(operation, "__name__", None)
    if name not in _OPERATIONS:
        _ops.fail(_ops.ERR_RANGE, f"operation {operation!r} is none of {', '.join(_OPERATIONS)}")
    request = getattr(_ops, name)(*args, **kwargs)
    array = da.asarray(array)
    geometry = _Geometry(request, array.ndim)
    run = functools.partial(_run_chunk, name, args, kwargs, threads)
    if request.rows == _ops.BAYER:
        return _map_demosaic(request, geometry, array, run)
    if request.rows == _ops.STACK:
        array = array.rechunk(array.shape)
    elif request.rows == _ops.IMAGE:
        array = array.rechunk(geometry.whole_images(array))
    else:
        array = array.rechunk(geometry.whole_lines(array))
    return _map(request, geometry, array, run)


def _run_chunk(name, args, kwargs, threads, chunk):
    """One chunk through the operation, rebuilt where the chunk runs."""
    return getattr(_ops, name)(*args, **kwargs)(chunk, None, threads)


class _Geometry:
    """Where rows, columns and planes are in the source and the result."""

    def __init__(self, request, ndim):
        source_dims = 3 if request.source_planes == 3 else 2
        self.stack = ndim - source_dims
        if self.stack < 0:
            _ops.fail(-500, f"an array of {ndim} dimensions holds no image for this operation")
        self.ndim = ndim
        self.row = self.stack + (1 if request.source_planes == 3 and request.planar else 0)
        self.request = request

    def whole_lines(self, array):
        """Chunks with every line whole: rows and the stack as they are."""
        return {axis: -1 for axis in range(self.stack, self.ndim) if axis != self.row}

    def whole_images(self, array):
        return {axis: -1 for axis in range(self.stack, self.ndim)}

    def result_chunks(self, array, rows=None):
        """The result's chunks for a source chunked as ``array``."""
        req = self.request
        height, width = array.shape[self.row], array.shape[self.row + 1]
        stack = array.chunks[:self.stack] if req.rows != _ops.STACK else ()
        rows = rows or array.chunks[self.row]
        if req.result_planes == 1:
            return stack + (rows, (width,))
        if req.planar:
            return stack + ((3,), rows, (width,))
        return stack + (rows, (width,), (3,))

    def axes_changes(self, result_ndim):
        """drop_axis / new_axis for map_blocks between source and result."""
        req = self.request
        if req.rows == _ops.STACK:
            dropped = list(range(self.stack))
            if req.source_planes == 3:
                dropped.append(self.ndim - 1 if not req.planar else self.stack)
            return {"drop_axis": dropped} if dropped else {}
        if req.source_planes == req.result_planes:
            return {}
        if req.result_planes == 1:
            return {"drop_axis": [self.ndim - 1 if not req.planar else self.stack]}
        return {"new_axis": [result_ndim - 1 if not req.planar else self.stack]}


def _map(request, geometry, array, run):
    chunks = geometry.result_chunks(array)
    return da.map_blocks(run, array, dtype=request.result_dtype(array.dtype), chunks=chunks,
                         meta=np.empty((0,) * len(chunks), request.result_dtype(array.dtype)),
                         **geometry.axes_changes(len(chunks)))


def _even_rows(chunks, depth):
    """Row chunks whose boundaries are all even and which hold at least
    ``depth`` rows each (the last may be odd)."""
    bounds, start = [], 0
    for size in chunks:
        start += size
        bounds.append(start)
    height = bounds[-1]
    even = sorted({min(b + (b & 1), height) for b in bounds})
    out, previous = [], 0
    for b in even:
        if b - previous >= depth or b == height:
            out.append(b - previous)
            previous = b
    if len(out) > 1 and out[-1] < depth:
        last = out.pop()
        out[-1] += last
    return tuple(out)


def _map_demosaic(request, geometry, array, run):
    rows = _even_rows(array.chunks[geometry.row], _BAYER_DEPTH)
    array = array.rechunk({**geometry.whole_lines(array), geometry.row: rows})
    windows = da.overlap.overlap(array, depth={geometry.row: _BAYER_DEPTH},
                                 boundary={geometry.row: "none"})
    dtype = request.result_dtype(array.dtype)
    chunks = geometry.result_chunks(array, rows)
    # A planar colour result has its planes before the rows.
    result_row = geometry.row + (1 if request.result_planes == 3 and request.planar else 0)
    return da.map_blocks(functools.partial(_run_window, run, geometry.row, result_row), windows,
                         dtype=dtype, chunks=chunks, meta=np.empty((0,) * len(chunks), dtype),
                         **geometry.axes_changes(len(chunks)))


def _run_window(run, row, result_row, window, block_info=None):
    """Demosaics a chunk with its neighbours' rows and keeps its own."""
    info = block_info[0]
    index, count = info["chunk-location"][row], info["num-chunks"][row]
    top = _BAYER_DEPTH if index > 0 else 0
    bottom = _BAYER_DEPTH if index < count - 1 else 0
    result = run(window)
    keep = [slice(None)] * result.ndim
    keep[result_row] = slice(top, result.shape[result_row] - bottom)
    return result[tuple(keep)]
