// The files by which the browsers find this program, where each browser's documentation puts them.
//
//            the user's                                       the machine's
//   Chromium $XDG_CONFIG_HOME/chromium/NativeMessagingHosts       /etc/chromium/native-messaging-hosts
//   Chrome   $XDG_CONFIG_HOME/google-chrome/NativeMessagingHosts  /etc/opt/chrome/native-messaging-hosts
//   Firefox  ~/.mozilla/native-messaging-hosts                    /usr/lib/mozilla/native-messaging-hosts
//
// They are written whether or not the browser is installed, so that one that is installed later finds them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/Result.h"
#include "host/Folders.h"

namespace lumhost {

struct BrowserHost {
    std::string browser; // for people
    std::filesystem::path file;
    std::filesystem::path limit; // what lies above it is not ours to remove
    bool firefox = false;
    bool forAll = false; // users

    enum class State {
        Missing,
        Current, // names the program that was asked about
        Other,   // names another one, or is not such a file
    };
    State Look(const std::filesystem::path &program) const;
    // The whole file for this program.
    std::string Manifest(const std::filesystem::path &program) const;
    // Both do nothing when there is nothing to do; after a failure nothing has changed. Remove also removes folders
    // that have become empty.
    base::Result<void> Write(const std::filesystem::path &program) const;
    base::Result<void> Remove() const;
};

std::vector<BrowserHost> UsersBrowserHosts(const Folders &folders);
// `root` is put before every path: "/" except in tests.
std::vector<BrowserHost> SystemBrowserHosts(const std::filesystem::path &root);

} // namespace lumhost
