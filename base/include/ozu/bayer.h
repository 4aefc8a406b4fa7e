/*
 * libozu_base: image descriptors and the Bayer-mosaic converter (C++).
 *
 * A raw camera image carries one colour sample per pixel, laid out in the
 * repeating 2x2 Bayer cell. The converter rebuilds the two missing samples of
 * every pixel by bilinear interpolation, maps each channel through a
 * gain/offset look-up table and writes packed RGB32, three 8-bit planes
 * or 8-bit grey.
 *
 * Ownership in one line: a CLPIMAGE owns its TIMAGE record (which the caller
 * obtained with malloc/calloc) but never the pixels that record points to.
 *
 * Typical use:
 *
 *     CLPIMAGE raw(static_cast<TIMAGE*>(calloc(1, sizeof(TIMAGE))));
 *     CLPIMAGE rgb(static_cast<TIMAGE*>(calloc(1, sizeof(TIMAGE))));
 *     if (raw.setImage(rawPixels, w, h, rawPitch, 8, 0) < 0 ||
 *         rgb.setImage(rgbPixels, w, h, w * 4, 32, 0) < 0) { ... }
 *     CBMConvert conv;                 // parity 0, identity tables
 *     conv.SetParity(parity);
 *     conv.SetupLUTs(1.0, 0.0, 1.0, 0.0, 1.0, 0.0);
 *     conv.RawToRGB32(raw.lpi(), rgb.lpi());   // throws std::invalid_argument
 *     raw.free_lpi();                  // frees the records, not the pixels
 *     rgb.free_lpi();
 */
#ifndef OZU_BAYER_H
#define OZU_BAYER_H

#ifndef __cplusplus
#error "ozu/bayer.h is a C++ header (the Bayer converter classes of libozu_base); the C interface is ozu/base.h and ozu/color.h"
#endif

#include <cstdint>

#include <ozu/base.h> /* OZU_BASE_API */

/**
 * Descriptor of one packed single-plane image in caller memory.
 *
 * Line r of the image starts at byte r * lineBytes of `pixels`; each pixel
 * takes bitsPerPixel / 8 bytes. The record is plain data so that callers may
 * obtain it with calloc (an all-zero record describes no image).
 */
typedef struct TIMAGE {
    uint8_t* pixels;      /**< first byte of line 0; not owned */
    int32_t width;        /**< pixels per line */
    int32_t height;       /**< lines */
    int32_t lineBytes;    /**< bytes from one line to the next */
    int32_t bitsPerPixel; /**< 8 for raw and grey, 32 for RGB32 */
    int32_t flags;        /**< reserved, 0 */
} TIMAGE;

/**
 * Holder of one TIMAGE record.
 *
 * The record is handed over by the caller (allocated with malloc or calloc)
 * and from then on belongs to this object: free_lpi() releases it with free(),
 * and so does the destructor if free_lpi() has not run. The pixels the record
 * describes always stay the caller's.
 */
class OZU_BASE_API CLPIMAGE {
public:
    /** setImage results. Every failure leaves the record unchanged. */
    enum : int32_t {
        kOk = 0,
        kNoRecord = -1,     /**< no TIMAGE record held */
        kNullPixels = -2,   /**< pixels is null */
        kBadSize = -3,      /**< width or height below 1 */
        kBadBits = -4,      /**< bitsPerPixel not one of 8, 16, ..., 64 */
        kBadLineBytes = -5, /**< lineBytes below width * bitsPerPixel / 8 */
        kBadFlags = -6      /**< flags other than 0 */
    };

    /** Holds no record. */
    CLPIMAGE() noexcept = default;
    /** Takes ownership of `record` (may be null). */
    explicit CLPIMAGE(TIMAGE* record) noexcept : record_(record) {}
    /** Frees a record still held. */
    ~CLPIMAGE();

    CLPIMAGE(const CLPIMAGE&) = delete;
    CLPIMAGE& operator=(const CLPIMAGE&) = delete;
    CLPIMAGE(CLPIMAGE&& other) noexcept : record_(other.record_) { other.record_ = nullptr; }
    CLPIMAGE& operator=(CLPIMAGE&& other) noexcept;

    /** Takes ownership of `record`, first freeing a different record held. */
    void set_lpi(TIMAGE* record) noexcept;

    /** The record held, or null. */
    TIMAGE* lpi() const noexcept { return record_; }

    /**
     * Describes caller memory in the record held.
     *
     * @param pixels       first byte of line 0 (not owned, never freed here)
     * @param width        pixels per line, >= 1
     * @param height       lines, >= 1
     * @param lineBytes    bytes from one line to the next, >= width * bitsPerPixel / 8
     * @param bitsPerPixel a multiple of 8 from 8 to 64
     * @param flags        reserved, must be 0
     * @return kOk (0), or one of the negative k... values above; on failure
     *         the record keeps its previous contents.
     */
    int32_t setImage(void* pixels, int32_t width, int32_t height, int32_t lineBytes,
                     int32_t bitsPerPixel, int32_t flags) noexcept;

