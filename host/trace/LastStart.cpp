#include "host/trace/LastStart.h"

#include <archive.h>
#include <archive_entry.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <json/json.h>
#include <langinfo.h>
#include <libxml/xmlversion.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "base/Files.h"
#include "base/Text.h"
#include "host/Process.h"

namespace lumhost {

namespace {

constexpr std::size_t kLargestLog = 4 << 20;
constexpr std::uint64_t kLargestKept = 8 << 20;

constexpr const char *kContents =
    R"(This file was made by "lumhost --report". It describes the last start on this computer:

  facts.json     versions of the program and of the libraries it uses, the system, the desktop and its language, the
                 site, the names of the page's parameters and the values of the technical ones, how the start ended
  trace.txt      what the extension did, step by step
  installed.txt  the installed components, and whether they are whole
  doctor.txt     whether this computer has what is needed

It does not contain the values of other parameters (meeting, session, names, titles, addresses), the part of an address
after "?", the name of the user or of the home folder. Parameters of one or two characters cannot be removed from the
trace. Look through the files before you pass them on.
)";

std::string SystemName() {
    const std::string release = base::ReadWhole("/etc/os-release", 64 * 1024).value_or("");
    constexpr std::string_view kName = "PRETTY_NAME=\"";
    const std::size_t name = release.find(kName);
    if (name == std::string::npos) {
        return {};
    }
    const std::size_t start = name + kName.size();
    return release.substr(start, release.find('"', start) - start);
}

std::string Variable(const char *name) {
    const char *value = std::getenv(name);
    return value ? value : "";
}

std::map<std::string, std::string> MachineFacts() {
    std::map<std::string, std::string> facts;
    utsname system{};
    if (uname(&system) == 0) {
        facts["kernel"] = std::string(system.sysname) + " " + system.release + " " + system.machine;
    }
    facts["lumhost"] = kVersion;
    facts["system"] = SystemName();
    facts["curl"] = curl_version();
    facts["archive"] = archive_version_details();
    facts["xml"] = LIBXML_DOTTED_VERSION;
    facts["codeset"] = nl_langinfo(CODESET);
    facts["language"] = Variable("LANG");
    facts["session"] = Variable("XDG_SESSION_TYPE");
    facts["desktop"] = Variable("XDG_CURRENT_DESKTOP");
    facts["display"] = Variable("DISPLAY").empty() ? "no" : "yes";
    return facts;
}

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::filesystem::path FactsFile(const Folders &folders) {
    return folders.state / "last-start.json";
}

std::filesystem::path LogFile(const Folders &folders) {
    return folders.state / "last-start.log";
}

struct FreeArchive {
    void operator()(archive *packed) const {
        archive_write_free(packed);
    }
};

bool AddText(archive *packed, const char *name, const std::string &content) {
    const std::unique_ptr<archive_entry, void (*)(archive_entry *)> entry(archive_entry_new(), archive_entry_free);
    archive_entry_set_pathname(entry.get(), (std::string("lumhost-report/") + name).c_str());
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), 0600);
    archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
    return archive_write_header(packed, entry.get()) == ARCHIVE_OK &&
           archive_write_data(packed, content.data(), content.size()) == static_cast<la_ssize_t>(content.size());
}

} // namespace

LastStart::LastStart(const Folders &folders, const delivery::Page &page, const std::filesystem::path &extension)
    : m_folders(folders), m_redactor(folders.home, UserName(), page.parameters()), m_facts(MachineFacts()) {
    m_facts["start"] = Now();
    m_facts["extension"] = m_redactor.Redact(extension.string());
    m_facts["page"] = page.address() ? page.address()->Origin() : "file";
    for (const auto &[name, value] : page.parameters()) {
        m_facts["parameter " + base::OneLine(name)] =
            IsTechnicalParameter(name) ? m_redactor.Redact(value) : std::to_string(value.size()) + " bytes";
    }
    if (!base::MakeFolder(folders.state)) {
        return;
    }
    unlink(LogFile(folders).c_str());
    const int descriptor = open(LogFile(folders).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    m_log.reset(descriptor >= 0 ? fdopen(descriptor, "w") : nullptr);
    WriteFacts();
}

void LastStart::Add(const TraceLine &line) {
    if (!m_log) {
        return;
    }
    if (line.text == m_lastText) {
        ++m_repeated;
        return;
    }
    if (m_repeated > 0) {
        std::fprintf(m_log.get(), "    (%u more of these)\n", m_repeated);
        m_repeated = 0;
    }
    m_lastText = line.text;
    if (m_size > kLargestLog) {
        return;
    }
    const std::string text = FormatLine({line.time, line.level, m_redactor.Redact(line.text)});
    m_size += text.size() + 1;
    std::fprintf(m_log.get(), "%s\n%s", text.c_str(), m_size > kLargestLog ? "    (nothing more is kept)\n" : "");
}

void LastStart::Flush() {
    if (m_log) {
        std::fflush(m_log.get());
    }
}

void LastStart::Note(const std::string &name, const std::string &value) {
    m_facts[name] = value;
}

void LastStart::End(int status, const std::string &reason, int message) {
    m_facts["end"] = Now();
    m_facts["status"] = std::to_string(status);
    m_facts["reason"] = m_redactor.Redact(reason);
    m_facts["message"] = std::to_string(message);
    Flush();
    WriteFacts();
}

void LastStart::WriteFacts() const {
    Json::Value facts(Json::objectValue);
    for (const auto &[name, value] : m_facts) {
        facts[name] = base::OneLine(value);
    }
    std::ignore = base::ReplaceFile(FactsFile(m_folders), Json::writeString(Json::StreamWriterBuilder(), facts) + "\n");
}

base::Result<void> LastStart::Pack(const Folders &folders, const std::string &installed, const std::string &findings,
                                   const std::filesystem::path &file) {
    const auto facts = base::ReadWhole(FactsFile(folders), kLargestKept);
    if (!facts) {
        return base::Fail("there is nothing to report: no start of this user is on record");
    }
    const Redactor redactor(folders.home, UserName(), {});
    const base::ScopedDescriptor descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!descriptor) {
        return base::SystemFailure("cannot write " + file.string(), errno);
    }
    const std::unique_ptr<archive, FreeArchive> packed(archive_write_new());
    const bool written =
        fchmod(descriptor.get(), 0600) == 0 && archive_write_add_filter_gzip(packed.get()) == ARCHIVE_OK &&
        archive_write_set_format_ustar(packed.get()) == ARCHIVE_OK &&
        archive_write_open_fd(packed.get(), descriptor.get()) == ARCHIVE_OK &&
        AddText(packed.get(), "README.txt", kContents) && AddText(packed.get(), "facts.json", *facts) &&
        AddText(packed.get(), "trace.txt", base::ReadWhole(LogFile(folders), kLargestKept).value_or("")) &&
        AddText(packed.get(), "installed.txt", redactor.Redact(installed)) &&
        AddText(packed.get(), "doctor.txt", redactor.Redact(findings)) &&
        archive_write_close(packed.get()) == ARCHIVE_OK;
    if (!written) {
        const int error = archive_errno(packed.get());
        return base::SystemFailure("cannot write " + file.string(), error > 0 ? error : EIO);
    }
    return {};
}

} // namespace lumhost
