// The files of a published folder, by the path of a request. Thread-safe.
//
// Nothing outside the folder can be reached: every step of the path is opened below the one before it, without
// following symbolic links, and names that begin with "." do not exist for visitors.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include <sys/stat.h>

#include "base/Result.h"
#include "base/ScopedDescriptor.h"

namespace lumsite {

struct PublicFile {
    base::ScopedDescriptor descriptor;
    std::string name; // the last step
    std::uint64_t size = 0;
    std::time_t modified = 0;
    std::string tag; // strong entity tag, of the content, with its quotes
};

class PublicFolder {
public:
    static base::Result<std::unique_ptr<PublicFolder>> Open(const std::filesystem::path &root);

    enum class Outcome {
        File,               // `file` is set
        FolderWithoutSlash, // relative links in its page would lead astray
        Absent,
        Unreadable
    };
    // `path` is a decoded absolute path ("/a/b"). A path that ends in "/" means the folder's index.html.
    Outcome Find(std::string_view path, PublicFile &file);

private:
    explicit PublicFolder(base::ScopedDescriptor root) : m_root(std::move(root)) {}
    base::Result<std::string> TagOf(int descriptor, const struct stat &status);

    base::ScopedDescriptor m_root;
    // Digests by what changes whenever a file's content does.
    using Identity = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;
    std::mutex m_mutex;
    std::map<Identity, std::string> m_tags;
};

} // namespace lumsite
