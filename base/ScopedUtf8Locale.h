// Makes this thread take file names for UTF-8, whatever the user's locale: libarchive turns the names of an archive
// into the locale's encoding and back.
#pragma once

#include <clocale>
#include <locale.h>

namespace base {

class ScopedUtf8Locale {
public:
    ScopedUtf8Locale()
        : m_utf8(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), m_before(m_utf8 ? uselocale(m_utf8) : nullptr) {}
    ~ScopedUtf8Locale() {
        if (m_utf8) {
            uselocale(m_before);
            freelocale(m_utf8);
        }
    }
    ScopedUtf8Locale(const ScopedUtf8Locale &) = delete;
    ScopedUtf8Locale &operator=(const ScopedUtf8Locale &) = delete;

    // False when the system has no such locale; then the user's holds.
    explicit operator bool() const {
        return m_utf8 != nullptr;
    }

private:
    locale_t m_utf8;
    locale_t m_before;
};

} // namespace base
