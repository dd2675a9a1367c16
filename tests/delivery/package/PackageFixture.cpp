#include "tests/delivery/package/PackageFixture.h"

#include <locale.h>
#include <seccomp.h>
#include <unistd.h>

namespace delivery {

namespace fs = std::filesystem;

void WritePackage(const fs::path &file, const Kind &kind, const std::vector<Entry> &entries) {
    setlocale(LC_CTYPE, "C.UTF-8"); // for the writer; the unpacker has to do without
    archive *const out = archive_write_new();
    archive_write_set_format(out, kind.format);
    archive_write_add_filter(out, kind.filter);
    ASSERT_EQ(archive_write_open_filename(out, file.c_str()), ARCHIVE_OK) << archive_error_string(out);
    for (const Entry &entry : entries) {
        archive_entry *const header = archive_entry_new();
        archive_entry_set_pathname(header, entry.path.c_str());
        archive_entry_set_mode(header, entry.type | entry.mode);
        archive_entry_set_size(header, static_cast<la_int64_t>(entry.content.size()));
        archive_entry_set_nlink(header, 1);
        if (!entry.link.empty()) {
            archive_entry_set_symlink(header, entry.link.c_str());
        }
        if (!entry.hardlink.empty()) {
            archive_entry_set_hardlink(header, entry.hardlink.c_str());
        }
        EXPECT_EQ(archive_write_header(out, header), ARCHIVE_OK) << archive_error_string(out);
        archive_write_data(out, entry.content.data(), entry.content.size());
        archive_entry_free(header);
    }
    EXPECT_EQ(archive_write_close(out), ARCHIVE_OK) << archive_error_string(out);
    archive_write_free(out);
    setlocale(LC_CTYPE, "C");
}

void ForbidCall(int call, int error, std::optional<std::uint64_t> first) {
    const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    const scmp_arg_cmp argument = SCMP_A0_64(SCMP_CMP_EQ, first.value_or(0));
    if (seccomp_rule_add_array(filter, SCMP_ACT_ERRNO(static_cast<unsigned>(error)), call, first ? 1 : 0, &argument) !=
            0 ||
        seccomp_load(filter) != 0) {
        _exit(100);
    }
    seccomp_release(filter);
}

std::map<std::string, std::string> Tree(const fs::path &folder) {
    std::map<std::string, std::string> tree;
    for (const auto &entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = fs::relative(entry.path().parent_path(), folder) / entry.path().filename();
        const std::string path = name.starts_with("./") ? name.substr(2) : name;
        if (entry.is_symlink()) {
            tree[path + "@"] = fs::read_symlink(entry.path());
        } else if (entry.is_directory()) {
            tree[path + "/"] = "";
        } else {
            const bool executable = (entry.status().permissions() & fs::perms::owner_exec) != fs::perms::none;
            tree[path + (executable ? "*" : "")] = ReadFile(entry.path());
        }
    }
    return tree;
}

} // namespace delivery
