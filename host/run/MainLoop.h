// The run loop of the main thread: the window system's when there is a window, the plain one otherwise.
//
// The window system is started by the first that needs a window (the extension, or an alert of the container), because
// starting it takes longer than a whole start without one. This notices, finishes its launch and goes on with its loop.
//
// Three kinds of things happen on it:
//   Control  everywhere, also while a panel is open or a package is unpacked: signals, time limits
//   Beat     ten times a second, on the plain loop only
//   Woken    soon after another thread has called the waker, on the plain loop only
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace lumhost {

class MainLoop {
public:
    class Client {
    public:
        virtual ~Client() = default;
        virtual void Control() = 0;
        virtual void Beat() = 0;
        virtual void Woken() = 0;
        // The window system has just been started.
        virtual void WindowsCame() = 0;
    };

    // Main thread, one at a time. The client must outlive this.
    explicit MainLoop(Client &client);
    ~MainLoop();
    MainLoop(const MainLoop &) = delete;
    MainLoop &operator=(const MainLoop &) = delete;

    // Until Quit.
    void Run();
    // From within anything that Run called. Returns at once.
    void Quit();

    // May be called on any thread, as often as one likes, as long as this object lives.
    std::function<void()> Waker();

    // Handles what the user does with the windows until `ended`, which waits for so long at most, answers true. Only
    // Control is called.
    void KeepWindowsAlive(const std::function<bool(std::chrono::milliseconds)> &ended);

    // Starts the window system for a window of the container's own, if it does not run yet. What is typed before its
    // launch is finished is lost: so this comes before that window. A MainLoop must live.
    static void StartWindows();

    // Ends the panel or alert that is open, if any, as if it had been cancelled; asked again on the next Control when
    // there is another one.
    static void EndModal();

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace lumhost
