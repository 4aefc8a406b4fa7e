/**
 * @file color.h
 * The exported C interface of libozu_color: colour-space conversion, colour
 * transforms, model names and colour analysis over buffers of libozu_base.
 *
 * Every COL_ entry returns 1 on success and 0 on failure. On failure the
 * reason is left as an error code in the calling thread's error slot of the
 * image-buffer host (read it with IPL_GetErrorCode2(), describe it with
 * IPL_GetErrorString()). A success does not clear that slot. No entry lets an
 * exception escape.
 *
 * Out of memory: a host allocation that fails leaves the host's code
 * (BASE_ERR_MEMORY, -1003); the colour module's own working memory leaves
 * ENOMEM, the errno value of a failed allocation (a positive code), and the
 * Bayer path's COL_ERR_BAYER_MEMORY (-105). Such a failure leaves nothing
 * allocated, locked or lent out but a destination made on request, which is
 * the caller's (COL_GetMaxContrastPlane excepted, see there).
 */
#ifndef OZU_COLOR_H
#define OZU_COLOR_H

#include <stdint.h>

#include <ozu/base.h>
#include <ozu/parallel_runner.h>

#if defined(OZU_COLOR_BUILDING) || !defined(_WIN32)
#define OZU_COLOR_API __attribute__((visibility("default")))
#else
#define OZU_COLOR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** @name Error codes the colour module records. */
/**@{*/
#define COL_ERR_UNKNOWN (-100)         /**< an exception other than an error code, errno 0 */
#define COL_ERR_NULL_POINTER (-101)    /**< a required pointer argument is null */
#define COL_ERR_VERSION_BUFFER (-104)  /**< version buffer of 10 bytes or less */
#define COL_ERR_BAYER_MEMORY (-105)    /**< Bayer working memory unavailable, or a buffer holds no data */
#define COL_ERR_PIXEL_TYPE (-106)      /**< pixel type unsupported, or 8/16-bit widths mixed */
#define COL_ERR_NO_BUFFER (-107)       /**< a handle names no existing buffer */
#define COL_ERR_PROFILE_ARGS (-111)    /**< profile line or filter arguments invalid */
#define COL_ERR_BUFFER_KIND (-123)     /**< buffer of a kind that cannot be processed */
#define COL_ERR_PLANES (-500)          /**< wrong number of planes for the buffer's role */
#define COL_ERR_WIDTH (-501)           /**< destination width differs from the source's */
#define COL_ERR_HEIGHT (-502)          /**< destination height differs */
#define COL_ERR_EXTENT2 (-503)         /**< destination extent 2 differs */
#define COL_ERR_EXTENT3 (-504)         /**< destination extent 3 differs */
#define COL_ERR_RANGE (-505)           /**< argument value out of range, or text buffer too small */
#define COL_ERR_COLOR_SPACE (-506)     /**< colour space or model invalid or undeterminable */
#define COL_ERR_WAVELENGTH (-507)      /**< wavelength outside 380..779 nm */
#define COL_ERR_RUNNER (-508)          /**< the installed parallel runner did not run every job */
/**@}*/

/** @name Colour-space identifiers: one bit per model; 0 is unknown. */
/**@{*/
#define COL_CMY 1
#define COL_I 2
#define COL_HLS 4
#define COL_HSV 8
#define COL_RGB 16
#define COL_XYZ601 32
#define COL_XYZ709 64
#define COL_XYZITU 128
#define COL_YCC 256
#define COL_YIQ 512
#define COL_YUV 1024
#define COL_BAYER 2048
/** Conversion code: destination identifier in the high half, source in the low. */
#define COL_CODE(from, to) ((uint32_t)(((uint32_t)(to) << 16) | (uint32_t)(from)))
/**@}*/

/**
 * Copies the library's version string "6.6.0.5300" with its terminating zero.
 * @param buffer receives 11 bytes; untouched on failure.
 * @param size capacity of @p buffer; must exceed 10 (signed comparison).
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_VERSION_BUFFER (-104) when @p size is 10 or less (negative included).
 */
OZU_COLOR_API int32_t COL_GetVersion(char* buffer, int32_t size);

