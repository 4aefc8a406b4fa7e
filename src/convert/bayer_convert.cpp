// colk_convert_bm: Bayer raw images to RGB and intensity through the host's
// demosaic.
//
// The host's converter works on images described by TIMAGE records. The
// source plane is wrapped as it lies in the buffer. The first band of lines
// is converted into a packed temporary image and spread into the
// destination planes, as a serial walk does, so that every refusal comes in
// that walk's order; the later bands of an RGB result are demosaiced by the
// host straight into the three byte planes (no packed pixels written and
// read back), those of a grey result into the packed array and copied out.
// Everything taken on the way (host pointers, records, the temporary array) is
// held by a scoped owner, so an early return or an exception of the converter
// hands it all back, in reverse order of taking.
#include "convert/bayer_convert.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <exception>
#include <vector>

#include <ozu/base.h>
#include <ozu/bayer.h>
#include <ozu/color_kernels.h>

#include "convert/bayer_spread.h"
#include "convert/color_space_names.h"
#include "frame/allocation_hook.h"
#include "frame/cache_size.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/parallel_jobs.h"
#include "frame/pixel_types.h"

namespace ozu {
namespace {

constexpr uint32_t kRawToRGB = make_code(kSpaceBayer, kSpaceRGB);
constexpr uint32_t kRawToI = make_code(kSpaceBayer, kSpaceI);
constexpr uint32_t kRawToYUV = make_code(kSpaceBayer, kSpaceYUV);
// Any code whose destination half names intensity wants a one-plane result.
constexpr uint32_t kIntensityBit = make_code(0, kSpaceI);

// One plane of block (0, 0) lent by the host over the whole image, handed
// back with the same arguments when the owner goes. Every pointer of the
// Bayer path is taken in read mode, the destination's included, and neither
// buffer is locked. The whole image lies inside the block, so the host lends
// the buffer's own memory rather than a staging copy, and what is written
// through a read-mode pointer stays in the buffer.
class LentPlane {
public:
    LentPlane() = default;
    LentPlane(const LentPlane&) = delete;
    LentPlane& operator=(const LentPlane&) = delete;
    ~LentPlane() { release(); }

    // False, with the host's code left in the slot, when the host refuses.
    bool take(int32_t handle, int32_t plane, int32_t width, int32_t height) {
        void* pointer = nullptr;
        if (!IPL_GetPtrEx(handle, BASE_MODE_READ, 0, 0, plane, 0, 0, width, height, &pitch_,
                          &pointer))
            return false;
        handle_ = handle;
        plane_ = plane;
        width_ = width;
        height_ = height;
        pointer_ = static_cast<uint8_t*>(pointer);
        return true;
    }

    void release() noexcept {
        if (pointer_ == nullptr) return;
        IPL_ReleasePtrEx(handle_, BASE_MODE_READ, 0, 0, plane_, 0, 0, width_, height_, pointer_);
        pointer_ = nullptr;
    }

