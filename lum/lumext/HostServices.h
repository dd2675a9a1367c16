// The services of the host that one instance may call: the table and the cookie, with a function for each slot in use.
//
// A null slot is skipped; without a table every slot is. Texts are UTF-8 and need not live longer
// than the call. Exceptions of the host's functions pass through (Guard.h catches them at the edge).
//
// A value, made from the controller's members whenever it is needed.
#pragma once

#include <optional>
#include <string>

#include "lum/lumext/lumextInterface.h"

class HostServices {
public:
    // Neither is owned. `table` may be null and must otherwise outlive the object.
    HostServices(const tagLUMInterface *table, void *cookie) : m_table(table), m_cookie(cookie) {}

    // There is a table, even if its slots are empty.
    explicit operator bool() const {
        return m_table != nullptr;
    }

    // A copy of the page's value for the parameter (the host may reuse its buffer at the next call), or nothing
    // when the page does not define it.
    std::optional<std::string> GetParameter(const char *name) const;
    // True when the page defines the parameter and its value is this word, ignoring case.
    bool IsParameter(const char *name, const char *word) const;

    // A null `target` is a request in the background. A null `url` is a missing page parameter, passed on.
    void OpenURL(const char *target, const char *url) const;
    void GetFile(LUMGetFileCallback callback, void *context, const std::string &url) const;
    // The host's error code, 0 for success; nothing when the host cannot unpack.
    std::optional<int> InstallFile(const std::string &package, const std::string &destination, void *extension) const;
    // Null, too, when the host has no window.
    _NPWindow *GetWindow() const;
    void Stop() const;
    void ShowMessage(const std::string &text) const;

private:
    const tagLUMInterface *m_table;
    void *m_cookie;
};

// For functions that take null for an absent text. Valid as long as `text`.
inline const char *TextOrNull(const std::optional<std::string> &text) {
    return text ? text->c_str() : nullptr;
}