/**
 * Copies the name of the instruction set the per-line kernels run on in this
 * process: "scalar", "sse4", "avx2" or "avx512" on x86-64, "scalar",
 * "neon", "sve" or "sve2" on 64-bit ARM, "scalar" elsewhere. It is the widest the
 * processor runs, or the one named by the environment variable OZU_CPU_TARGET
 * when this build has it and the processor runs it; any other value of that
 * variable is ignored. Compare the two to tell a caller that a request was not
 * honoured.
 * @param buffer receives the name and its terminating zero (at most 7 bytes).
 * @param size capacity of @p buffer.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_NULL_POINTER (-101) when @p buffer is null;
 * COL_ERR_RANGE (-505) when @p size cannot hold the name and its zero.
 */
OZU_COLOR_API int32_t COL_GetCpuTarget(char* buffer, int32_t size);

/**
 * Copies the 3x3 matrix of a linear conversion between RGB and XYZ601,
 * XYZ709, XYZITU, YCC, YIQ or YUV, in either direction, as the conversion
 * uses it: 13-bit fixed point (8192 stands for 1.0), row i giving output
 * channel i, column j weighing input channel j. The product alone: the
 * chroma offset that COL_ConvertColorSpace adds for YUV and YIQ (or removes
 * on the way back) is not part of it. With each value divided by 8192 and an
 * offset row of 0, COL_ColorTwist between buffers of one pixel type runs the
 * same product and truncation as the conversion.
 * @param code COL_CODE(COL_RGB, space) or COL_CODE(space, COL_RGB).
 * @param matrix receives nine values, row by row; untouched on failure.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_NULL_POINTER (-101) when @p matrix is null;
 * COL_ERR_COLOR_SPACE (-506) for any other code.
 */
OZU_COLOR_API int32_t COL_GetConversionMatrix(uint32_t code, int32_t* matrix);

/**
 * Looks a colour-space name up ("RGB", "Red/Green/Blue", "XYZ", "YCrCb", ...).
 * The comparison is exact and case-sensitive.
 * @param name zero-terminated name.
 * @param id receives the identifier, or 0 when the name is unknown (an unknown
 *        name is not an error). Not tested for null.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_NULL_POINTER (-101) when @p name is null.
 */
OZU_COLOR_API int32_t COL_GetColorSpaceID(const char* name, int32_t* id);

/**
 * Writes the short name of a colour-space identifier ("RGB", "XYZ601", ...).
 * The buffer is cleared (@p size zero bytes) before anything else; an unknown
 * identifier (0, 2048, a combination of bits) succeeds with the buffer all zero.
 * @param id colour-space identifier.
 * @param buffer receives the name, zero padded to @p size.
 * @param size capacity of @p buffer; must exceed the name's length.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_NULL_POINTER (-101) when @p buffer is null;
 * COL_ERR_RANGE (-505) when @p size does not exceed the name's length.
 */
OZU_COLOR_API int32_t COL_GetModelFromID(int32_t id, char* buffer, int32_t size);

/* ------------------------------------------------------------------------ */
/** @name Model channel names and extraction
 *  A model is named either in compact form ("RGB", "XYZ601", "HLS") or as a
 *  slash-separated channel list ("R/G/B", "X601/Y601/Z601", "H/L/S"); a list
 *  may also name spectral planes by wavelength (380..779, "500nm" in the long
 *  form, "500" in the compact one). These entries work on text only.
 */
/**@{*/

/**
 * Turns a model name or channel list into its channel-list form.
 *
 * @p out is first cleared (@p size zero bytes; a zero or negative @p size
 * clears nothing). A whole-model name ("RGB", "Red/Green/Blue", "XYZ",
 * "YCrCb", "CMY", "R", "Yellow", ...; exact and case-sensitive) gives its list
 * ("R/G/B", "X601/Y601/Z601", "Y/C/C", "C/M/Yel", "R", "Yel", ...), copied
 * zero padded to @p size. A single "Y" is yellow. Anything else is split at
 * "/" (empty fields vanish) and each token is turned into its channel name
 * ("Red" to "R", "X" and "Y" to "X601" and "Y601", "Hue" to "H") or, when it
 * begins with a number 380..779 of at most three digits, into "<n>nm".
 * "C/M/Y" is no whole-model name here: it gives "C/M/Y601".
 *
 * @warning The list path does not look at @p size: the whole result and its
 *          zero are written into @p out whatever @p size says (also when
 *          @p size is zero or negative). The caller's buffer must hold the
 *          channel list.
 *
 * @param model zero-terminated name; modified in place by the list path (it
 *        is split there, each "/" ending a token becoming a zero byte).
 * @param out receives the channel list.
 * @param size capacity of @p out; for a whole-model name it must exceed the
 *        result's length (signed comparison).
 * @return 1 on success, 0 on failure. An empty model, or one of separators
 *         only, succeeds with nothing written.
 * @par Error codes
 * COL_ERR_NULL_POINTER (-101) when @p model or @p out is null;
 * COL_ERR_RANGE (-505) when a whole-model result does not fit @p size (out
 * stays cleared);
 * COL_ERR_COLOR_SPACE (-506) when a list token is neither a wavelength
 * 380..779 nor a channel name: out then holds the channels before it,
 * zero-terminated, without a trailing "/" ("R/Foo/G" leaves "R").
 */
