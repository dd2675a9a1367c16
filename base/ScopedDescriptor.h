// A file descriptor that is closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace base {

class ScopedDescriptor {
public:
    ScopedDescriptor() = default;
    explicit ScopedDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~ScopedDescriptor() {
        Close();
    }
    ScopedDescriptor(ScopedDescriptor &&other) noexcept : m_descriptor(other.Release()) {}
    ScopedDescriptor &operator=(ScopedDescriptor &&other) noexcept {
        if (this != &other) {
            Close();
            m_descriptor = other.Release();
        }
        return *this;
    }

    explicit operator bool() const {
        return m_descriptor >= 0;
    }
    int get() const {
        return m_descriptor;
    }
    int Release() {
        return std::exchange(m_descriptor, -1);
    }
    void Close() {
        if (m_descriptor >= 0) {
            close(Release());
        }
    }

private:
    int m_descriptor = -1;
};

} // namespace base
