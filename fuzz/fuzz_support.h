// Pieces the fuzz targets share: host buffers owned for the length of one
// input, images whose every property comes from the input, a runner that
// runs the bands of a request in an order the input chooses, and the check
// that an input leaves no buffer behind.
//
// Every value drawn here stays inside what the entries accept from a caller:
// sizes the host can allocate, text buffers as large as the entries say they
// must be, pointers that point at what they should. The fuzzer varies
// everything else.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <utility>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

namespace ozu::fuzz {

// A broken promise of the libraries: abort, so that the fuzzer keeps the
// input as a crash.
[[noreturn]] inline void fail(const char* what) {
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

// One host buffer owned until the end of an input. Freeing must succeed: a
// buffer that is still locked or has a pointer out after an entry returned
// is a lock the entry forgot.
class Owned {
public:
    Owned() = default;
    explicit Owned(int32_t handle) noexcept : handle_(handle) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() { reset(); }

    // For entries that create their result when they read -1 here.
    int32_t* slot() noexcept { return &handle_; }
    int32_t get() const noexcept { return handle_; }

    void reset() {
        if (handle_ != -1 && IPL_BufFree(handle_) == 0) fail("IPL_BufFree refused a buffer");
        handle_ = -1;
    }
    // Hands the buffer over without freeing it (it is owned elsewhere).
    void forget() noexcept { handle_ = -1; }

private:
    int32_t handle_ = -1;
};

// Declared first in a target's entry function, so that it is checked after
// every Owned of the input has freed its buffer.
class BufferCountCheck {
public:
    BufferCountCheck() noexcept : before_(BASE_BufferCount()) {}
    BufferCountCheck(const BufferCountCheck&) = delete;
    BufferCountCheck& operator=(const BufferCountCheck&) = delete;
    ~BufferCountCheck() {
        if (BASE_BufferCount() != before_) fail("an input left host buffers behind");
    }

private:
    int32_t before_;
};

inline int32_t attribute(int32_t handle, int32_t attr) {
    int32_t value = 0;
    if (IPL_BufInquire(handle, attr, &value) == 0) fail("IPL_BufInquire failed on a live buffer");
    return value;
}

inline int32_t element_size(int32_t type) {
    switch (type) {
        case BASE_TYPE_S8:
        case BASE_TYPE_U8:
            return 1;
        case BASE_TYPE_S16:
        case BASE_TYPE_U16:
            return 2;
        default:
            return 4;
    }
}

// Every colour-space identifier, unknown (0) and Bayer raw included; now and
// then any value at all.
inline int32_t pick_space(FuzzedDataProvider& in) {
    static constexpr int32_t kSpaces[] = {COL_CMY,    COL_I,      COL_HLS,    COL_HSV, COL_RGB,
                                          COL_XYZ601, COL_XYZ709, COL_XYZITU, COL_YCC, COL_YIQ,
                                          COL_YUV,    COL_BAYER,  0};
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0) return in.ConsumeIntegral<int32_t>();
    return in.PickValueInArray(kSpaces);
}

// A conversion code: mostly a pair of identifiers, sometimes one with a high
// half of 0 (the source's recorded space is the "from"), sometimes anything.
inline uint32_t pick_code(FuzzedDataProvider& in) {
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
        case 0:
            return in.ConsumeIntegral<uint32_t>();
        case 1:
            return uint32_t(pick_space(in)) & 0xFFFFu;
        default: {
            const int32_t from = pick_space(in);
            const int32_t to = pick_space(in);
            return COL_CODE(uint32_t(from) & 0xFFFFu, to);
        }
    }
}

// A double that is usually ordinary and sometimes any bit pattern (NaN,
// infinities, huge and tiny values).
inline double pick_double(FuzzedDataProvider& in, double low, double high) {
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
        const uint64_t bits = in.ConsumeIntegral<uint64_t>();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    return in.ConsumeFloatingPointInRange<double>(low, high);
}

// What an image is made of. Sizes stay small (at most 64 x 64 pixels per
// plane and four blocks, and never more than 16384 pixels per plane over all
// blocks) so that an input runs in well under a millisecond.
struct ImageLayout {
    int32_t width = 1;
    int32_t height = 1;
    int32_t planes = 1;
    int32_t ext2 = 1;
    int32_t ext3 = 1;
    int32_t type = BASE_TYPE_U8;
    int32_t kind = BASE_KIND_IMAGE;
    int32_t align = 0;      // line alignment in bytes; 0 is the host's default
    bool hasSpace = false;  // attribute 43 recorded
    int32_t space = 0;
};