OZU_COLOR_API int32_t COL_ModelToLong(char* model, char* out, int32_t size);

/**
 * Turns a model name or channel list into its compact form.
 *
 * As COL_ModelToLong(), with the compact results for whole-model names
 * ("Red/Green/Blue" gives "RGB", "X601/Y601/Z601" gives "XYZ601", "C/M/Y" and
 * "C/M/Yel" give "CMY", "Yellow" gives "Yel"). A list that is no whole-model
 * name gives the same channel names as COL_ModelToLong(), but wavelengths as
 * the bare number: "R/450/G" gives "R/450/G", "Hue/S/Value" gives "H/S/V".
 *
 * @warning The list path does not look at @p size: the whole result and its
 *          zero are written into @p out whatever @p size says (also when
 *          @p size is zero or negative).
 *
 * @param model zero-terminated name; modified in place by the list path.
 * @param out receives the compact name or channel list.
 * @param size capacity of @p out; for a whole-model name it must exceed the
 *        result's length (signed comparison).
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_NULL_POINTER (-101) when @p model or @p out is null;
 * COL_ERR_RANGE (-505) when a whole-model result does not fit @p size (out
 * stays cleared);
 * COL_ERR_COLOR_SPACE (-506) when a list token is neither a wavelength
 * 380..779 nor a channel name (out holds the channels before it).
 */
OZU_COLOR_API int32_t COL_ModelToShort(char* model, char* out, int32_t size);

/**
 * Writes the name of one channel of a model: the channel numbered @p index
 * (from 0) of the model's COL_ModelToLong() form. "RGB", 1 gives "G";
 * "XYZ709", 2 gives "Z709"; "R/500/G", 1 gives "500nm"; "C/M/Y", 2 gives
 * "Y601".
 *
 * The arguments are checked in this order: @p model, @p index, @p out. Then
 * @p out is cleared (@p size zero bytes; a zero or negative @p size clears
 * nothing). On success with a channel found the error slot is set to 0. An
 * @p index at or past the channel count succeeds with @p out as cleared.
 *
 * @warning The channel name is copied into @p out without looking at
 *          @p size: @p out must hold the name and its zero (at most a few
 *          characters, or a wavelength such as "500nm").
 *
 * @param model zero-terminated name, as for COL_ModelToLong(); may be
 *        modified in place.
 * @param index channel number, from 0.
 * @param out receives the channel name.
 * @param size capacity of @p out, used only for the clearing.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_NULL_POINTER (-101) when @p model is null, or @p out is null;
 * COL_ERR_RANGE (-505) when @p index is negative (@p out untouched);
 * any code of COL_ModelToLong() on @p model, passed on unchanged (notably
 * COL_ERR_COLOR_SPACE (-506) for an unknown token anywhere in the model,
 * even past @p index).
 */
OZU_COLOR_API int32_t COL_ExtractModel(char* model, int32_t index, char* out, int32_t size);

/**@}*/

/* ------------------------------------------------------------------------ */
/** @name Model tinting
 *  The colour look-up table that shows one channel of a model in the colour
 *  it stands for.
 */
/**@{*/