    /** Frees the record with free() and forgets it; the pixels are left
     *  alone. Does nothing when no record is held. */
    void free_lpi() noexcept;

private:
    TIMAGE* record_ = nullptr;
};

/**
 * Bilinear Bayer demosaic with per-channel look-up tables.
 *
 * Parity: the colours of the top-left 2x2 cell, the cell repeating over the
 * whole image:
 *   0 = G R / B G,  1 = R G / G B,  2 = B G / G R,  3 = G B / R G.
 *
 * Demosaic, exactly: a pixel keeps its own sample for its own colour. A
 * missing sample is the mean of the nearest samples of that colour:
 *  - green at a red or blue site: the 4 orthogonal neighbours,
 *    (n + s + w + e + 2) / 4;
 *  - blue at a red site, red at a blue site: the 4 diagonal neighbours,
 *    (nw + ne + sw + se + 2) / 4;
 *  - at a green site, the colour sharing its line: the left and right
 *    neighbours, (w + e + 1) / 2; the other colour: the neighbours above and
 *    below, (n + s + 1) / 2.
 * All in integers with truncating division, i.e. means rounded half up.
 * Outside the image, coordinates are reflected without repeating the edge:
 * index -1 reads index 1 and index n reads index n - 2. The reflection moves
 * by two pixels, so it keeps the colour pattern, and a mosaic of one uniform
 * colour demosaics to that colour everywhere, borders included.
 *
 * Look-up tables: after the demosaic, channel c of value v becomes
 * clamp(round(v * gain_c + offset_c), 0, 255), computed in double with
 * separate multiply and add and rounded half away from zero (NaN gives 0).
 * Until SetupLUTs runs the tables are the identity.
 *
 * Grey: (299 R + 587 G + 114 B + 500) / 1000 in integers, after the tables:
 * 0.299 R + 0.587 G + 0.114 B rounded half up, the same bits on every host.
 *
 * Images: the source has 8 bits per pixel (the raw byte read as unsigned);
 * the destination has the source's width and height and 32 bits per pixel for
 * RawToRGB32 (bytes R, G, B, 255), 8 for RawToMono8. Both need a width and
 * height of at least 2 and non-null pixels; each image's lineBytes is honoured
 * and bytes between the end of a line and the next line are left untouched.
 * Source and destination must not overlap.
 */
class OZU_BASE_API BayerMosaicConversion {
public:
    /** @param parity 0..3, see above; std::invalid_argument otherwise. */
    explicit BayerMosaicConversion(int32_t parity = 0);
    virtual ~BayerMosaicConversion();

    BayerMosaicConversion(const BayerMosaicConversion&) = default;
    BayerMosaicConversion& operator=(const BayerMosaicConversion&) = default;

    /** Sets the parity (0..3). Throws std::invalid_argument for any other
     *  value and keeps the previous parity. */
    void SetParity(int32_t parity);
    /** The current parity, 0..3. */
    int32_t Parity() const noexcept { return parity_; }

    /** Builds the three 256-entry tables once; later conversions only look
     *  values up. Replaces any earlier tables. */
    void SetupLUTs(double gainR, double offsetR, double gainG, double offsetG, double gainB,
                   double offsetB) noexcept;

    /** Demosaics `src` (8 bits per pixel) into `dst` (32 bits per pixel, bytes
     *  R, G, B, 255). Throws std::invalid_argument when either pointer is null
     *  or either image is invalid (see above). */
    void RawToRGB32(const TIMAGE* src, TIMAGE* dst) const;

    /** Demosaics `src` (8 bits per pixel) into grey `dst` (8 bits per pixel).
     *  Throws std::invalid_argument like RawToRGB32. */
    void RawToMono8(const TIMAGE* src, TIMAGE* dst) const;
    /** Demosaics lines [firstLine, endLine) of `src` (8 bits per pixel) into
     *  three 8-bit planes, planes[0] R, planes[1] G, planes[2] B, each of the
     *  source's size: the bytes RawToRGB32 would give as bytes 0, 1 and 2 of
     *  those lines. Lines outside the range are read (as neighbours) from the
     *  source and left untouched in the planes, so that disjoint ranges may be
     *  converted by different threads. The planes must overlap neither the
     *  source nor each other. Throws std::invalid_argument like RawToRGB32,
     *  and when the range is not within 0..height. */
    void RawToPlanes8(const TIMAGE* src, TIMAGE* const planes[3], int32_t firstLine,
                      int32_t endLine) const;

private:
    int32_t parity_ = 0;
    uint8_t lut_[3][256]; // R, G, B
};

/** The converter the suite uses: a BayerMosaicConversion with parity 0. */
class OZU_BASE_API CBMConvert : public BayerMosaicConversion {
public:
    CBMConvert();
    ~CBMConvert() override;
};

#endif /* OZU_BAYER_H */
