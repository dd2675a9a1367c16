// Packages: the input is the archive. Whatever it holds, the destination is whole or as before, and nothing else is
// touched. TMPDIR wants to be in memory: every run of the unpacker brings its folders to the disk.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "fuzz/Check.h"
#include "delivery/package/Unpacker.h"

namespace fs = std::filesystem;

namespace {

constexpr char kComponent[] = "part.bundle";
constexpr delivery::UnpackLimits kSmall{1 << 20, 200, 8 << 20};

// In this process, where the fuzzer sees what its input does.
delivery::Unpacked Here(const delivery::UnpackOrder &order, const std::stop_token &) {
    return delivery::Unpack(order);
}

// A folder for the whole process: "package", "outside" with a file in it, and the folder of the destination.
class Place {
public:
    Place() {
        std::string name = (fs::temp_directory_path() / "lumfuzz.XXXXXX").string();
        Require(mkdtemp(name.data()) != nullptr, "a temporary folder can be made");
        m_path = name;
        fs::create_directories(m_path / "outside");
        std::ofstream(m_path / "outside" / "kept") << "kept";
    }
    ~Place() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;

    fs::path operator/(const char *name) const {
        return m_path / name;
    }

    void CheckOutside() const {
        Require(EntriesOf(m_path) == 3 && EntriesOf(m_path / "outside") == 1, "nothing appears outside");
        Require(fs::file_size(m_path / "outside" / "kept") == 4, "nothing changes outside");
    }

    static std::ptrdiff_t EntriesOf(const fs::path &folder) {
        return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
    }

private:
    fs::path m_path;
};

void Write(const fs::path &path, std::string_view content) {
    std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
}

void CheckEntry(const fs::directory_entry &entry, const fs::path &root) {
    const fs::file_status status = entry.symlink_status();
    if (fs::is_symlink(status)) {
        const fs::path meant = (entry.path().parent_path() / fs::read_symlink(entry.path())).lexically_normal();
        Require(meant.string().starts_with(root.string()), "a link stays within the component");
        return;
    }
    Require(fs::is_regular_file(status) || fs::is_directory(status), "files, folders and links only");
    const fs::perms special =
        fs::perms::set_uid | fs::perms::set_gid | fs::perms::group_write | fs::perms::others_write;
    Require((status.permissions() & special) == fs::perms::none, "no special permissions");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Place place;
    const fs::path folder = place / "folder";
    fs::remove_all(folder);
    fs::create_directory(folder);
    Write(place / "package", InputText(data, size));

    const fs::path destination = folder / kComponent;
    const base::Result<void> result = delivery::Unpacker(Here, kSmall).Install(place / "package", destination);
    Require(result || (!result.error().text.empty() && result.error().code != delivery::kUnpackOk),
            "a failure has a reason");
    place.CheckOutside();
    if (!result) {
        Require(Place::EntriesOf(folder) == 0, "a failure leaves nothing");
        return 0;
    }
    Require(Place::EntriesOf(folder) == 1 && fs::exists(fs::symlink_status(destination)),
            "nothing is beside the component");
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
        CheckEntry(entry, destination);
    }
    return 0;
}