/**
 * Fills a colour look-up table with the tint of a model's first channel.
 *
 * Channel 0 of @p model (as COL_ExtractModel() gives it) is reduced to its
 * compact name with COL_ModelToShort(), and line 0 of the table's planes 0, 1
 * and 2 (red, green, blue) receives a 256-entry ramp. For a linear tint,
 * entry i of plane k is the low byte of trunc(f_k x i) + o_k:
 * - "I": grey, black to white (f = 1, 1, 1);
 * - "R", "G", "B": black to that primary (f = 1 on its plane);
 * - "C", "M", "Yel": white to that colour (f = -1 on the red, green or blue
 *   plane respectively, o = 255);
 * - "S": f = 0.5, 0.5, -0.3 and o = 128, grey towards yellow (entry 255 is
 *   255, 255, 52);
 * - "H": the hue rainbow, six segments of 43, 43, 42, 42, 43 and 43 entries
 *   moving one primary by 6 per entry: red, yellow, green, cyan, blue,
 *   magenta;
 * - any other channel must be named by its wavelength ("550nm"): black to
 *   the RGB colour COL_SpectralToColor() gives for it (o = 0).
 *
 * A whole-model name is taken in its channel-list form, so "RGB" tints red
 * and "YCC" or "YIQ", whose first channel "Y" is read as yellow, tint white
 * to yellow. The table is read before it is overwritten in full; it is left
 * unchanged by any failure.
 *
 * @param model zero-terminated model name or channel list; not modified (the
 *        extraction works on a copy).
 * @param lut points to the table's handle: an existing buffer 256 wide with
 *        three planes of signed or unsigned 8-bit pixels, or -1 to create
 *        one (256 x 1, three planes, unsigned 8-bit, kind 2), whose handle is
 *        written back and stays the caller's even when a later check fails.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * checked in this order: COL_ERR_NULL_POINTER (-101) when @p model or @p lut
 * is null; the host's code when creating the table fails;
 * COL_ERR_NO_BUFFER (-107) no such buffer; COL_ERR_PLANES (-500) not three
 * planes; COL_ERR_WIDTH (-501) width not 256; COL_ERR_PIXEL_TYPE (-106) not
 * 8-bit; then any code of COL_ExtractModel() and COL_ModelToShort() on the
 * model, passed on unchanged (COL_ERR_COLOR_SPACE (-506) for a token that is
 * neither a channel name nor a wavelength 380..779, "300nm" included);
 * COL_ERR_RANGE (-505) for a known channel with no tint ("V", "L", "Q", "U",
 * "X601", "Y601", ...) or an empty model; any code of COL_SpectralToColor();
 * the host's code when reading or writing the table fails.
 * @see COL_ExtractModel, COL_ModelToShort, COL_SpectralToColor
 */
OZU_COLOR_API int32_t COL_ModelTinting(const char* model, int32_t* lut);

/**@}*/

/* ------------------------------------------------------------------------ */
/** @name Colour transforms: weighted grey and colour, colour twist
 *  Whole-image transforms between buffers of the same size and extents. The
 *  destination handle is passed by pointer: -1 asks the entry to create the
 *  destination, whose handle is then written back; the new buffer stays the
 *  caller's even when a later check fails. Source and destination must both
 *  be 8-bit or both 16-bit; signedness may differ. All arithmetic is 13-bit
 *  fixed point (8192 = 1.0) wrapping in 32 bits, and values are rescaled
 *  between pixel types by dstMax / srcMax x 8192 in single precision,
 *  truncated (ranges 127, 255, 32767, 65535).
 */
/**@{*/

/**
 * Spreads a one-plane image into three planes, plane k being the grey value
 * times @p w0, @p w1 or @p w2.
 *
 * With w = trunc(weight x 8192) and s the source pixel, plane k is
 * (s x w) >> 13 for equal pixel types and (s x w x F) >> 26 across types, F
 * the type scale; both products wrap in 32 bits (an unsigned 8-bit 255 with
 * weight 1.0 into unsigned 16-bit wraps). Nothing is clamped: the value is
 * stored truncated to the destination element.
 *
 * @param src one-plane source buffer.
 * @param dst three-plane destination buffer, or -1 to create one of the
 *        source's size and pixel type (its handle is written back).
 * @param w0,w1,w2 weights of planes 0, 1 and 2, each 0.0 to 1.0 inclusive.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * checked in this order: COL_ERR_NO_BUFFER (-107) no source buffer;
 * COL_ERR_BUFFER_KIND (-123) source of kind 14 or 15;
 * COL_ERR_RANGE (-505) a weight outside 0.0 to 1.0 or NaN (w0, w1, w2 in
 * turn); COL_ERR_PLANES (-500) source not one plane;
 * COL_ERR_PIXEL_TYPE (-106) source pixel type not 1..4; then, after creating
 * the destination when asked (a host failure passes its code on),
 * COL_ERR_NO_BUFFER (-107), COL_ERR_BUFFER_KIND (-123),
 * COL_ERR_PLANES (-500) when not three planes and COL_ERR_PIXEL_TYPE (-106)
 * for the destination; COL_ERR_PIXEL_TYPE (-106) 8-bit with 16-bit;
 * COL_ERR_WIDTH (-501), COL_ERR_HEIGHT (-502), COL_ERR_EXTENT3 (-504),
 * COL_ERR_EXTENT2 (-503) geometry differs. Host failures pass the host's code.
 */
