#include "frame/cache_size.h"

#include <unistd.h>

namespace ozu {

size_t l2_cache_bytes() {
    static const size_t bytes = [] {
#ifdef _SC_LEVEL2_CACHE_SIZE
        const long reported = sysconf(_SC_LEVEL2_CACHE_SIZE);
        if (reported > 0) return static_cast<size_t>(reported);
#endif
        return size_t{1} << 20;
    }();
    return bytes;
}

}  // namespace ozu
