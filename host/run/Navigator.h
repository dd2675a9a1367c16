// Sends the page on: tells the front end, and opens the address in the desktop's browser when the user asked for it.
#pragma once

#include <string>

#include "host/frontend/EventSink.h"
#include "delivery/page/Page.h"

namespace lumhost {

class Navigator {
public:
    // Both must outlive this. `open`: the desktop's browser is to be used.
    Navigator(const delivery::Page &page, EventSink &sink, bool open) : m_page(page), m_sink(sink), m_open(open) {}

    // `url` may be null: the page names no address, and nothing is opened. Relative addresses are those of the page.
    // Only http and https are handed to the desktop, which would start programs for others.
    void SendTo(const char *target, const char *url);

private:
    const delivery::Page &m_page;
    EventSink &m_sink;
    const bool m_open;
};

} // namespace lumhost
