// How the steps of an installation fail within this folder: with this thrown, which its public functions turn into a
// Result.
#pragma once

#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/Result.h"
#include "delivery/package/UnpackCode.h"

namespace delivery {

struct UnpackFailure {
    int code; // of UnpackCode
    std::string reason;
};

// The failure of a system call on `name`, which is being installed: full, not writable, or else the system's fault.
UnpackFailure WriteFailure(int error, std::string_view name);

// No memory: within a limit that this process has, the package is too large for it, otherwise the computer is short of
// it.
UnpackFailure MemoryFailure();

// What `work` answers, or what it throws as an Error whose code is an UnpackCode.
template <typename Work> base::Result<std::invoke_result_t<Work>> CatchFailures(const Work &work) {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Work>>) {
            work();
            return {};
        } else {
            return work();
        }
    } catch (const UnpackFailure &failure) {
        return base::Fail(failure.reason, failure.code);
    } catch (const std::bad_alloc &) {
        return base::Fail(MemoryFailure().reason, MemoryFailure().code);
    } catch (const std::exception &failure) {
        return base::Fail(failure.what(), kUnpackInterrupted);
    }
}

} // namespace delivery
