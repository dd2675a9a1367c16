// The launcher's owner, the controller, as the launcher sees it.
//
// The view holds a plain pointer to the controller, and the controller has no base class that could be an interface of
// this folder. So this class is the interface: declared where it is used, defined beside the controller
// (lum/lumext/LaunchOwner.cpp). Includes go one way only, from lum/lumext to lum/launcher.
//
// Without an owner (null) every page parameter is absent and the rest does nothing. Main thread only.
#pragma once

#include <optional>
#include <string>

class CLumExtension;

class LaunchOwner {
public:
    // Not owned.
    explicit LaunchOwner(CLumExtension *extension) : m_extension(extension) {}

    std::optional<std::string> Parameter(const char *name) const;
    bool SuppressesInstallation() const;
    bool UsesPlaceholderWindow() const;

    // The process id of the application that was just started.
    void Started(int processId) const;
    // The launch of one of these was attempted, or it runs already: the owner watches it from now on.
    void ApplicationLaunched() const;
    void PlayerLaunched() const;
    void RecordingPlayerLaunched() const;

    // Tells the user that the application did not start.
    void ShowLaunchFailure(const std::string &executablePath) const;

private:
    CLumExtension *m_extension;
};
