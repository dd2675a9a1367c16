// The files by which the browsers find this program, where each browser's documentation says.
//
//            the user's                                       the machine's
//   Chromium $XDG_CONFIG_HOME/chromium/NativeMessagingHosts       /etc/chromium/native-messaging-hosts
//   Chrome   $XDG_CONFIG_HOME/google-chrome/NativeMessagingHosts  /etc/opt/chrome/native-messaging-hosts
//   Firefox  ~/.mozilla/native-messaging-hosts                    /usr/lib/mozilla/native-messaging-hosts
//
// They are written whether or not the browser is there, so that one that is installed later finds them, too.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/Folders.h"

namespace lumhost {

struct BrowserHost {
    std::string browser; // for people
    std::filesystem::path file;
    std::filesystem::path base; // what lies above it is not ours to remove
    bool firefox = false;
    bool forAll = false; // users

    enum class State {
        Missing,
        Current, // names the program that was asked about
        Other,   // names another one, or is no such file
    };
    State Look(const std::filesystem::path &program) const;
    // The whole file for this program.
    std::string Manifest(const std::filesystem::path &program) const;
    // Both do nothing when there is nothing to do. False, with the system's reason, when it cannot be done; then
    // nothing has changed. Remove takes folders that have become empty along.
    bool Write(const std::filesystem::path &program, std::string &error) const;
    bool Remove(std::string &error) const;
};

std::vector<BrowserHost> UsersBrowserHosts(const Folders &folders);
// `root` stands before every path: "/" but for a test.
std::vector<BrowserHost> SystemBrowserHosts(const std::filesystem::path &root);

} // namespace lumhost
