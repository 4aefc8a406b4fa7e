/**
 * @file color_kernels.h
 * The kernel entries of libozu_color and its exported tables.
 *
 * A kernel entry selects, from the two pixel type codes (1..4), the template
 * instance for that (source, destination) pair and runs it over buffers that
 * the caller has already checked. Kernel entries do not use the COL_ entry
 * frame and never throw (the Bayer path excepted, see colk_convert_bm); they
 * record their own code only for an unsupported type pair, or ENOMEM when
 * their own working memory cannot be had, and otherwise leave the host's
 * code in the error slot.
 */
#ifndef OZU_COLOR_KERNELS_H
#define OZU_COLOR_KERNELS_H

#include <stdint.h>

#include <ozu/color.h>

#ifdef __cplusplus
#include <cstdbool>
extern "C" {
#else
#include <stdbool.h>
#endif

/* ------------------------------------------------------------------------ */
/** @name Colour transform kernels
 *  Called by COL_ConvertToColor(), COL_ConvertToGrayscale() and
 *  COL_ColorTwist() once they have checked both buffers. Any of the sixteen
 *  pairs of pixel type codes 1..4 is served, 8-bit with 16-bit included; the
 *  image is worked on in place in the host's memory, source locked for
 *  reading and destination for writing for the whole walk.
 */
/**@{*/

/**
 * Grey to colour with three weights (see COL_ConvertToColor()).
 * @param src one-plane source buffer.
 * @param dst points to the destination handle (three planes).
 * @param srcType,dstType pixel type codes of source and destination.
 * @param w0,w1,w2 weights, not checked here.
 * @return true on success.
 * @par Error codes
 * COL_ERR_PIXEL_TYPE (-106) for a type code outside 1..4; COL_ERR_PLANES
 * (-500) when the destination has fewer than three planes; a failing host
 * call leaves the host's code.
 */
OZU_COLOR_API bool colk_convert_to_color(int32_t src, int32_t* dst, int32_t srcType,
                                         int32_t dstType, double w0, double w1, double w2);

/**
 * Colour to grey with three weights (see COL_ConvertToGrayscale()).
 * @param src three-plane source buffer.
 * @param dst points to the destination handle (one plane).
 * @param srcType,dstType pixel type codes of source and destination.
 * @param w0,w1,w2 weights, not checked here.
 * @return true on success.
 * @par Error codes
 * COL_ERR_PIXEL_TYPE (-106) for a type code outside 1..4; COL_ERR_PLANES
 * (-500) when the source has fewer than three planes; a failing host call
 * leaves the host's code.
 */
OZU_COLOR_API bool colk_convert_to_grayscale(int32_t src, int32_t* dst, int32_t srcType,
                                             int32_t dstType, double w0, double w1, double w2);

/**
 * Colour twist of a three-plane buffer (see COL_ColorTwist()), in bands of
 * about 640 KiB of source data.
 * @param src three-plane source buffer.
 * @param dst points to the destination handle (three planes).
 * @param srcType,dstType pixel type codes of source and destination.
 * @param twist the 16 coefficients, row by row.
 * @return true on success.
 * @par Error codes
 * COL_ERR_PIXEL_TYPE (-106) for a type code outside 1..4; COL_ERR_PLANES
 * (-500) when either buffer has fewer than three planes; a failing host call
 * leaves the host's code.
 */
OZU_COLOR_API bool colk_twist(int32_t src, int32_t* dst, int32_t srcType, int32_t dstType,
                              const double* twist);

/**@}*/

/* ------------------------------------------------------------------------ */
/** @name Hue tables
 *  Three constant 256 x 256 byte tables that let 8-bit RGB be converted to
 *  HLS and HSV without division. Entry (row, column) is at index
 *  row * 256 + column, row and column 0..255. Built at compile time; shared
 *  read-only by every thread.
 */
/**@{*/

/**
 * HLS lightness: entry (row, column) = (row + column) >> 1. Read at
 * row = max, column = min of a pixel's R, G, B.
 */
OZU_COLOR_API extern const uint8_t RGB2HLS_Lightness[65536];

/**
 * HLS saturation on a 0..255 scale, read at row = max, column = min of a
 * pixel's R, G, B. Entry (r, c): 0 if r = c; otherwise with n = r - c,
 * trunc(n * 255 / (r + c)) if r + c <= 255, else trunc(n * 255 / (510 - r - c)),
 * truncated toward zero and stored as the low 8 bits (the entries with r < c
 * are negative; they wrap and are never meaningful).
 */
OZU_COLOR_API extern const uint8_t RGB2HLS_Saturation[65536];

/**
 * Two tables in one for 8-bit HSV. On and above the diagonal (r <= c) the
 * saturation on a 0..255 scale, read at row = max - min, column = max:
 * 0 if c = 0, else trunc(r * 255 / c). Below the diagonal (r > c) the hue
 * fraction within a sixth of the hue circle, read at row = max - min,
 * column = middle - min: floor(42.5 * c / r + 0.5) - 44 stored as the low 8
 * bits (a signed byte, -44 .. -2). The diagonal (r = c > 0) holds 255.
 */
OZU_COLOR_API extern const uint8_t RGB2HSV_Saturation[65536];

/**@}*/

/* ---- Colour-space conversion ------------------------------------------- */

/**
 * Converts buffer @p src into buffer *@p dst for a packed conversion code
 * (destination identifier << 16 | source identifier), line by line through at
 * most two line kernels, then records the destination's colour space
 * (attribute 43) on success only. The buffers are not checked beyond their
 * pixel types: COL_ConvertColorSpace does that.
 * @param src source buffer, locked for reading during the walk.
 * @param dst points to the destination handle, locked for writing.
 * @param srcType, dstType pixel type codes 1..4 of the two buffers.
 * @param code packed conversion code; equal spaces only adapt the range.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_PIXEL_TYPE (-106) for a type pair outside 1..4;
 * COL_ERR_WIDTH (-501) for a destination wider than the source;
 * ENOMEM when the intermediate lines cannot be had (both buffers are then
 * handed back unlocked); otherwise the host's code of a failed lock, pointer
 * request or release.
 */
OZU_COLOR_API int32_t colk_convert(int32_t src, int32_t* dst, int32_t srcType, int32_t dstType,
                                   int32_t code);

/**
 * Demosaics a single-plane 8-bit Bayer raw buffer into RGB (three planes) or
 * intensity (one plane) through the host's converter; raw to YUV has no
 * conversion and always fails.
 *
 * The source's descriptor supplies the Bayer parity (used when it is 0..3,
 * else the converter's default 0) and the look-up tables: gains c0, c2, c4
 * each multiplied by c6, offsets c1, c3, c5. The host's pointers are taken in
 * read mode and neither buffer is locked. An intensity result is copied into
 * plane 0 as one block of width x height bytes, whatever the destination's
 * line pitch: a padded destination receives the rows back to back.
 * @param src source buffer handle (one plane, with pixel data).
 * @param dst points to the destination handle (three planes for RGB, one for
 *        intensity, the source's width and height).
 * @param srcType,dstType pixel type codes; only 1 and 2 are served.
 * @param code 0x00100800 (raw to RGB), 0x00020800 (raw to intensity) or
 *        0x04000800 (raw to YUV, always 0).
 * @return nonzero on success, 0 on failure.
 * @par Error codes
 * COL_ERR_NO_BUFFER (-107) for a handle that names no buffer and
 * COL_ERR_BAYER_MEMORY (-105) for a buffer without pixel data, or for
 * working memory (the converter's image records, the packed array, the
 * list of bands) that cannot be had, are recorded and thrown as an int, for
 * the calling entry's frame (everything taken is handed back first); when
 * the memory for another thread's packed array is missing, -105 is recorded
 * and 0 returned. Every other failure
 * returns 0 and records nothing, leaving the host's current code: a type code
 * outside 1..2, a -1 handle, wrong planes or size, another code, a refused
 * host call, raw to YUV. An exception of the host's converter
 * (std::invalid_argument, e.g. for an image one pixel wide or high) is not
 * caught here; everything taken is handed back first.
 */
OZU_COLOR_API int32_t colk_convert_bm(int32_t src, int32_t* dst, int32_t srcType, int32_t dstType,
                                      int32_t code);

/* ---- Colour of a wavelength ------------------------------------------- */

/**
 * The colour of monochromatic light as three components in 0.0..1.0: the
 * chromaticity of the wavelength's 5 nm table row (the row at or below it),
 * EBU RGB with D65 white, then the requested space: 1 CMY, 2 I (component 0
 * is the grey value, 1 and 2 keep G and B), 4 HLS, 8 HSV; 16 RGB; 32, 64,
 * 128, 256, 512 and 1024 report the RGB values exactly as 16 does.
 * @param wavelength nanometres, 380..779; any other value returns 0 without
 *        a code (the entry reports it as COL_ERR_WAVELENGTH first).
 * @param space colour-space identifier.
 * @param out0, out1, out2 receive the components; untouched on failure.
 * @return 1 on success; 0 for an identifier not listed or a wavelength
 *         outside 380..779, recording no code.
 */
OZU_COLOR_API int32_t colk_spectral(int32_t wavelength, int32_t space, double* out0, double* out1,
                                    double* out2);

/* ------------------------------------------------------------------------ */
/** @name Colour analysis kernels */
/**@{*/

/**
 * The per-pixel work of COL_CalcColorDistanceImage() over two existing
 * buffers, for every block (extent 3 outer, extent 2 inner).
 *
 * Nothing is checked beyond the inquiries: the source's first three planes
 * are read as unsigned 8-bit, plane 0 of the destination is written, and
 * destination lines are addressed with the source's line pitch (the
 * destination's own pitch is not used). A one-plane source is read through
 * null plane pointers: only the entry's checks prevent that. Blocks already
 * written stay written when a later block fails.
 *
 * @param src source buffer (three planes, unsigned 8-bit).
 * @param dst destination buffer (one plane, unsigned 8-bit).
 * @param colour1, colour2 packed reference colours (see
 *        COL_CalcColorDistanceImage()).
 * @return 1 when every inquiry, pointer request and release succeeded (also
 *         when the source's extent 3 is 0 or less and nothing is done), else
 *         0.
 * @par Error codes
 * none of its own: on failure the host's code of the failing call is left.
 */
OZU_COLOR_API int32_t colk_calculate_distance_image(int32_t src, int32_t dst, int32_t colour1,
                                                    int32_t colour2);

/**@}*/

#ifdef __cplusplus
}
#endif

#endif /* OZU_COLOR_KERNELS_H */