    uint8_t* data() const { return pointer_; }
    int32_t pitch() const { return pitch_; }

private:
    int32_t handle_ = -1;
    int32_t plane_ = 0;
    int32_t width_ = 0;
    int32_t height_ = 0;
    int32_t pitch_ = 0;
    uint8_t* pointer_ = nullptr;
};

// The converter runs over bands of lines rather than the whole image, so
// that its packed result is read back from the cache, not from memory, and
// a large image needs no array of its own size. A line's demosaic reads only
// the lines just above and below it, so a band is converted from a window
// of the source one line larger on each side; those lines are converted too,
// and dropped. Windows start on even lines, so each window's top-left cell
// has the image's parity: the first band starts at line 0, every later one
// on an odd line.
struct Band {
    int32_t first;        // lines [first, end) are kept
    int32_t end;
    int32_t windowFirst;  // lines [windowFirst, windowEnd) are converted
    int32_t windowEnd;
    int32_t window_lines() const { return windowEnd - windowFirst; }
};

class Bands {
public:
    // `requested` lines a band (0: sized for the cache); `whole` converts an
    // image of up to two bands' lines in one band, as a serial walk does.
    Bands(int32_t height, size_t lineBytes, int32_t requested, bool whole) : height_(height) {
        // An even step keeps every later window starting on an even line.
        const size_t lines =
            std::max<size_t>(2, requested > 0 ? size_t(requested + 1) & ~size_t{1}
                                              : bayer_band_bytes() / std::max<size_t>(lineBytes, 1) &
                                                    ~size_t{1});
        const size_t wholeUpTo = whole ? 2 * lines : lines;
        step_ = size_t(height) <= wholeUpTo ? height : int32_t(lines);
        firstStep_ = whole ? step_ : std::min(step_, kFirstBandLines);
    }
    // Lines of the largest window, the size of the packed array.
    int32_t window_lines() const { return step_ >= height_ ? height_ : std::min(height_, step_ + 2); }
    // The first band is converted by the calling thread before the others
    // are handed out (see BandConversion); when they are shared out it is
    // kept short, so the other threads wait only for a few lines. Its step
    // is even like the others.
    Band first() const {
        if (step_ >= height_) return {0, height_, 0, height_};
        const int32_t end = firstStep_ + 1;
        return {0, end, 0, std::min(height_, end + 1)};
    }
    Band next(const Band& b) const {
        const int32_t end = int32_t(std::min<int64_t>(height_, int64_t{b.end} + step_));
        return {b.end, end, b.end - 1, std::min(height_, end + 1)};
    }
    std::vector<Band> all() const {
        before_allocation("bayer: band list");
        std::vector<Band> bands{first()};
        while (bands.back().end < height_) bands.push_back(next(bands.back()));
        return bands;
    }

private:
    static constexpr int32_t kFirstBandLines = 8;
    int32_t height_;
    int32_t step_;
    int32_t firstStep_;
};

// A CLPIMAGE holding a fresh all-zero record, or none when the record cannot
// be had (see has_record).
CLPIMAGE new_image() {
    if (allocation_refused("bayer: image record")) return CLPIMAGE();
    return CLPIMAGE(static_cast<TIMAGE*>(std::calloc(1, sizeof(TIMAGE))));
}

// Records, like the packed arrays, are the path's working memory: without
// one the conversion fails with the working-memory code.
bool has_record(const CLPIMAGE& image) { return image.lpi() != nullptr; }

// The descriptor of a caller's buffer, after the two checks that raise: the
// buffer must exist and must hold pixel data.
const BASE_Buffer& checked_descriptor(int32_t handle) {
    if (!BASE_IsBufferExistent(handle)) raise(kErrNoBuffer);
    const BASE_Buffer* descriptor = BASE_GetAtBuffer(handle);
    if (descriptor == nullptr) raise(kErrNoBuffer);
    if (descriptor->dataPresent == 0) raise(kErrBayerMemory);
    return *descriptor;
}

// Bytes per pixel of the packed temporary image for a code: RGB32 keeps a
// fourth byte per pixel, intensity one; raw to YUV is sized at two although
// nothing is ever converted into it.
int32_t packed_bytes_per_pixel(uint32_t code) {
    if (code == kRawToRGB) return 4;
    if (code == kRawToI) return 1;
    return 2;
}

// One thread's packed array and the records that describe it and its
// window of the source.
struct PackedBand {
    explicit PackedBand(uint64_t bytes)
        : array(new_array(bytes)), raw(new_image()), packed(new_image()) {
        if (array) std::memset(array.get(), 0, size_t(bytes));
    }
    static uint8_t* new_array(uint64_t bytes) {
        if (allocation_refused("bayer: packed array")) return nullptr;
        return new (std::nothrow) uint8_t[size_t(bytes)];
    }
    // Whether the array and both records were had.
    bool complete() const { return array && has_record(raw) && has_record(packed); }
    std::unique_ptr<uint8_t[]> array;
    CLPIMAGE raw;
    CLPIMAGE packed;
};

// The bands of one conversion after the first: the first is demosaiced and
// spread by the calling thread before anything else, so that every failure
// the converter or the host can report comes in the order of a serial walk.
template <class D>
struct BandConversion final : ParallelWork {
    BandConversion(const CBMConvert& converter, const LentPlane& rawPlane, int32_t width,
                   int32_t bits, uint32_t code, int32_t bytesPerPixel, int64_t lineBytes,
                   uint64_t arrayBytes, std::vector<Band> bands, std::vector<PackedBand> threadBands,
                   std::exception_ptr error)
        : converter(converter), rawPlane(rawPlane), width(width), bits(bits), code(code),
          bytesPerPixel(bytesPerPixel), lineBytes(lineBytes), arrayBytes(arrayBytes),
          bands(std::move(bands)), threadBands(std::move(threadBands)), error(error) {}

