// What lumhost and the process that unpacks tell each other, as bytes: both are of one build and on one machine.
//
// A request goes over a SOCK_SEQPACKET socket with two or three descriptors beside it: the pipe for the answer (its
// writing end), the staging folder, and the package. Without a package the process only protects itself. The answer is
// everything that comes out of the pipe; the pipe ends when the process that wrote it has ended, so nothing changes in
// the staging folder after that.
//
// The readers take nothing on trust: an answer may come from a process that a package has taken over.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/Result.h"
#include "delivery/package/Unpacking.h"
#include "delivery/worker/Protections.h"

namespace delivery {

inline constexpr std::size_t kMostOfRequest = 4096;    // bytes
inline constexpr std::size_t kMostOfAnswer = 64 << 20; // with a record of all files

struct WorkerRequest {
    std::string component;
    UnpackLimits limits;
};

struct WorkerAnswer {
    Protections protections;
    base::Result<Unpacked> unpacked; // the Error's code is an UnpackCode
};

std::string Encode(const WorkerRequest &request);
std::string Encode(const WorkerAnswer &answer);

// Nothing for bytes that Encode does not give. Of an answer, texts are made fit to be shown.
std::optional<WorkerRequest> DecodeRequest(std::string_view bytes);
std::optional<WorkerAnswer> DecodeAnswer(std::string_view bytes);

} // namespace delivery
