// The files of a published folder, by the path of a request. Thread-safe.
//
// Nothing outside the folder can be reached: every step of the path is opened below the one before it, without
// following symbolic links, and names that begin with "." are not there.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "site/Files.h"

namespace lumsite {

struct PublicFile {
    ScopedFd fd;
    std::string name; // the last step
    std::uint64_t size = 0;
    std::time_t modified = 0;
    std::string tag; // strong entity tag, of the content, with its quotes
};

class PublicFolder {
public:
    // Throws SiteError when there is no such folder.
    explicit PublicFolder(const std::filesystem::path &root);

    enum class Outcome { file, folderWithoutSlash, absent };
    // `path` is a decoded absolute path ("/a/b"). A path that ends in "/" means the folder's index.html; a folder named
    // without its "/" is told apart, because relative links in its page would lead astray.
    Outcome Open(std::string_view path, PublicFile &file);

private:
    std::string TagOf(int fd, const struct stat &status);

    ScopedFd m_root;
    // Digests by what changes whenever a file's content does.
    using Identity = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;
    std::mutex m_mutex;
    std::map<Identity, std::string> m_tags;
};

} // namespace lumsite
