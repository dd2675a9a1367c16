#include "delivery/worker/Channel.h"

#include <errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace delivery {

namespace {

constexpr std::size_t kRoom = CMSG_SPACE(sizeof(int) * kMostDescriptors);
constexpr std::size_t kPiece = 64 << 10; // far below the smallest buffer that a system gives a socket

template <typename Call> ssize_t Retried(const Call &call) {
    ssize_t result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

void TakeDescriptors(msghdr &header, std::vector<base::ScopedDescriptor> &descriptors) {
    for (cmsghdr *part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int descriptor = -1;
            std::memcpy(&descriptor, CMSG_DATA(part) + i * sizeof(int), sizeof(int));
            descriptors.emplace_back(descriptor);
        }
    }
}

} // namespace

base::Result<Channel> MakeChannel() {
    std::array<int, 2> ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return base::SystemFailure("no connection to another process can be made", errno);
    }
    return Channel{base::ScopedDescriptor(ends[0]), base::ScopedDescriptor(ends[1])};
}

base::Result<void> SendMessage(int socket, std::string_view bytes, std::initializer_list<int> descriptors) {
    alignas(cmsghdr) std::array<char, kRoom> room{};
    iovec piece{const_cast<char *>(bytes.data()), bytes.size()};
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    if (descriptors.size() > 0) {
        header.msg_control = room.data();
        header.msg_controllen = CMSG_SPACE(sizeof(int) * descriptors.size());
        cmsghdr *const part = CMSG_FIRSTHDR(&header);
        part->cmsg_level = SOL_SOCKET;
        part->cmsg_type = SCM_RIGHTS;
        part->cmsg_len = CMSG_LEN(sizeof(int) * descriptors.size());
        std::memcpy(CMSG_DATA(part), std::data(descriptors), sizeof(int) * descriptors.size());
    }
    if (Retried([&] { return sendmsg(socket, &header, MSG_NOSIGNAL); }) < 0) {
        return base::SystemFailure("another process cannot be reached", errno);
    }
    return {};
}

base::Result<std::optional<Message>> ReceiveMessage(int socket, std::size_t mostBytes) {
    alignas(cmsghdr) std::array<char, kRoom> room{};
    Message message;
    message.bytes.resize(mostBytes);
    iovec piece{message.bytes.data(), message.bytes.size()};
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    header.msg_control = room.data();
    header.msg_controllen = room.size();
    const ssize_t got = Retried([&] { return recvmsg(socket, &header, MSG_CMSG_CLOEXEC); });
    if (got < 0) {
        return base::SystemFailure("nothing can be heard from another process", errno);
    }
    TakeDescriptors(header, message.descriptors);
    if (header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) {
        return base::SystemFailure("another process says too much at once", EMSGSIZE);
    }
    if (got == 0) {
        return std::nullopt;
    }
    message.bytes.resize(static_cast<std::size_t>(got));
    return message;
}

base::Result<void> SendText(int socket, std::string_view text) {
    const std::uint64_t length = text.size();
    base::Result<void> sent = SendMessage(socket, {reinterpret_cast<const char *>(&length), sizeof length}, {});
    while (sent && !text.empty()) {
        const std::string_view piece = text.substr(0, kPiece);
        sent = SendMessage(socket, piece, {});
        text.remove_prefix(piece.size());
    }
    return sent;
}

base::Result<std::optional<std::string>> ReceiveText(int socket, std::size_t mostBytes) {
    std::uint64_t length = 0;
    base::Result<std::optional<Message>> message = ReceiveMessage(socket, sizeof length);
    if (message && *message) {
        if ((*message)->bytes.size() != sizeof length) {
            return base::SystemFailure("another process says something else", EBADMSG);
        }
        std::memcpy(&length, (*message)->bytes.data(), sizeof length);
        if (length > mostBytes) {
            return base::SystemFailure("another process says too much", EMSGSIZE);
        }
    }
    std::string text;
    while (message && *message && text.size() < length) {
        message = ReceiveMessage(socket, std::min<std::uint64_t>(kPiece, length - text.size()));
        text += message && *message ? (*message)->bytes : "";
    }
    if (!message) {
        return base::Fail(message.error());
    }
    return *message ? std::optional(std::move(text)) : std::nullopt;
}

} // namespace delivery
