// A front end that tells the browser's extension what the page and the toolbar show.
#pragma once

#include "host/frontend/JsonEvents.h"
#include "host/browser/NativePipe.h"

namespace lumhost {

class NativeEvents final : public JsonEvents {
public:
    explicit NativeEvents(NativePipe &pipe) : m_pipe(pipe) {}

    void Hello();
    void Refuse(const NativeRefusal &refusal);
    // These must be allowed first.
    void Forbid(const std::vector<std::string> &sites);

    // The site's log does not concern the page.
    void OnLogRequest(const LogRequest &request) override;

private:
    void Put(const std::string &json) override;

    NativePipe &m_pipe;
};

} // namespace lumhost
