#include "base/UserFolders.h"

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace base {

namespace {

std::filesystem::path FromVariable(const char *name, const std::filesystem::path &otherwise) {
    const char *value = std::getenv(name);
    return value && value[0] == '/' ? std::filesystem::path(value) : otherwise;
}

} // namespace

std::filesystem::path HomeFolder() {
    const char *home = std::getenv("HOME");
    if (home && *home) {
        return home;
    }
    const passwd *user = getpwuid(geteuid());
    return user && user->pw_dir ? user->pw_dir : std::filesystem::path();
}

std::filesystem::path MovedToHome(const std::filesystem::path &path, const std::filesystem::path &otherHome) {
    const std::filesystem::path within = path.lexically_relative(otherHome);
    return within.empty() || *within.begin() == ".." ? path : (HomeFolder() / within).lexically_normal();
}

std::filesystem::path ConfigFolder() {
    return FromVariable("XDG_CONFIG_HOME", HomeFolder() / ".config");
}

std::filesystem::path DataFolder() {
    return FromVariable("XDG_DATA_HOME", HomeFolder() / ".local/share");
}

std::filesystem::path StateFolder() {
    return FromVariable("XDG_STATE_HOME", HomeFolder() / ".local/state");
}

std::filesystem::path CacheFolder() {
    return FromVariable("XDG_CACHE_HOME", HomeFolder() / ".cache");
}

std::filesystem::path TemporaryFolder() {
    return FromVariable("TMPDIR", "/tmp");
}

} // namespace base
