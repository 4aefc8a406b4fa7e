// Every place where the host takes memory of its own passes through here
// first, so that a test can make any one of those allocations fail and check
// that the operation then fails cleanly: the out-of-memory code, nothing
// leaked, nothing left locked.
//
// The counter exists only in builds configured with OZU_ALLOC_FAILURE_HOOK
// (test builds). It is internal to the host: neither exported from the shared
// library nor declared in an installed header, so only test programs that link
// the host's objects directly can reach it. Elsewhere every check is a
// constant false and costs nothing.
#pragma once

#include <cstdint>
#include <new>

namespace ozu::base {

#if defined(OZU_ALLOC_FAILURE_HOOK)

// Counts one allocation of the calling thread. True when it is the one the
// test asked to fail; errno is then ENOMEM, as a failing allocator leaves it.
// `site` names the allocation in a test's report.
bool allocation_refused(const char* site) noexcept;

namespace testing {
// Restarts the calling thread's count; allocation number `n` (from 1) will be
// refused, none when `n` is 0. Other threads are not affected.
void refuse_allocation(uint32_t n) noexcept;
// Allocations counted on the calling thread since the restart.
uint32_t allocations_counted() noexcept;
// The site of the refused allocation, null while none has been refused.
const char* refused_site() noexcept;
}  // namespace testing

#else

constexpr bool allocation_refused(const char*) noexcept { return false; }

#endif

// For allocations that report failure by throwing (operator new, the
// containers): throws std::bad_alloc, as they would, when refused.
inline void before_allocation(const char* site) {
    if (allocation_refused(site)) throw std::bad_alloc();
}

}  // namespace ozu::base
