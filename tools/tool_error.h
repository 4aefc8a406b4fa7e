// The one kind of failure the ozu-color tool reports, and the bridge from a
// failing library call to it.
//
// Every failure ends in a single line on stderr that names what failed and the
// error code with the host's text for it (IPL_GetErrorString). Library entries
// supply their own code; the tool's own failures use the host's codes where
// one fits (an unknown colour-space name is COL_ERR_COLOR_SPACE, a malformed
// number COL_ERR_RANGE) and errno values otherwise, which the host describes
// with strerror (a missing file is ENOENT).
#pragma once

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include <ozu/base.h>

namespace ozu::tool {

class ToolError : public std::runtime_error {
public:
    ToolError(int32_t code, const std::string& what) : std::runtime_error(what), code_(code) {}
    int32_t code() const noexcept { return code_; }

private:
    int32_t code_;
};

// A command line the tool cannot use: an unknown option, a missing argument,
// or an option value that cannot work (malformed, out of range, or refused
// by a rule of the library checked beforehand, whose code it then carries).
// Exits with status 2 rather than 1.
class UsageError : public ToolError {
public:
    explicit UsageError(const std::string& what) : ToolError(EINVAL, what) {}
    UsageError(int32_t code, const std::string& what) : ToolError(code, what) {}
};

// "what: error CODE (TEXT)", the tail of every failure line.
inline std::string describe(const ToolError& error) {
    const int32_t code = error.code();
    return std::string(error.what()) + ": error " + std::to_string(code) + " (" +
           IPL_GetErrorString(code) + ")";
}

// Runs one library call that returns 1 or 0. The error slot is cleared first
// so that a failure reports its own code, never one left by an earlier call;
// a failure that records nothing is reported as code 0.
template <class Call>
void library_call(const char* entry, Call&& call) {
    IPL_SetErrorCode(0);
    if (std::forward<Call>(call)() == 0) {
        const int32_t code = IPL_GetErrorCode2();
        throw ToolError(code, std::string(entry) + " failed" +
                                  (code == 0 ? " without recording an error code" : ""));
    }
}

}  // namespace ozu::tool
