// The INI reader's memory, held against a search of the file for every answer. Input: the section, a key, "w" to let
// each file settle so that it is remembered (slow), then the contents that the file has in turn, a form feed between
// them. A content that begins with "=" replaces the file; another one is written into it.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <thread>

#include "base/Files.h"
#include "base/FileVersion.h"
#include "base/ScopedFile.h"
#include "fuzz/Check.h"
#include "lum/common/lumutil.h"
#include "lum/common/ProfileIndex.h"

namespace {

using Answer = std::optional<std::string>;

constexpr unsigned int kLargestValue = 4096;

Answer Searched(const char *path, const std::string &section, const std::string &key) {
    const base::ScopedFile stream(std::fopen(path, "rt"));
    char value[kLargestValue];
    Require(stream != nullptr, "the file opens");
    return QXReadIni(stream.get(), section.c_str(), key.c_str(), value, sizeof value) ? Answer(value) : std::nullopt;
}

Answer Asked(const char *path, const std::string &section, const std::string &key) {
    constexpr char kNone[] = "\x1d"; // not in any file here
    char value[kLargestValue];
    QXGetPrivateProfileString(section.c_str(), key.c_str(), kNone, value, sizeof value, path);
    return std::string_view(value) == kNone ? std::nullopt : Answer(value);
}

const std::string &Path() {
    static const std::string path =
        (std::filesystem::temp_directory_path() / ("profile-fuzzer." + std::to_string(getpid()))).string();
    return path;
}

void Change(std::string_view content) {
    if (content.starts_with('=')) {
        Require(base::ReplaceFile(Path(), content, base::Readers::Owner, base::Durability::Cached).has_value(),
                "the file is replaced");
        return;
    }
    const base::ScopedDescriptor file(open(Path().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    Require(base::WriteAll(file.get(), content).has_value(), "the file is written");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view rest = InputText(data, size);
    // Arguments end at a NUL, and so do the texts that are compared.
    const std::string section = TakeLine(rest).c_str();
    const std::string key = TakeLine(rest).c_str();
    const bool waits = TakeLine(rest) == "w";
    if (rest.find('\x1d') != rest.npos) {
        return 0;
    }
    for (bool isLast = false; !isLast;) {
        const std::size_t end = rest.find('\f');
        const std::string content(rest.substr(0, end));
        isLast = end == rest.npos;
        rest.remove_prefix(isLast ? rest.size() : end + 1);

        Change(content);
        while (waits && !content.empty() && !base::SettledVersion(Path().c_str())) {
            std::this_thread::yield();
        }
        const ProfileIndex index(content);
        for (const std::string &wanted : {key, std::string("Count"), key + "1", key}) {
            const Answer expected = Searched(Path().c_str(), section, wanted);
            const auto found = index.Find(section, wanted);
            Require((found ? Answer(*found) : std::nullopt) == expected, "the index answers as a search does");
            Require(Asked(Path().c_str(), section, wanted) == expected, "the memory answers as a search does");
        }
    }
    unlink(Path().c_str());
    return 0;
}
