#include "site/check/ReleaseCheck.h"

#include <algorithm>
#include <chrono>
#include <fstream>

#include "base/Digest.h"
#include "base/Files.h"
#include "base/StagingFolder.h"
#include "delivery/instructions/InstructionFile.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/release/ReleaseLayout.h"
#include "site/publish/Manifest.h"
#include "site/release/Visitor.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Findings;
using base::Result;
using base::Severity;
using delivery::MetadataType;
using delivery::ReleaseFault;

constexpr const char *kRootCopy = "root.json";
constexpr std::uint64_t kLargestRoot = 512'000;
// What a timer renews is late when this little is left.
constexpr std::chrono::hours kRenewalIsLate(48);
constexpr const char *kRestore = "restore the file, or publish again";

// The metadata of the site that is checked, wherever that is.
class SourceRelease : public delivery::ReleaseFetcher {
public:
    explicit SourceRelease(SiteSource &source) : m_source(source) {}

    Result<std::string> Fetch(const std::string &name, std::uint64_t maxLength, std::string_view) override {
        const SiteSource::File file = m_source.Fetch(delivery::kReleaseFolder + name, maxLength);
        if (file.path.empty()) {
            return delivery::Refuse(file.isMissing ? ReleaseFault::NotFound : ReleaseFault::Unreachable,
                                    m_source.Title(delivery::kReleaseFolder + name) +
                                        " cannot be fetched: " + file.reason);
        }
        return base::ReadWhole(file.path, maxLength).map_error([&](base::Error error) {
            return base::Error{error.text, static_cast<int>(ReleaseFault::TooLong)};
        });
    }

private:
    SiteSource &m_source;
};

bool IsAsListed(const fs::path &file, const delivery::FileFacts &facts) {
    delivery::FileCheck check(file, facts);
    std::ifstream in(file, std::ios::binary);
    std::vector<char> piece(1 << 20);
    bool isGood = in.is_open();
    while (isGood && in.read(piece.data(), static_cast<std::streamsize>(piece.size())).gcount() > 0) {
        isGood = check.Add({piece.data(), static_cast<std::size_t>(in.gcount())}).has_value();
    }
    return isGood && check.Finish();
}

class ReleaseExaminer {
public:
    ReleaseExaminer(SiteSource &source, const ReleaseCheckOptions &options, Findings &findings)
        : m_source(source), m_release(source), m_options(options), m_findings(findings) {}

    void Run(const std::string &instructions, const std::vector<std::string> &packages);

private:
    void Add(Severity severity, const std::string &where, const std::string &what, const std::string &remedy) {
        m_findings.push_back({severity, where, what, remedy});
    }
    Result<std::string> TrustedRoot();
    void MeetVisitors(const fs::path &place, const std::string &root);
    // False when the visitor is refused.
    bool Meet(const Result<Visitor> &visitor, const std::string &who);
    void ExamineContent(const fs::path &saved, const std::string &instructions,
                        const std::vector<std::string> &packages);
    void ExamineExpiry(const delivery::TrustedRelease &trusted);
    void ExamineTarget(delivery::ReleaseClient &client, const std::string &path);
    void ExamineFile(const std::string &name, const delivery::FileFacts &facts, Severity severity);
    void ExamineMirrors(const Json::Value &custom, const delivery::ReleaseTarget &instructions);

    SiteSource &m_source;
    SourceRelease m_release;
    const ReleaseCheckOptions &m_options;
    Findings &m_findings;
};

Result<std::string> ReleaseExaminer::TrustedRoot() {
    return m_options.root.empty() ? m_release.Fetch(kRootCopy, kLargestRoot, {})
                                  : base::ReadWhole(m_options.root, kLargestRoot);
}

bool ReleaseExaminer::Meet(const Result<Visitor> &visitor, const std::string &who) {
    const Result<void> started = visitor ? visitor->Start(m_release, {}, m_options.now).map([](const auto &) {})
                                         : Result<void>(Fail(visitor.error()));
    if (!started) {
        Add(Severity::Error, "release", who + " is refused: " + started.error().text,
            "publish or renew the release with its own keys, and find out who has changed it");
    }
    return started.has_value();
}

void ReleaseExaminer::MeetVisitors(const fs::path &place, const std::string &root) {
    Meet(Visitor::Fresh(place / "fresh", root),
         m_options.root.empty() ? "a visitor who comes for the first time" : "a visitor who trusts the given root");
    const Result<std::string> first =
        m_release.Fetch(delivery::MetadataFileName(delivery::NameOf(MetadataType::Root), 1), kLargestRoot, {});
    if (first && *first != root) {
        Meet(Visitor::Fresh(place / "first", *first), "a visitor who has the first root");
    }
    std::error_code error;
    if (!m_options.visitor.empty()) {
        const bool isNew = !fs::exists(m_options.visitor / kRootCopy, error);
        Meet(isNew ? Visitor::Fresh(m_options.visitor, root) : Visitor(m_options.visitor),
             "the visitor of " + m_options.visitor.string());
    }
}