    const CBMConvert& converter;
    const LentPlane& rawPlane;
    int32_t width;
    int32_t bits;
    uint32_t code;
    int32_t bytesPerPixel;
    int64_t lineBytes;
    uint64_t arrayBytes;
    std::vector<Band> bands;
    std::vector<PackedBand> threadBands;  // one per thread of the run
    std::exception_ptr error;             // the converter's, of the first failed band
    std::mutex errorMutex;
    uint32_t errorBand = std::numeric_limits<uint32_t>::max();
    const LentPlane* out[3] = {nullptr, nullptr, nullptr};
    SpreadLine<D> spread = nullptr;
    // For byte planes the bands after the first are demosaiced straight
    // into the destination, each band's lines of the whole image, with no
    // packed array between: the whole source and the three planes.
    bool straight = false;
    TIMAGE wholeRaw{};
    TIMAGE planeImages[3]{};

    // Points both images at the window of a band and demosaics it.
    bool demosaic(const Band& b, PackedBand& into) const {
        if (into.raw.setImage(rawPlane.data() + size_t(b.windowFirst) * size_t(rawPlane.pitch()),
                              width, b.window_lines(), rawPlane.pitch(), bits, 0) < 0 ||
            into.packed.setImage(into.array.get(), width, b.window_lines(), int32_t(lineBytes),
                                 bits * bytesPerPixel, 0) < 0)
            return false;
        if (code == kRawToI) {
            converter.RawToMono8(into.raw.lpi(), into.packed.lpi());
        } else {
            converter.RawToRGB32(into.raw.lpi(), into.packed.lpi());
        }
        return true;
    }

    // Bytes 0, 1, 2 of each packed pixel are R, G, B; byte 3 is dropped.
    void spread_band(const Band& b, const PackedBand& from) const {
        const uint8_t* in = from.array.get() + size_t(b.first - b.windowFirst) * size_t(lineBytes);
        if (code == kRawToRGB) {
            for (int32_t y = b.first; y < b.end; ++y, in += lineBytes) {
                D* line[3];
                for (int32_t p = 0; p < 3; ++p)
                    line[p] = reinterpret_cast<D*>(out[p]->data() +
                                                   size_t(y) * size_t(out[p]->pitch()));
                spread(in, line, width);
            }
        } else {
            // The packed rows go back to back from the start of the plane,
            // the destination's line pitch deliberately left out: a padded
            // destination receives them as one block.
            std::memcpy(out[0]->data() + size_t(b.first) * size_t(lineBytes), in,
                        size_t(b.end - b.first) * size_t(lineBytes));
        }
    }

    bool prepare(uint32_t threads) override {
        if (straight) return true;
        try {
            while (threadBands.size() < threads) {
                before_allocation("bayer: thread arrays");
                threadBands.emplace_back(arrayBytes);
                if (!threadBands.back().complete()) {
                    fail(0, kErrBayerMemory);
                    return false;
                }
            }
        } catch (const std::bad_alloc&) {
            fail(0, kErrBayerMemory);
            return false;
        }
        return true;
    }

