// Blocks every signal in this thread, and so in the threads that it starts while this object lives. Handlers of the
// program and its libraries then run on the main thread, and a connection that the peer has closed raises no SIGPIPE.
#pragma once

#include <signal.h>

namespace base {

class ScopedSignalBlock {
public:
    ScopedSignalBlock() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~ScopedSignalBlock() {
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    ScopedSignalBlock(const ScopedSignalBlock &) = delete;
    ScopedSignalBlock &operator=(const ScopedSignalBlock &) = delete;

private:
    sigset_t m_before;
};

} // namespace base
