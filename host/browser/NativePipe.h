// The two pipes to the browser. While this object exists only it uses them: what is printed on standard output, here or
// by a launched application, goes to standard error.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "host/browser/NativeMessage.h"
#include "base/Files.h"

namespace lumhost {

class NativePipe {
public:
    enum class News {
        None,
        Left,    // the browser has closed its end
        Chatter, // something came after the only message
    };

    // Takes standard input and output. Not to be made twice in a process.
    NativePipe();
    ~NativePipe();
    NativePipe(const NativePipe &) = delete;
    NativePipe &operator=(const NativePipe &) = delete;

    // Waits for the message; ends early on a signal. Nothing when the browser has closed its end.
    tl::expected<std::optional<std::string>, NativeRefusal> Receive();

    // False when the browser does not take it. One that is larger than the browser allows is left out.
    bool Send(std::string_view message);

    // Starts a thread that listens. When there is news it gives this process `grace` to end in order, and then ends it
    // with `status`, whatever it is doing.
    void Listen(std::chrono::milliseconds grace, int status);
    News news() const {
        return m_news;
    }

private:
    // All `size` bytes; false at the end of file.
    bool Read(char *bytes, std::size_t size);
    // A browser that cannot finish writing its message would not read the answer.
    void Discard(std::uint64_t size);
    void Watch(std::chrono::milliseconds grace, int status);

    base::ScopedDescriptor m_in;
    base::ScopedDescriptor m_out;
    base::ScopedDescriptor m_bell; // rung when this object goes away
    std::atomic<News> m_news{News::None};
    std::thread m_thread;
};

} // namespace lumhost
