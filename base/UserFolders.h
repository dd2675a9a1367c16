// Where programs keep what belongs to the user, by the XDG Base Directory Specification 0.8. None of the folders need
// exist. Not while another thread changes the environment.
#pragma once

#include <filesystem>

namespace base {

// HOME when it is set and not empty, otherwise the home of the password database; empty when there is neither.
std::filesystem::path HomeFolder();

// `path` with HomeFolder() in the place of `otherHome` when it is below that, otherwise unchanged. For libraries that
// take the home from elsewhere.
std::filesystem::path MovedToHome(const std::filesystem::path &path, const std::filesystem::path &otherHome);

// XDG_CONFIG_HOME, XDG_DATA_HOME, XDG_STATE_HOME and XDG_CACHE_HOME. A variable that is not an absolute path does not
// count, as the standard asks; then the standard's folder below HomeFolder().
std::filesystem::path ConfigFolder();
std::filesystem::path DataFolder();
std::filesystem::path StateFolder();
std::filesystem::path CacheFolder();

// TMPDIR when it is an absolute path, otherwise /tmp.
std::filesystem::path TemporaryFolder();

} // namespace base
