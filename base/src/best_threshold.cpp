// The threshold that best splits a histogram into two classes (Otsu's
// criterion), decided in exact integer arithmetic so that every host picks
// the same bin, ties included.
//
// For a split after bin t, with N and S the total count and the sum of the
// bin indices of all pixels, and n0, S0 those of bins 0..t, the between-class
// variance is proportional to
//
//     (N S0 - n0 S)^2 / (n0 (N - n0)).
//
// Two candidates are compared by cross-multiplying the fractions. The
// numbers get wide: with bins of up to 2^31 - 1 pixels and up to 2^31 bins,
// N < 2^62, S < 2^93, |N S0 - n0 S| < 2^155, its square < 2^310 and the
// cross products < 2^434, so they are held in 448-bit integers.

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "buffer_view.h"
#include "wide_uint.h"

namespace ozu::base {
namespace {

using Wide = WideUint<14>;

// The bin t in 0..n-2 that maximises the criterion over the splits with both
// classes non-empty, the smallest on ties; with fewer than two occupied bins,
// the lowest occupied bin (0 when there is none).
int32_t otsu(const std::vector<uint32_t>& counts) {
    const int32_t n = static_cast<int32_t>(counts.size());
    uint64_t total = 0;
    Wide indexSum;
    int32_t occupied = 0;
    int32_t lowest = -1;
    for (int32_t k = 0; k < n; ++k) {
        const uint32_t c = counts[std::size_t(k)];
        if (c == 0) continue;
        total += c;
        indexSum = indexSum + Wide(uint64_t(k) * c);
        if (lowest < 0) lowest = k;
        ++occupied;
    }
    if (occupied < 2) return lowest < 0 ? 0 : lowest;

    const Wide wideTotal(total);
    uint64_t n0 = 0;
    Wide s0;
    bool found = false;
    int32_t best = 0;
    Wide bestSquare;  // (N S0 - n0 S)^2 of the best split so far
    Wide bestWeight;  // n0 (N - n0) of the best split so far
    for (int32_t t = 0; t + 1 < n; ++t) {
        const uint32_t c = counts[std::size_t(t)];
        n0 += c;
        s0 = s0 + Wide(uint64_t(t) * c);
        const uint64_t n1 = total - n0;
        if (n0 == 0) continue;
        if (n1 == 0) break;
        const Wide d = distance(wideTotal * s0, Wide(n0) * indexSum);
        const Wide square = d * d;
        const Wide weight = Wide(n0) * Wide(n1);
        // square / weight > bestSquare / bestWeight, both weights positive;
        // strictly greater, so the first of equal splits stays.
        if (!found || square * bestWeight > bestSquare * weight) {
            found = true;
            best = t;
            bestSquare = square;
            bestWeight = weight;
        }
    }
    return best;
}

// Line 0 of plane 0 of block (0, 0) as counts; false when a bin is negative.
template <class T>
bool read_counts(const BufferView& hist, std::vector<uint32_t>& counts) {
    const T* in = hist.line<T>(0, 0, 0, 0);
    for (int32_t k = 0; k < hist.width; ++k) {
        if constexpr (std::is_signed_v<T>) {
            if (in[k] < 0) return false;
        }
        counts[std::size_t(k)] = static_cast<uint32_t>(in[k]);
    }
    return true;
}

int32_t best_threshold(int32_t histHandle, int32_t* threshold) {
    BufferView hist;
    if (!view_of(histHandle, hist)) return fail(BASE_ERR_NO_BUFFER);
    if (threshold == nullptr) return fail(BASE_ERR_ARGUMENT);
    if (!hist.has_pixels()) return fail(BASE_ERR_REGION);

    before_allocation("host: threshold counts");
    std::vector<uint32_t> counts(std::size_t(hist.width));
    bool valid = true;
    visit_element_type(hist.type, [&](auto* t) {
        using T = std::remove_pointer_t<decltype(t)>;
        valid = read_counts<T>(hist, counts);
    });
    if (!valid) return fail(BASE_ERR_ARGUMENT);
    *threshold = otsu(counts);
    return 1;
}

}  // namespace
}  // namespace ozu::base

extern "C" {

// Otsu's threshold of plane 0 of a histogram: the bins are line 0 of plane 0
// of block (0, 0), of any width and pixel type. The result t splits the bins
// into [0..t] and [t+1..n-1]; the criterion, the tie rule and the degenerate
// cases are those of otsu() above. Errors: -1001 unknown hist; -1002 null threshold
// or a negative bin; -1005 hist without pixel data.
OZU_BASE_API int32_t IPL_StatBestThreshold(int32_t hist, int32_t* threshold) {
    return ozu::base::guarded([&] { return ozu::base::best_threshold(hist, threshold); });
}

}  // extern "C"
