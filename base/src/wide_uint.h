// A fixed-width unsigned integer of 32-bit limbs, for exact comparisons of
// products too wide for any native type. Written with uint32_t limbs and
// uint64_t partial products only, so it behaves the same on every host: no
// compiler's 128-bit extension is needed (32-bit PowerPC gcc has none).
#pragma once

#include <cstdint>

namespace ozu::base {

template <int Limbs>
class WideUint {
public:
    constexpr WideUint() = default;
    constexpr explicit WideUint(uint64_t v) {
        limb_[0] = static_cast<uint32_t>(v);
        limb_[1] = static_cast<uint32_t>(v >> 32);
    }

    // The product, truncated to Limbs limbs: callers size Limbs so that
    // their products never reach the top.
    friend WideUint operator*(const WideUint& a, const WideUint& b) {
        WideUint r;
        const int na = a.used();
        const int nb = b.used();
        for (int i = 0; i < na; ++i) {
            uint64_t carry = 0;
            for (int j = 0; j < nb && i + j < Limbs; ++j) {
                // Fits: (2^32-1)^2 + 2 (2^32-1) = 2^64 - 1.
                const uint64_t t =
                    uint64_t(a.limb_[i]) * b.limb_[j] + r.limb_[i + j] + carry;
                r.limb_[i + j] = static_cast<uint32_t>(t);
                carry = t >> 32;
            }
            for (int k = i + nb; carry != 0 && k < Limbs; ++k) {
                const uint64_t t = uint64_t(r.limb_[k]) + carry;
                r.limb_[k] = static_cast<uint32_t>(t);
                carry = t >> 32;
            }
        }
        return r;
    }

    friend WideUint operator+(const WideUint& a, const WideUint& b) {
        WideUint r;
        uint64_t carry = 0;
        for (int k = 0; k < Limbs; ++k) {
            const uint64_t t = uint64_t(a.limb_[k]) + b.limb_[k] + carry;
            r.limb_[k] = static_cast<uint32_t>(t);
            carry = t >> 32;
        }
        return r;
    }

    // a - b for a >= b.
    friend WideUint operator-(const WideUint& a, const WideUint& b) {
        WideUint r;
        uint32_t borrow = 0;
        for (int k = 0; k < Limbs; ++k) {
            const uint64_t sub = uint64_t(b.limb_[k]) + borrow;
            borrow = uint64_t(a.limb_[k]) < sub ? 1 : 0;
            r.limb_[k] = static_cast<uint32_t>(uint64_t(a.limb_[k]) - sub);
        }
        return r;
    }

    friend int compare(const WideUint& a, const WideUint& b) {
        for (int k = Limbs - 1; k >= 0; --k) {
            if (a.limb_[k] != b.limb_[k]) return a.limb_[k] < b.limb_[k] ? -1 : 1;
        }
        return 0;
    }
    friend bool operator<(const WideUint& a, const WideUint& b) { return compare(a, b) < 0; }
    friend bool operator>(const WideUint& a, const WideUint& b) { return compare(a, b) > 0; }
    friend bool operator==(const WideUint& a, const WideUint& b) { return compare(a, b) == 0; }

    // |a - b|.
    friend WideUint distance(const WideUint& a, const WideUint& b) {
        return a < b ? b - a : a - b;
    }

private:
    // Limbs up to the highest non-zero one.
    int used() const {
        int n = Limbs;
        while (n > 0 && limb_[n - 1] == 0) --n;
        return n;
    }

    uint32_t limb_[Limbs] = {};
};

}  // namespace ozu::base
