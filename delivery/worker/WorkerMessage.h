// What lumhost and the process that unpacks tell each other, as bytes: both are of one build and on one machine.
//
// All of it goes over SOCK_SEQPACKET sockets. A request to the process has two or three descriptors beside it: a
// socket, the staging folder, and a package. A child of the process answers through that socket, and takes further
// requests there, for the same staging folder and within the same limits, each with a package beside it. Without a
// first package it only protects itself. The socket ends when the child has ended.
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
