// Messages with open files beside them, between two processes on this machine: over a pair of connected SOCK_SEQPACKET
// sockets (unix(7)). The code of an Error is an errno.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"
#include "base/ScopedDescriptor.h"

namespace delivery {

struct Channel {
    base::ScopedDescriptor ours, theirs;
};
// Closed in a program that is executed.
base::Result<Channel> MakeChannel();

inline constexpr std::size_t kMostDescriptors = 3;

// The descriptors stay the caller's; the peer gets its own. EPIPE when the peer has gone.
base::Result<void> SendMessage(int socket, std::string_view bytes, std::initializer_list<int> descriptors);

struct Message {
    std::string bytes;
    std::vector<base::ScopedDescriptor> descriptors;
};
// Waits for a message. Nothing when the peer has gone. Fails for one with more bytes (EMSGSIZE) or descriptors.
base::Result<std::optional<Message>> ReceiveMessage(int socket, std::size_t mostBytes);

} // namespace delivery