OZU_COLOR_API int32_t COL_ConvertToColor(int32_t src, int32_t* dst, double w0, double w1,
                                         double w2);

/**
 * Reduces a three-plane image to one plane, the weighted sum of its planes.
 *
 * With w = trunc(weight x 8192), g = (s0 w0 + s1 w1 + s2 w2) >> 13 in 32-bit
 * wrap-around arithmetic; the result is g for equal pixel types and
 * (g x F) >> 13 across types, F the type scale. Nothing is clamped. Weights
 * (0.299, 0.587, 0.114) become 2449, 4808 and 933, so white 255 gives 254.
 *
 * @param src three-plane source buffer.
 * @param dst one-plane destination buffer, or -1 to create one of the
 *        source's size and pixel type (its handle is written back).
 * @param w0,w1,w2 weights of planes 0, 1 and 2, each 0.0 to 1.0 inclusive.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * as COL_ConvertToColor(), with the plane counts swapped: COL_ERR_PLANES
 * (-500) when the source is not three planes or the destination not one.
 */
OZU_COLOR_API int32_t COL_ConvertToGrayscale(int32_t src, int32_t* dst, double w0, double w1,
                                             double w2);

/**
 * Applies an affine colour matrix to a three-plane image.
 *
 * @p twist holds four rows of four: rows 0..2 weigh source planes 0..2, row 3
 * is the offset, column i (0..2) feeds destination plane i and column 3 is
 * ignored. Each coefficient becomes m = trunc(t x 8192) (saturating beyond
 * 32 bits, NaN giving INT32_MIN). Plane i is
 * a = (s0 m[i] + s1 m[4+i] + s2 m[8+i] + (m[12+i] << 13)) >> 13, rescaled as
 * (a x F) >> 13 with the type scale F, and clamped to 0..dstMax, also for
 * signed destinations. An offset of 1.0 thus adds 8192 source levels.
 * Full scale does not always reach full scale: unsigned 16-bit 65535 gives
 * 247 in unsigned 8-bit.
 *
 * @param src three-plane source buffer.
 * @param dst three-plane destination buffer, or -1 to create one of the
 *        source's size and pixel type (its handle is written back). A new
 *        buffer takes the source's extent 3 as its extent 2 and extent 2 as
 *        its extent 3, so a source whose two extents differ is then refused
 *        with COL_ERR_EXTENT3 and the new buffer is left to the caller.
 * @param twist the 16 coefficients, row by row; must not be null.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * checked in this order: COL_ERR_NO_BUFFER (-107) no source buffer;
 * COL_ERR_BUFFER_KIND (-123) source of kind 14 or 15; COL_ERR_PLANES (-500)
 * source not three planes; COL_ERR_PIXEL_TYPE (-106) source pixel type not
 * 1..4; then, after creating the destination when asked (a host failure
 * passes its code on), COL_ERR_NO_BUFFER (-107), COL_ERR_BUFFER_KIND (-123),
 * COL_ERR_PLANES (-500) and COL_ERR_PIXEL_TYPE (-106) for the destination;
 * COL_ERR_PIXEL_TYPE (-106) 8-bit with 16-bit (colk_twist() itself accepts
 * such pairs); COL_ERR_WIDTH (-501), COL_ERR_HEIGHT (-502),
 * COL_ERR_EXTENT3 (-504), COL_ERR_EXTENT2 (-503) geometry differs. Host
 * failures pass the host's code.
 */
OZU_COLOR_API int32_t COL_ColorTwist(int32_t src, int32_t* dst, const double* twist);

/**@}*/

