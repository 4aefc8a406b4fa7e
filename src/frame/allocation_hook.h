// Every place where the colour module takes memory of its own (work arrays,
// copies of text, records for the host's converter) passes through here
// first, so that a test can make any one of them fail and check that the
// entry then fails cleanly.
//
// Only in builds configured with OZU_ALLOC_FAILURE_HOOK (test builds), and
// even there the hook is a function pointer internal to the module (hidden,
// declared in no installed header) that nothing but a test program linking
// the module's objects sets: the test points it at the host's counter, so
// that one count runs over the allocations of both libraries. Elsewhere every
// check is a constant false.
#pragma once

#include <new>

namespace ozu {

#if defined(OZU_ALLOC_FAILURE_HOOK)

// True when the allocation named `site` is to fail (errno is then ENOMEM).
using AllocationHook = bool (*)(const char* site) noexcept;
extern AllocationHook allocation_hook;

inline bool allocation_refused(const char* site) noexcept {
    return allocation_hook != nullptr && allocation_hook(site);
}

#else

constexpr bool allocation_refused(const char*) noexcept { return false; }

#endif

// For allocations that report failure by throwing (operator new, the
// containers): throws std::bad_alloc, as they would, when refused.
inline void before_allocation(const char* site) {
    if (allocation_refused(site)) throw std::bad_alloc();
}

}  // namespace ozu