void ReleaseExaminer::ExamineExpiry(const delivery::TrustedRelease &trusted) {
    const auto examine = [&](MetadataType type, const delivery::MetadataHead &head, std::chrono::hours soon,
                             const std::string &remedy) {
        if (head.expires - m_options.now < soon) {
            Add(Severity::Warning, delivery::kReleaseFolder + delivery::MetadataFileName(delivery::NameOf(type)),
                "expires on " + delivery::ShowTime(head.expires), remedy);
        }
    };
    const std::chrono::hours soon = std::chrono::days(m_options.soonDays);
    examine(MetadataType::Root, trusted.root()->head, soon, "sign it again (lumsite rotate KEYS), and publish");
    examine(MetadataType::Targets, trusted.targets("targets")->head, soon, "publish again before that day");
    const std::string timer = "does the timer of lumsite renew run?";
    examine(MetadataType::Snapshot, trusted.snapshot()->head, kRenewalIsLate, timer);
    examine(MetadataType::Timestamp, trusted.timestamp()->head, kRenewalIsLate, timer);
}

void ReleaseExaminer::ExamineFile(const std::string &name, const delivery::FileFacts &facts, Severity severity) {
    const SiteSource::File file = m_source.Fetch(name, *facts.length + 1);
    if (file.path.empty()) {
        Add(severity, m_source.Title(name), "cannot be fetched: " + file.reason, kRestore);
    } else if (!IsAsListed(file.path, facts)) {
        Add(severity, m_source.Title(name), "is not the file that was signed", kRestore);
    }
}

void ReleaseExaminer::ExamineTarget(delivery::ReleaseClient &client, const std::string &path) {
    if (const Result<delivery::ReleaseTarget> target = client.Find(path)) {
        ExamineFile(delivery::kReleaseTargetsFolder + target->address, target->facts, Severity::Error);
    } else {
        Add(Severity::Error, "release", target.error().text, "publish again");
    }
}

void ReleaseExaminer::ExamineMirrors(const Json::Value &custom, const delivery::ReleaseTarget &instructions) {
    if (!IsWebAddress(m_source.Title(""))) {
        return; // a folder is checked without the network
    }
    const Json::Value &mirrors = custom.isObject() ? custom["mirrors"] : Json::Value::nullSingleton();
    for (const Json::Value &mirror : mirrors) {
        if (!mirror.isString() || !ReasonAgainstUrlRoot(mirror.asString()).empty()) {
            Add(Severity::Warning, "release", "a mirror is not an address", "correct \"mirrors\" in the manifest");
            continue;
        }
        ExamineFile(mirror.asString() + instructions.address, instructions.facts, Severity::Warning);
    }
}

void ReleaseExaminer::ExamineContent(const fs::path &saved, const std::string &instructions,
                                     const std::vector<std::string> &packages) {
    delivery::ReleaseClient client(saved, m_release);
    if (const Result<void> fresh = client.Refresh(m_options.now); !fresh) {
        return; // the visitor has said so
    }
    ExamineExpiry(*client.trusted());
    const Result<delivery::ReleaseTarget> listed = client.Find(delivery::kInstructionFileName);
    ExamineTarget(client, delivery::kInstructionFileName);
    for (const std::string &path : packages) {
        ExamineTarget(client, path);
    }
    if (!listed) {
        return;
    }
    if (!delivery::CheckFile(delivery::kInstructionFileName, listed->facts, instructions)) {
        Add(Severity::Error, m_source.Title(delivery::kInstructionFileName),
            "is not the one of the signed release; other visitors get other software",
            "publish again; if nobody here has changed it, find out who has");
    }
    ExamineMirrors(client.trusted()->targets("targets")->custom, *listed);
}

void ReleaseExaminer::Run(const std::string &instructions, const std::vector<std::string> &packages) {
    const Result<std::string> root = TrustedRoot();
    if (!root) {
        const bool hasNone = m_options.root.empty() && m_options.visitor.empty() &&
                             delivery::FaultOf(root.error()) == ReleaseFault::NotFound &&
                             !m_release.Fetch(delivery::MetadataFileName("timestamp"), kLargestRoot, {});
        if (!hasNone) {
            Add(Severity::Error, "release", root.error().text, kRestore);
        }
        return;
    }
    std::error_code error;
    const base::StagingFolder place(fs::temp_directory_path(error), ".lumsite-visitor-");
    if (place.error() != 0) {
        Add(Severity::Error, "release", place.ErrorText(), "check again");
        return;
    }
    MeetVisitors(place.path(), *root);
    ExamineContent(place.path() / "fresh", instructions, packages);
}

} // namespace

Findings ExamineRelease(SiteSource &source, const std::string &instructions, const std::vector<std::string> &packages,
                        const ReleaseCheckOptions &options) {
    Findings findings;
    ReleaseExaminer(source, options, findings).Run(instructions, packages);
    return findings;
}

} // namespace lumsite
