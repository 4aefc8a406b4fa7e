#include "frame/entry_frame.h"

extern "C" int __cxa_atexit(void (*destructor)(void*), void* argument, void* dso);
extern "C" void* __dso_handle;

namespace ozu {
namespace {
void empty_destructor(void*) {}
}  // namespace

void run_once(OnceFlag& flag) noexcept {
    if (flag.done.load(std::memory_order_relaxed) == 0 &&
        flag.done.exchange(1, std::memory_order_relaxed) == 0)
        __cxa_atexit(&empty_destructor, nullptr, &__dso_handle);
}

void raise(int32_t code) {
    IPL_SetErrorCode(code);
    throw static_cast<int>(code);
}

void raise_host() {
    throw static_cast<int>(IPL_GetErrorCode2());
}

}  // namespace ozu