/**
 * Converts a whole image from one colour space into another.
 *
 * The source space is the low half of @p code (read unsigned), the destination
 * space the high half (read signed). A high half of 0 takes the low half as
 * the destination and the source's recorded colour space (attribute 43) as the
 * source; a code of 0 takes both spaces from the buffers' records.
 * Checks, in order: spaces resolved and different; source exists, is not of
 * kind 14, has 1 plane (I, Bayer raw) or 3, pixel type 1..4; the destination
 * is created when *@p dst is -1 (and kept even if a later check fails);
 * destination exists, is not of kind 14 or 15, has 1 plane (I) or 3, a pixel
 * type of the source's width; width, height, extent 3, extent 2 equal.
 * Bayer raw to RGB, YUV and I go to colk_convert_bm, every other code to
 * colk_convert.
 * @param src source buffer handle.
 * @param dst points to the destination handle, or to -1 to create one of the
 *        source's size and pixel type.
 * @param code conversion code, COL_CODE(from, to).
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_COLOR_SPACE (-506) equal or undeterminable spaces;
 * COL_ERR_NO_BUFFER (-107); COL_ERR_BUFFER_KIND (-123); COL_ERR_PLANES (-500);
 * COL_ERR_PIXEL_TYPE (-106) type outside 1..4 or 8/16-bit widths mixed;
 * COL_ERR_WIDTH (-501); COL_ERR_HEIGHT (-502); COL_ERR_EXTENT3 (-504);
 * COL_ERR_EXTENT2 (-503); COL_ERR_BAYER_MEMORY (-105) from the Bayer path;
 * the host's code when a host call fails.
 * @see colk_convert, colk_convert_bm
 */
OZU_COLOR_API int32_t COL_ConvertColorSpace(int32_t src, int32_t* dst, uint32_t code);

/**
 * The colour of light of one wavelength in a colour space, as three values
 * in 0.0..1.0. Only the chromaticity counts (the brightness is discarded);
 * wavelengths use the 5 nm row at or below them (383 nm reads 380 nm).
 * @param wavelength nanometres, 380..779.
 * @param space 1 CMY, 2 I, 4 HLS, 8 HSV, 16 RGB; 32, 64, 128, 256, 512 and
 *        1024 are accepted and give the RGB values, exactly as 16.
 * @param out0, out1, out2 receive the three components; untouched on failure.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_WAVELENGTH (-507) outside 380..779 nm;
 * COL_ERR_COLOR_SPACE (-506) any other identifier.
 * @see colk_spectral, COL_ModelTinting
 */
OZU_COLOR_API int32_t COL_SpectralToColor(int32_t wavelength, int32_t space, double* out0,
                                          double* out1, double* out2);

/* ------------------------------------------------------------------------ */
/** @name Colour analysis: threshold, distance image, maximum-contrast plane
 *  Segmentation and measurement of three-plane colour images. The
 *  destination handle is passed by pointer: -1 asks the entry to create the
 *  destination, whose handle is then written back; the new buffer stays the
 *  caller's even when a later check fails.
 */
/**@{*/

/**
 * Segments a three-plane image by a box in a chosen colour space.
 *
 * The source is brought into @p thresholdSpace at unsigned 8 bits per
 * channel (copied with the host's rescaling when @p srcSpace equals
 * @p thresholdSpace, else converted with COL_ConvertColorSpace()); channel k
 * becomes 255 where lowk <= value <= highk and 0 elsewhere; the three masks
 * are combined into the one-plane destination (bitwise AND when mode bit 0
 * is clear: all channels in range; bitwise OR when it is set: any channel in
 * range); mode bit 1 then inverts the destination (bitwise NOT). Ranges do
 * not wrap: a hue range across 0 needs two calls.
 *
 * A 16-bit source reaches 8 bits only through the copy: converting it into
 * another space fails with COL_ERR_PIXEL_TYPE (-106), since the conversion
 * does not mix 8-bit and 16-bit buffers.
 *
 * Every temporary buffer (the converted image, the channel table, the three
 * plane views) is freed before the call returns, on failure too.
 *
 * @param src three-plane source buffer, pixel type 1..4.
 * @param dst one-plane 8-bit destination (pixel type 1 or 2; both receive
 *        the same bytes), or -1 to create an unsigned 8-bit one of the
 *        source's geometry.
 * @param srcSpace colour space of the source: 1, 4, 8, 16, 32, 64, 128, 256,
 *        512 or 1024 (intensity and combinations refused).
 * @param thresholdSpace colour space the ranges apply in; the same choice.
 * @param low0,high0,low1,high1,low2,high2 inclusive range of channels 0, 1
 *        and 2; each bound at most 255 and low strictly below high
 *        (0..255 accepts everything; a single value cannot be asked for).
 * @param mode 0..3: bit 0 chooses OR over AND, bit 1 inverts the result.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * checked in this order: COL_ERR_NO_BUFFER (-107) no source buffer;
 * COL_ERR_BUFFER_KIND (-123) source of kind 14 or 15; COL_ERR_PLANES (-500)
 * source not three planes; COL_ERR_PIXEL_TYPE (-106) source pixel type not
 * 1..4; then, after creating the destination when asked (a host failure
 * passes its code on), COL_ERR_NO_BUFFER (-107), COL_ERR_BUFFER_KIND (-123),
 * COL_ERR_PLANES (-500) when not one plane, COL_ERR_PIXEL_TYPE (-106) when
 * not 8-bit for the destination; COL_ERR_WIDTH (-501), COL_ERR_HEIGHT
 * (-502), COL_ERR_EXTENT3 (-504), COL_ERR_EXTENT2 (-503) geometry differs;
 * COL_ERR_COLOR_SPACE (-506) a space not accepted (@p srcSpace first);
 * COL_ERR_RANGE (-505) a bound above 255 or a low bound not below its high
 * one (channels 0, 1, 2 in turn), then a mode outside 0..3; any code of
 * COL_ConvertColorSpace() passed on unchanged; the host's code when a host
 * call fails.
 */