inline int32_t pick_type(FuzzedDataProvider& in) {
    static constexpr int32_t kTypes[] = {BASE_TYPE_S8, BASE_TYPE_U8, BASE_TYPE_S16, BASE_TYPE_U16};
    // The 32-bit type exists only for profiles and histograms; the entries
    // must refuse it.
    if (in.ConsumeIntegralInRange<int>(0, 31) == 0) return BASE_TYPE_S32;
    return in.PickValueInArray(kTypes);
}

inline int32_t pick_kind(FuzzedDataProvider& in) {
    // 14 and 15 stand for the kinds the entries refuse.
    static constexpr int32_t kOtherKinds[] = {BASE_KIND_TABLE, 14, 15, 3};
    if (in.ConsumeIntegralInRange<int>(0, 15) != 0) return BASE_KIND_IMAGE;
    return in.PickValueInArray(kOtherKinds);
}

inline ImageLayout pick_layout(FuzzedDataProvider& in, int32_t planes, int32_t maxSide = 64) {
    ImageLayout s;
    s.width = in.ConsumeIntegralInRange<int32_t>(1, maxSide);
    s.height = in.ConsumeIntegralInRange<int32_t>(1, maxSide);
    s.planes = planes;
    if (s.width * s.height <= 4096) {
        s.ext2 = in.ConsumeIntegralInRange<int32_t>(1, 2);
        s.ext3 = in.ConsumeIntegralInRange<int32_t>(1, 2);
    }
    s.type = pick_type(in);
    s.kind = pick_kind(in);
    // A pitch that differs from the width shows any kernel that takes one
    // for the other.
    s.align = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange<int32_t>(1, 200);
    s.hasSpace = in.ConsumeBool();
    if (s.hasSpace) s.space = pick_space(in);
    return s;
}

// The plane count an entry expects, or now and then another one.
inline int32_t pick_planes(FuzzedDataProvider& in, int32_t usual) {
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0) return in.ConsumeIntegralInRange<int32_t>(1, 4);
    return usual;
}

// Fills every plane of every block with bytes of the input, line by line
// through the pitch; whatever the input no longer has stays zero.
inline void fill_pixels(FuzzedDataProvider& in, int32_t handle) {
    const int32_t width = attribute(handle, BASE_ATTR_WIDTH);
    const int32_t height = attribute(handle, BASE_ATTR_HEIGHT);
    const int32_t planes = attribute(handle, BASE_ATTR_PLANES);
    const int32_t ext2 = attribute(handle, BASE_ATTR_EXT2);
    const int32_t ext3 = attribute(handle, BASE_ATTR_EXT3);
    const size_t lineBytes = size_t(width) * size_t(element_size(attribute(handle, BASE_ATTR_TYPE)));
    for (int32_t j = 0; j < ext3; ++j) {
        for (int32_t i = 0; i < ext2; ++i) {
            for (int32_t p = 0; p < planes; ++p) {
                int32_t pitch = 0;
                void* ptr = nullptr;
                if (IPL_GetPtr(handle, BASE_MODE_WRITE, p, i, j, &pitch, &ptr) == 0)
                    fail("IPL_GetPtr failed on a new image");
                auto* base = static_cast<uint8_t*>(ptr);
                for (int32_t y = 0; y < height && in.remaining_bytes() > 0; ++y) {
                    const std::vector<uint8_t> bytes = in.ConsumeBytes<uint8_t>(lineBytes);
                    std::memcpy(base + size_t(y) * size_t(pitch), bytes.data(), bytes.size());
                }
                if (IPL_ReleasePtr(handle, BASE_MODE_WRITE, p, i, j, ptr) == 0)
                    fail("IPL_ReleasePtr failed on a new image");
            }
        }
    }
}

