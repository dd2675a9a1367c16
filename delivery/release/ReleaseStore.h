// The folder that keeps the trusted metadata of one release, byte for byte as it was served: "root.json",
// "timestamp.json", "snapshot.json", "targets.json" and "ROLE.json" for each delegated role, plus the file "lock".
//
// Every file is replaced in one step, so a process that is killed leaves the old content or the new. Several processes
// may use a folder at once: none waits for another's network, and the newer of two files stays. One thread at a time
// for one object.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "base/Files.h"
#include "base/Result.h"

namespace delivery {

class ReleaseStore {
public:
    explicit ReleaseStore(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    // Nothing when the file is missing, unreadable or larger than any limit. A file that others are listed in is read
    // before they are saved.
    std::optional<std::string> Read(const std::string &role);

    // Saves the file, unless another process has gone further: when the saved file of `lister` (the role whose file
    // leads to this one; of the root, the root before) is no longer the one that this object has read or saved, what
    // lies there stays, with all that it leads to. `staysFirst` may keep the present file of the role for a reason of
    // its own. Fails with ReleaseFault::Storage.
    base::Result<void> Save(const std::string &role, const std::string &lister, std::string_view bytes,
                            const std::function<bool(std::string_view present)> &staysFirst = {});
    // Removes the file, unless another process has changed the root.
    base::Result<void> Forget(const std::string &role);

    // Forgets all that is saved, and saves this root.
    base::Result<void> StartOver(std::string_view root);

private:
    std::filesystem::path FileOf(const std::string &role) const;
    base::Result<base::FileLock> Lock() const;
    std::optional<std::string> OnDisk(const std::string &role) const;
    bool Changed(const std::string &role) const;
    base::Result<void> Write(const std::string &role, std::string_view bytes);

    std::filesystem::path m_folder;
    std::map<std::string, std::string> m_known; // digests of what was read or saved here, by role
};

} // namespace delivery
