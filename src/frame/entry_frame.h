// The common frame of every exported COL_ entry.
//
// An entry body reports a failure by throwing an int: either a code of its
// own, recorded first (raise), or the host's current code after a host call
// returned 0 (check_host / raise_host, which record nothing). run_entry
// catches both forms and anything else, formats the entry's closing message
// and turns the outcome into the 1 / 0 result the C interface promises.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <ozu/base.h>

namespace ozu {

// The two closing-message forms of one entry, with its exported name spelt
// out: "Leaving <entry> - Error: %s (%d)" and "... - Win32 Error: %ld".
struct EntryTexts {
    const char* error;
    const char* system;
};

// Per-entry one-time set-up: a byte flag and an empty destructor registered
// for the library's unloading on the first call. It has no visible effect;
// it is kept as the first step of every entry. The flag is atomic: threads
// may make their first calls of an entry at the same time.
struct OnceFlag {
    std::atomic<uint8_t> done{0};
};
void run_once(OnceFlag& flag) noexcept;

// Records a code of the library's own and raises it.
[[noreturn]] void raise(int32_t code);

// Raises the host's current code without recording it again.
[[noreturn]] void raise_host();

// A host call's result: 0 raises the code the host has recorded.
inline void check_host(int32_t result) {
    if (result == 0) raise_host();
}

// Runs one entry body inside the frame. The closing message is formatted into
// a local buffer and deliberately goes nowhere: the frame never logs.
template <class Body>
int32_t run_entry(OnceFlag& once, const EntryTexts& texts, Body&& body) noexcept {
    run_once(once);
    errno = 0;
    char message[256];
    try {
        body();
        return 1;
    } catch (int code) {
        std::snprintf(message, sizeof message, texts.error, IPL_GetErrorString(code), code);
    } catch (...) {
        int32_t e = errno;
        if (e == 0) e = -100;
        IPL_SetErrorCode(e);
        std::snprintf(message, sizeof message, texts.system, static_cast<long>(e));
    }
    return 0;
}

}  // namespace ozu