    void run(uint32_t job, uint32_t thread) override {
        const Band& b = bands[job + 1];
        bool ok = false;
        try {
            if (straight) {
                TIMAGE* const planes[3] = {&planeImages[0], &planeImages[1], &planeImages[2]};
                converter.RawToPlanes8(&wholeRaw, planes, b.first, b.end);
                return;
            }
            ok = demosaic(b, threadBands[thread]);
        } catch (...) {
            std::lock_guard<std::mutex> lock(errorMutex);
            if (job < errorBand) {
                errorBand = job;
                error = std::current_exception();
            }
        }
        if (ok) {
            spread_band(b, threadBands[thread]);
        } else {
            fail(job, IPL_GetErrorCode2());
        }
    }
};

}  // namespace

size_t bayer_band_bytes() { return std::max<size_t>(size_t{128} << 10, l2_cache_bytes() / 2); }

template <class S, class D>
int32_t tmpl_convert_bm(int32_t source, int32_t destination, int32_t code, S*, D*) {
    const uint32_t ucode = static_cast<uint32_t>(code);
    if (source == -1 || destination == -1) return 0;

    const BASE_Buffer& src = checked_descriptor(source);
    if (src.planes != 1) return 0;
    const BASE_Buffer& dst = checked_descriptor(destination);
    if (dst.planes != ((ucode & kIntensityBit) != 0 ? 1 : 3)) return 0;
    if (dst.width != src.width || dst.height != src.height) return 0;
    const int32_t width = src.width;
    const int32_t height = src.height;

    // The descriptor's parity counts only when it names one of the four
    // cells; anything else (-1 on a new buffer) keeps the converter's own.
    CBMConvert converter;
    const int32_t parity =
        static_cast<uint32_t>(src.bayerParity) <= 3u ? src.bayerParity : converter.Parity();
    converter.SetParity(parity);

    // Gains are scaled by the common factor c6; offsets are taken as they are.
    const double* c = src.colorCorrection;
    const double lut[6] = {c[0] * c[6], c[1], c[2] * c[6], c[3], c[4] * c[6], c[5]};

    LentPlane rawPlane;
    if (!rawPlane.take(source, 0, width, height)) return 0;
    CLPIMAGE raw = new_image();
    if (!has_record(raw)) raise(kErrBayerMemory);
    if (raw.setImage(rawPlane.data(), width, height, rawPlane.pitch(), src.bitsPerSample, 0) < 0)
        return 0;

    if (ucode != kRawToRGB && ucode != kRawToI && ucode != kRawToYUV) return 0;
    const int32_t bytesPerPixel = packed_bytes_per_pixel(ucode);
    const int64_t lineBytes = int64_t{width} * bytesPerPixel;
    if (lineBytes > std::numeric_limits<int32_t>::max()) return 0;
    const RunnerSetting setting = active_runner();
    const bool serial = setting.runner == nullptr && setting.bandLines == 0;
    const Bands bands(height, size_t(lineBytes), setting.bandLines, serial);
    const uint64_t arrayBytes = uint64_t(lineBytes) * uint64_t(bands.window_lines());
    if (arrayBytes > std::numeric_limits<size_t>::max()) return 0;
    PackedBand first(arrayBytes);
    if (!first.complete()) raise(kErrBayerMemory);
    Band band = bands.first();
    if (first.packed.setImage(first.array.get(), width, band.window_lines(), int32_t(lineBytes),
                              src.bitsPerSample * bytesPerPixel, 0) < 0)
        return 0;

    BandConversion<D> work{converter, rawPlane, width, src.bitsPerSample, ucode, bytesPerPixel,
                           lineBytes, arrayBytes, {}, {}, {}};
    // There is no demosaic into YUV: the request fails, leaving whatever
    // code the host holds.
    if (ucode == kRawToYUV) return 0;
    converter.SetupLUTs(lut[0], lut[1], lut[2], lut[3], lut[4], lut[5]);
    if (!work.demosaic(band, first)) return 0;

    const int32_t planes = ucode == kRawToRGB ? 3 : 1;
    LentPlane out[3];
    for (int32_t p = 0; p < planes; ++p)
        if (!out[p].take(destination, p, width, height)) return 0;
    for (int32_t p = 0; p < planes; ++p) work.out[p] = &out[p];
    work.spread = spread_rgb32_targets<D>().active();
    work.spread_band(band, first);
    // The first band went through the packed array as a serial walk has it,
    // so every failure comes in that walk's order; the first band's
    // demosaic has accepted the source.
    if constexpr (sizeof(D) == 1) {
        if (ucode == kRawToRGB) {
            work.straight = true;
            work.wholeRaw = {rawPlane.data(), width, height, rawPlane.pitch(), 8, 0};
            for (int32_t p = 0; p < 3; ++p)
                work.planeImages[p] = {out[p].data(), width, height, out[p].pitch(), 8, 0};
        }
    }

    // The other bands, each demosaiced into the packed array of the thread
    // that takes it and spread from there.
    try {
        work.bands = bands.all();
        before_allocation("bayer: thread arrays");
        work.threadBands.push_back(std::move(first));
    } catch (const std::bad_alloc&) {
        raise(kErrBayerMemory);
    }
    if (!work.run_all(uint32_t(work.bands.size() - 1))) {
        if (work.error) std::rethrow_exception(work.error);
        return 0;
    }

    rawPlane.release();
    for (int32_t p = 0; p < planes; ++p) out[p].release();
    return 1;
}

#define OZU_X(S, D) template int32_t tmpl_convert_bm<S, D>(int32_t, int32_t, int32_t, S*, D*);
OZU_ALL_PIXEL_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu

extern "C" OZU_COLOR_API int32_t colk_convert_bm(int32_t src, int32_t* dst, int32_t srcType,
                                                 int32_t dstType, int32_t code) {
    // Only 8-bit mosaics are demosaiced: anything wider is turned away here,
    // without a code of its own, before the pair is dispatched.
    if (srcType < 1 || srcType > 2 || dstType < 1 || dstType > 2) return 0;
    const auto result = ozu::dispatch_pixel_pair(srcType, dstType, [&](auto* s, auto* d) {
        return ozu::tmpl_convert_bm(src, *dst, code, s, d);
    });
    if (!result) {
        IPL_SetErrorCode(ozu::kErrPixelType);
        return 0;
    }
    return *result;
}
