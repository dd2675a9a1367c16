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

// A text of any length, in as many messages as the system needs for it: its length, then pieces. Sending waits until
// the peer has taken all but the last pieces.
base::Result<void> SendText(int socket, std::string_view text);
// Waits for all of such a text. Nothing when the peer has gone before its end. Fails for one with more than `mostBytes`
// (EMSGSIZE), of which no more than that much is kept, and for messages that are no such text (EBADMSG).
base::Result<std::optional<std::string>> ReceiveText(int socket, std::size_t mostBytes);

} // namespace delivery
