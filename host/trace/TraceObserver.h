// Connects a TraceCollector, and what the extension and the application tell the session, to the notification centres.
#pragma once

#include <functional>

#include "host/trace/TraceCollector.h"

namespace lumhost {

class TraceObserver {
public:
    struct SessionEvents {
        std::function<void()> willLaunch;      // "KelvoLumWillLaunchApplication"; any process may have sent it
        std::function<void(int pid)> launched; // "KLVMeetingLaunchedNotification" with a process id; likewise
    };

    // Observes from now on; what the system's libraries log goes to the collector at debug level instead of to
    // standard error. Session events come on the main thread, from its run loop; without a notification daemon
    // they do not come. Main thread; the collector must outlive this.
    TraceObserver(TraceCollector &collector, SessionEvents events);
    ~TraceObserver();
    TraceObserver(const TraceObserver &) = delete;
    TraceObserver &operator=(const TraceObserver &) = delete;

private:
    const SessionEvents m_events;
    void *m_observer; // retained
};

} // namespace lumhost