OZU_COLOR_API int32_t COL_Threshold(int32_t src, int32_t* dst, int32_t srcSpace,
                                    int32_t thresholdSpace, uint32_t low0, uint32_t high0,
                                    uint32_t low1, uint32_t high1, uint32_t low2, uint32_t high2,
                                    int32_t mode);

/**
 * The relative colour distance image of a three-plane unsigned 8-bit image.
 *
 * With d(c) = (squared Euclidean distance of the pixel to colour c) / 765,
 * an integer 0..255, each destination pixel is
 * (d(colour1) - d(colour2)) / (d(colour2) + 1) truncated toward zero: 0
 * wherever the pixel is at least as near to @p colour1 as to @p colour2,
 * growing as it lies nearer to @p colour2; 255 only for a pixel equal to
 * @p colour2 with @p colour1 at full distance. No square root is taken.
 *
 * A packed colour holds plane 0's value in the low byte of colour / 65536,
 * plane 1's in that of colour / 256 and plane 2's in its own low byte, the
 * divisions signed and truncating toward zero (0xRRGGBB for non-negative
 * values; -65536 is (255, 0, 0)).
 *
 * @param src three-plane buffer of kind 1, pixel type 2.
 * @param dst one-plane buffer of kind 1, pixel type 2, of the source's width,
 *        height and extents; or -1 to create one (its handle is written back).
 * @param colour1 first reference colour, whose distance is the numerator.
 * @param colour2 second reference colour, subtracted and forming the divisor.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * checked in this order: COL_ERR_NO_BUFFER (-107) no source buffer;
 * COL_ERR_BUFFER_KIND (-123) source not of kind 1; COL_ERR_PLANES (-500)
 * source not three planes; COL_ERR_PIXEL_TYPE (-106) source not unsigned
 * 8-bit; then, after creating the destination when asked (a host failure
 * passes its code on), COL_ERR_NO_BUFFER (-107), COL_ERR_BUFFER_KIND (-123),
 * COL_ERR_PLANES (-500) when not one plane, COL_ERR_PIXEL_TYPE (-106) when
 * not unsigned 8-bit, for the destination; COL_ERR_WIDTH (-501),
 * COL_ERR_HEIGHT (-502), COL_ERR_EXTENT3 (-504), COL_ERR_EXTENT2 (-503)
 * geometry differs. Host failures, also those of the kernel, pass the host's
 * code.
 * @see colk_calculate_distance_image
 */
OZU_COLOR_API int32_t COL_CalcColorDistanceImage(int32_t src, int32_t* dst, int32_t colour1,
                                                 int32_t colour2);