// Allocates the image of `layout` into `owner`; false when the host refuses
// the combination (the input is then of no further use).
inline bool make_image(const ImageLayout& layout, Owned& owner) {
    const int32_t flags = layout.align == 0 ? 0 : BASE_ALLOC_ALIGN(layout.align);
    if (IPL_BufAlloc(owner.slot(), layout.width, layout.height, layout.planes, layout.ext2, layout.ext3,
                     layout.type, layout.kind, flags) == 0) {
        owner.forget();
        return false;
    }
    if (layout.hasSpace) {
        int32_t space = layout.space;
        if (IPL_BufControl(owner.get(), BASE_ATTR_COLOR_SPACE, &space) == 0)
            fail("IPL_BufControl refused the colour space");
    }
    return true;
}

// A destination like the source in most inputs (so that the entry gets past
// its checks and does its work), now and then differing in one property.
inline ImageLayout destination_like(FuzzedDataProvider& in, const ImageLayout& source,
                                  int32_t planes) {
    ImageLayout d = source;
    d.planes = planes;
    d.kind = pick_kind(in);
    d.align = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange<int32_t>(1, 200);
    d.hasSpace = in.ConsumeBool();
    if (d.hasSpace) d.space = pick_space(in);
    // Keep the 8- or 16-bit width of the source; the signedness may change.
    if (in.ConsumeBool()) {
        if (d.type == BASE_TYPE_S8 || d.type == BASE_TYPE_U8)
            d.type = in.ConsumeBool() ? BASE_TYPE_S8 : BASE_TYPE_U8;
        else if (d.type == BASE_TYPE_S16 || d.type == BASE_TYPE_U16)
            d.type = in.ConsumeBool() ? BASE_TYPE_S16 : BASE_TYPE_U16;
    }
    switch (in.ConsumeIntegralInRange<int>(0, 31)) {
        case 0: d.width = in.ConsumeIntegralInRange<int32_t>(1, 64); break;
        case 1: d.height = in.ConsumeIntegralInRange<int32_t>(1, 64); break;
        case 2: d.ext2 = in.ConsumeIntegralInRange<int32_t>(1, 2); break;
        case 3: d.ext3 = in.ConsumeIntegralInRange<int32_t>(1, 2); break;
        case 4: d.type = pick_type(in); break;
        case 5: d.planes = in.ConsumeIntegralInRange<int32_t>(1, 4); break;
        default: break;
    }
    if (d.width * d.height > 4096) d.ext2 = d.ext3 = 1;
    return d;
}

// Runs the jobs of one request on one thread, in an order and under thread
// numbers the input chose: the library promises the same result for any
// order and any thread count, so every order is fair game.
struct ShuffledRunner {
    uint32_t threads = 1;
    uint64_t seed = 0;

    static int32_t run(void* runnerOpaque, void* jobOpaque, OZU_ParallelRunInit init,
                       OZU_ParallelRunFunction func, uint32_t startJob, uint32_t endJob) {
        const auto* self = static_cast<const ShuffledRunner*>(runnerOpaque);
        const int32_t refused = init(jobOpaque, self->threads);
        if (refused != 0) return refused;
        std::vector<uint32_t> jobs(endJob > startJob ? endJob - startJob : 0);
        std::iota(jobs.begin(), jobs.end(), startJob);
        uint64_t state = self->seed | 1;
        for (size_t k = jobs.size(); k > 1; --k) {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            std::swap(jobs[k - 1], jobs[state % k]);
        }
        uint32_t thread = 0;
        for (uint32_t job : jobs) {
            func(jobOpaque, job, thread);
            thread = (thread + 1) % self->threads;
        }
        return 0;
    }
};

// Installs, for the calling thread and the rest of one input, either no
// runner or a shuffling one, and a band size; both are put back at the end.
class RunnerChoice {
public:
    explicit RunnerChoice(FuzzedDataProvider& in) {
        if (in.ConsumeBool()) {
            runner_.threads = in.ConsumeIntegralInRange<uint32_t>(1, 4);
            runner_.seed = in.ConsumeIntegral<uint64_t>();
            COL_SetParallelRunner(&ShuffledRunner::run, &runner_);
        }
        COL_SetParallelBandLines(in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange<int32_t>(1, 9));
    }
    RunnerChoice(const RunnerChoice&) = delete;
    RunnerChoice& operator=(const RunnerChoice&) = delete;
    ~RunnerChoice() {
        COL_SetParallelRunner(nullptr, nullptr);
        COL_SetParallelBandLines(0);
    }

private:
    ShuffledRunner runner_;
};

}  // namespace ozu::fuzz
