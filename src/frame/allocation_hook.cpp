// The colour module's allocation hook of test builds (see allocation_hook.h).
#include "frame/allocation_hook.h"

#if defined(OZU_ALLOC_FAILURE_HOOK)

namespace ozu {

AllocationHook allocation_hook = nullptr;

}  // namespace ozu

#endif