/**
 * Finds the colour plane in which an edge across a line is strongest and
 * writes that plane of the whole image out.
 *
 * The image is sampled along the segment (x0, y0)-(x1, y1) over @p lineWidth
 * samples across it (bilinear), and the strip summed across into one profile
 * per plane and block. The step of a profile at position k is
 * |v[k - h] - v[k + h]|, h = (filterSize - 1) / 2, the ends repeated outward.
 * Candidate 0 is the strip as it is; candidate k (1..@p count) the strip
 * converted with conversion code candidates[k - 1]. In an HLS or HSV
 * candidate, the hue plane of each block is first rotated so that the
 * best two-class threshold of its histogram, t, moves to 128 (v becomes
 * v + 128 - t modulo 256): an object whose hue straddles 0/255 then shows
 * no false edge. The largest step wins (strictly larger: on a tie the
 * earlier candidate, then the earlier block, plane and position win); the
 * whole source, converted with the winning code (as it is for candidate 0),
 * gives the winning plane of the winning block, hue planes rotated by the
 * same shift through a 256-entry table, into the destination.
 *
 * The winner's colour space is read from its attribute 43: when the
 * unconverted source wins, the source must carry a colour space, else the
 * host's failure of that inquiry is the result. Hue rotation works on
 * 8-bit data only: a 16-bit hue plane fails with the host's pixel type code.
 *
 * @warning On failure the buffers the search created so far (the strip, the
 *          profiles, converted strips or image, plane views and tables) are
 *          not freed, also not a view of the caller's source, which then
 *          cannot be freed; only a successful call frees all of them.
 *
 * @param src colour image, kind 1 (its plane count is not checked).
 * @param dst one-plane destination of kind 1 with the source's pixel type,
 *        width and height; or -1 to create one with extents 1 and 1 (its
 *        handle is written back, and kept when a later step fails).
 * @param candidates @p count conversion codes (COL_CODE(from, to)).
 * @param count number of candidates; 0 lets only the source's planes compete.
 * @param line x0, y0, x1, y1: both end points inside the image, different.
 * @param lineWidth odd, at least 1; the strip across the line must lie
 *        inside the image.
 * @param filterSize odd, 3 to the profile length max(|x1-x0|, |y1-y0|) + 1.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * checked in this order: COL_ERR_NO_BUFFER (-107) no source buffer;
 * COL_ERR_BUFFER_KIND (-123) source not of kind 1; COL_ERR_PROFILE_ARGS
 * (-111) an end point outside the image, equal end points, then a filter
 * size above the profile length, even, or below 3, a line width even or 0,
 * then a strip corner outside the image; after creating the destination
 * when asked (a host failure passes its code on), COL_ERR_NO_BUFFER (-107),
 * COL_ERR_BUFFER_KIND (-123) not kind 1, COL_ERR_PLANES (-500) not one
 * plane, COL_ERR_PIXEL_TYPE (-106) another pixel type than the source's,
 * COL_ERR_WIDTH (-501), COL_ERR_HEIGHT (-502) for the destination; any code
 * of COL_ConvertColorSpace() passed on unchanged; the host's code when a
 * host call fails.
 */
OZU_COLOR_API int32_t COL_GetMaxContrastPlane(int32_t src, int32_t* dst, const int32_t* candidates,
                                              uint32_t count, const uint32_t* line,
                                              uint32_t lineWidth, uint32_t filterSize);

/**@}*/

/* ------------------------------------------------------------------------ */
/** @name Parallel work
 *  Entries whose work goes line by line (COL_ConvertColorSpace and the
 *  kernel entries colk_convert and colk_convert_bm, COL_ColorTwist,
 *  COL_ConvertToColor, COL_ConvertToGrayscale, COL_Threshold,
 *  COL_CalcColorDistanceImage, and the conversions inside
 *  COL_GetMaxContrastPlane) cut it into bands of lines within each block of
 *  extents 2 and 3 and hand the bands to the calling thread's runner (see
 *  ozu/parallel_runner.h). Locks are taken and pointers fetched in the
 *  calling thread, as without a runner. Results, return values and error
 *  codes are the same for every runner, thread count and band size.
 */
/**@{*/

/**
 * Installs the runner for the calling thread's later calls; other threads
 * keep their own (none in a new thread). A null @p runner removes it: the
 * work then runs in the calling thread, as it always did.
 * @param runner the runner, or null.
 * @param runnerOpaque passed to every call of @p runner (a pool, say).
 * @return 1; this entry cannot fail.
 */
OZU_COLOR_API int32_t COL_SetParallelRunner(OZU_ParallelRunner runner, void* runnerOpaque);

/**
 * Reads the calling thread's runner back (null and null when none).
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_NULL_POINTER (-101) when @p runner or @p runnerOpaque is null.
 */
OZU_COLOR_API int32_t COL_GetParallelRunner(OZU_ParallelRunner* runner, void** runnerOpaque);

/**
 * Sets how many lines one band (one job) holds for the calling thread's later
 * calls: 0 (the default) sizes bands so that a band's lines stay in the
 * second-level cache. A band size changes how work is split, never a result.
 * @param lines 0, or the lines per band.
 * @return 1 on success, 0 on failure.
 * @par Error codes
 * COL_ERR_RANGE (-505) when @p lines is negative.
 */
OZU_COLOR_API int32_t COL_SetParallelBandLines(int32_t lines);

/**@}*/

#ifdef __cplusplus
}
#endif

#endif /* OZU_COLOR_H */
