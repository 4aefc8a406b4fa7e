#include "frame/cache_size.h"

#include <cerrno>

#include <unistd.h>

namespace ozu {

size_t l2_cache_bytes() {
    static const size_t bytes = [] {
#ifdef _SC_LEVEL2_CACHE_SIZE
        // Where the C library reads the size from a file that is not there
        // (PowerPC, or under an emulator), the probe leaves ENOENT in errno.
        // It is only a hint for sizing bands, asked in the middle of an
        // entry, whose frame reports errno for an exception that follows:
        // errno goes back to what it was.
        const int saved = errno;
        const long reported = sysconf(_SC_LEVEL2_CACHE_SIZE);
        errno = saved;
        if (reported > 0) return static_cast<size_t>(reported);
#endif
        return size_t{1} << 20;
    }();
    return bytes;
}

}  // namespace ozu
