#include "host/browser/NativePipe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "base/ScopedSignalBlock.h"
#include "host/Process.h"

namespace lumhost {

namespace {

constexpr int kRest = 500; // milliseconds without a byte, after which no more are expected

base::ScopedDescriptor TakeOver(int descriptor) {
    return base::ScopedDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// Waits until `descriptor` is readable or closed, at most `milliseconds` (-1: for ever). True when it is.
bool WaitFor(int descriptor, int bell, int milliseconds, bool &rung) {
    pollfd places[] = {{descriptor, POLLIN, 0}, {bell, POLLIN, 0}};
    while (poll(places, 2, milliseconds) < 0 && errno == EINTR) {
    }
    rung = places[1].revents != 0;
    return places[0].revents != 0;
}

} // namespace

NativePipe::NativePipe()
    : m_in(TakeOver(STDIN_FILENO)), m_out(TakeOver(STDOUT_FILENO)), m_bell(eventfd(0, EFD_CLOEXEC)) {
    const base::ScopedDescriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    dup2(nothing.get(), STDIN_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

NativePipe::~NativePipe() {
    if (m_thread.joinable()) {
        const std::uint64_t one = 1;
        (void)!write(m_bell.get(), &one, sizeof one);
        m_thread.join();
    }
}

bool NativePipe::Read(char *bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t part = read(m_in.get(), bytes, size);
        if (part < 0 && errno == EINTR && PendingSignal() == 0) {
            continue;
        }
        if (part <= 0) {
            return false;
        }
        bytes += part;
        size -= static_cast<std::size_t>(part);
    }
    return true;
}

void NativePipe::Discard(std::uint64_t size) {
    std::array<char, 64 * 1024> bytes{};
    pollfd ready{m_in.get(), POLLIN, 0};
    while (size > 0 && poll(&ready, 1, kRest) > 0) {
        const ssize_t part = read(m_in.get(), bytes.data(), std::min<std::uint64_t>(size, bytes.size()));
        if (part <= 0) {
            return;
        }
        size -= static_cast<std::uint64_t>(part);
    }
}

tl::expected<std::optional<std::string>, NativeRefusal> NativePipe::Receive() {
    std::uint32_t length = 0;
    if (!Read(reinterpret_cast<char *>(&length), sizeof length)) {
        return std::nullopt;
    }
    if (length > kLargestNativeMessage) {
        Discard(length);
        return tl::unexpected<NativeRefusal>({"too-large", "the message is larger than 1 MB"});
    }
    std::string message(length, '\0');
    if (!Read(message.data(), message.size())) {
        return std::nullopt;
    }
    return message;
}

bool NativePipe::Send(std::string_view message) {
    return message.size() > kLargestNativeMessage || base::WriteAll(m_out.get(), Framed(message)).has_value();
}

void NativePipe::Listen(std::chrono::milliseconds grace, int status) {
    const base::ScopedSignalBlock block; // signals are for the main thread
    m_thread = std::thread([this, grace, status] { Watch(grace, status); });
}

void NativePipe::Watch(std::chrono::milliseconds grace, int status) {
    bool rung = false;
    if (!WaitFor(m_in.get(), m_bell.get(), -1, rung) || rung) {
        return;
    }
    char byte = 0;
    m_news = read(m_in.get(), &byte, 1) > 0 ? News::Chatter : News::Left;
    WaitFor(-1, m_bell.get(), static_cast<int>(grace.count()), rung);
    if (!rung) {
        _exit(status);
    }
}

} // namespace lumhost
