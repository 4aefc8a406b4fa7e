// The allocation counter of test builds (see allocation_hook.h).
#include "allocation_hook.h"

#if defined(OZU_ALLOC_FAILURE_HOOK)

#include <cerrno>

namespace ozu::base {
namespace {

// Per thread: a test counts the allocations of the entry it calls, and a
// pool's threads working for someone else must not move its count.
thread_local uint32_t t_counted = 0;
thread_local uint32_t t_refuse = 0;
thread_local const char* t_refused = nullptr;

}  // namespace

bool allocation_refused(const char* site) noexcept {
    ++t_counted;
    if (t_counted != t_refuse) return false;
    t_refused = site;
    errno = ENOMEM;
    return true;
}

namespace testing {

void refuse_allocation(uint32_t n) noexcept {
    t_counted = 0;
    t_refuse = n;
    t_refused = nullptr;
}

uint32_t allocations_counted() noexcept { return t_counted; }

const char* refused_site() noexcept { return t_refused; }

}  // namespace testing
}  // namespace ozu::base

#endif
