#include "delivery/worker/WorkerMessage.h"

#include <algorithm>
#include <cstring>

#include "base/Text.h"
#include "delivery/package/EntryPath.h"
#include "delivery/package/UnpackCode.h"

namespace delivery {

namespace {

// Changes with the messages: a package of the distribution may be updated while its programs run.
constexpr std::uint64_t kVersion = 2;
constexpr std::size_t kLongestText = 4096;

class FieldWriter {
public:
    FieldWriter() {
        Put(kVersion);
    }
    void Put(std::uint64_t number) {
        m_bytes.append(reinterpret_cast<const char *>(&number), sizeof number);
    }
    void Put(std::string_view text) {
        Put(std::uint64_t{text.size()});
        m_bytes.append(text);
    }
    std::string Take() {
        return std::move(m_bytes);
    }

private:
    std::string m_bytes;
};

// Zeros and empty texts once something was missing; see Done.
class FieldReader {
public:
    explicit FieldReader(std::string_view bytes) : m_rest(bytes) {
        const bool known = Number() == kVersion;
        m_good = m_good && known;
    }

    std::uint64_t Number() {
        std::uint64_t number = 0;
        if (m_rest.size() < sizeof number) {
            m_good = false;
            return 0;
        }
        std::memcpy(&number, m_rest.data(), sizeof number);
        m_rest.remove_prefix(sizeof number);
        return number;
    }
    std::string Text() {
        const std::uint64_t size = Number();
        if (size > std::min(m_rest.size(), kLongestText)) {
            m_good = false;
            return {};
        }
        const std::string text(m_rest.substr(0, size));
        m_rest.remove_prefix(size);
        return text;
    }
    bool good() const {
        return m_good;
    }
    // All of it has been read, and nothing was missing.
    bool Done() const {
        return m_good && m_rest.empty();
    }

private:
    std::string_view m_rest;
    bool m_good = true;
};

void PutFiles(const std::vector<UnpackedFile> &files, FieldWriter &fields) {
    const bool allFit = std::ranges::all_of(files, [](const UnpackedFile &file) {
        return file.path.size() <= kLongestText && file.target.size() <= kLongestText;
    });
    fields.Put(std::uint64_t{allFit ? files.size() : 0});
    for (const UnpackedFile &file : allFit ? files : std::vector<UnpackedFile>()) {
        fields.Put(file.path);
        fields.Put(file.target);
        fields.Put(file.size);
        fields.Put(std::uint64_t{file.executable});
        fields.Put(std::uint64_t{file.digest.has_value()});
        fields.Put(file.digest.value_or(0));
    }
}

std::vector<UnpackedFile> TakeFiles(FieldReader &fields) {
    std::vector<UnpackedFile> files;
    for (std::uint64_t left = fields.Number(); left > 0 && fields.good(); --left) {
        UnpackedFile file;
        file.path = fields.Text();
        file.target = fields.Text();
        file.size = fields.Number();
        file.executable = fields.Number() != 0;
        const bool known = fields.Number() != 0;
        const std::uint64_t digest = fields.Number();
        file.digest = known ? std::optional(digest) : std::nullopt;
        files.push_back(std::move(file));
    }
    return files;
}

bool IsFailure(std::uint64_t code) {
    constexpr UnpackCode kFailures[] = {kUnpackNoPackage,    kUnpackNoArchive,   kUnpackDamaged,
                                        kUnpackRefusedEntry, kUnpackTooLarge,    kUnpackNotOneComponent,
                                        kUnpackNoSpace,      kUnpackNotWritable, kUnpackInterrupted};
    return std::find(std::begin(kFailures), std::end(kFailures), static_cast<int>(code)) != std::end(kFailures);
}

} // namespace

std::string Encode(const WorkerRequest &request) {
    FieldWriter fields;
    fields.Put(request.component);
    fields.Put(request.limits.maxBytes);
    fields.Put(request.limits.maxEntries);
    fields.Put(request.limits.maxWindow);
    return fields.Take();
}

std::optional<WorkerRequest> DecodeRequest(std::string_view bytes) {
    FieldReader fields(bytes);
    WorkerRequest request;
    request.component = fields.Text();
    request.limits.maxBytes = fields.Number();
    request.limits.maxEntries = fields.Number();
    request.limits.maxWindow = fields.Number();
    return fields.Done() ? std::optional(request) : std::nullopt;
}

std::string Encode(const WorkerAnswer &answer) {
    FieldWriter fields;
    fields.Put(std::uint64_t{answer.protections.landlock});
    fields.Put(std::uint64_t{answer.protections.systemCalls});
    fields.Put(std::uint64_t{answer.protections.memory});
    if (answer.unpacked) {
        fields.Put(std::uint64_t{kUnpackOk});
        fields.Put(answer.unpacked->component);
        fields.Put(answer.unpacked->bytes);
        PutFiles(answer.unpacked->files, fields);
    } else {
        const std::string &text = answer.unpacked.error().text;
        fields.Put(static_cast<std::uint64_t>(answer.unpacked.error().code));
        fields.Put(std::string_view(text).substr(0, kLongestText));
    }
    return fields.Take();
}

std::optional<WorkerAnswer> DecodeAnswer(std::string_view bytes) {
    FieldReader fields(bytes);
    WorkerAnswer answer;
    answer.protections.landlock = static_cast<unsigned>(fields.Number());
    answer.protections.systemCalls = fields.Number() != 0;
    answer.protections.memory = fields.Number() != 0;
    const std::uint64_t code = fields.Number();
    if (code == kUnpackOk) {
        Unpacked unpacked;
        unpacked.component = fields.Text();
        unpacked.bytes = fields.Number();
        unpacked.files = TakeFiles(fields);
        const auto isInside = [&](const UnpackedFile &file) {
            const std::optional<EntryPath> path = SplitEntryPath(file.path);
            return path && !path->empty() && path->front() == unpacked.component && JoinEntryPath(*path) == file.path;
        };
        if (!std::ranges::all_of(unpacked.files, isInside)) {
            return std::nullopt;
        }
        answer.unpacked = std::move(unpacked);
    } else if (const std::string text = base::OneLine(fields.Text()); IsFailure(code) && !text.empty()) {
        answer.unpacked = base::Fail(text, static_cast<int>(code));
    } else {
        return std::nullopt;
    }
    return fields.Done() ? std::optional(std::move(answer)) : std::nullopt;
}

} // namespace delivery
