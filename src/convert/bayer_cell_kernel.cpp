// The Bayer-cell line kernel and its instances.
#include "convert/bayer_cell_kernel.h"

#include "frame/fixed_point.h"

namespace ozu {

template <class S, class D>
bool subBM2RGB(const S* line0, const S* line1, D* const dst[3], int32_t width, int32_t srcMax,
               int32_t dstMax) {
    if (srcMax != dstMax) return false;
    D* const red = dst[0];
    D* const green = dst[1];
    D* const blue = dst[2];
    for (int32_t i = 0; i < width; i += 2) {
        const int32_t k = i / 2;
        red[k] = store<D>(load(line0[i + 1]));
        // Integer division rounds toward zero: signed -3 and 0 give -1.
        green[k] = store<D>(wadd(load(line0[i]), load(line1[i + 1])) / 2);
        blue[k] = store<D>(load(line1[i]));
    }
    return true;
}

#define OZU_X(S, D) \
    template bool subBM2RGB<S, D>(const S*, const S*, D* const[3], int32_t, int32_t, int32_t);
OZU_BAYER_CELL_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
