#include "host/release/MetadataFetcher.h"

#include "base/Digest.h"
#include "base/Files.h"
#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"

namespace lumhost {

namespace {

using delivery::Refuse;
using delivery::ReleaseFault;

constexpr std::size_t kLongestTag = 1024;

bool IsMissing(long status) {
    return status == 403 || status == 404 || status == 410;
}

} // namespace

MetadataFetcher::MetadataFetcher(delivery::Transfers &transfers, std::string address, std::filesystem::path folder,
                                 std::function<bool()> stopped)
    : m_transfers(transfers), m_address(std::move(address)), m_folder(std::move(folder)),
      m_stopped(std::move(stopped)) {}

// The first line of the file is the digest of the content that the tag belongs to.
std::string MetadataFetcher::KnownTag(const std::string &name, std::string_view saved) const {
    const std::string kept = base::ReadWhole(m_folder / (name + ".tag"), kLongestTag).value_or("");
    const std::size_t end = kept.find('\n');
    const bool fits = !saved.empty() && end != std::string::npos && kept.substr(0, end) == base::DigestOfText(saved);
    return fits ? base::OneLine(kept.substr(end + 1)) : "";
}

void MetadataFetcher::KeepTag(const std::string &name, const std::string &tag, std::string_view bytes) const {
    if (!tag.empty()) { // without one, or when this fails, the file is sent again the next time
        std::ignore = base::ReplaceFile(m_folder / (name + ".tag"), base::DigestOfText(bytes) + "\n" + tag,
                                        base::Readers::Owner, base::Durability::Cached);
    }
}

base::Result<std::string> MetadataFetcher::Fetch(const std::string &name, std::uint64_t maxLength,
                                                 std::string_view saved) {
    const delivery::TransferResult reply =
        m_transfers.Wait(m_address + name, {.maxBytes = maxLength, .knownTag = KnownTag(name, saved), .retries = 1},
                         [this] { return m_stopped() || HasGivenUp(); });
    m_serverTime = reply.serverTime ? reply.serverTime : m_serverTime;
    if (reply.unchanged) {
        return std::string(saved);
    }
    if (!reply.ok && IsMissing(reply.httpStatus)) {
        return Refuse(ReleaseFault::NotFound, name + ": " + reply.cause);
    }
    if (!reply.ok && reply.tooLarge) {
        return Refuse(ReleaseFault::TooLong, name + " is longer than " + base::HumanBytes(maxLength));
    }
    if (!reply.ok) {
        return Refuse(ReleaseFault::Unreachable, HasGivenUp() ? "the site does not answer in time" : reply.error);
    }
    base::Result<std::string> bytes = base::ReadWhole(reply.file, maxLength);
    std::error_code ignored;
    std::filesystem::remove(reply.file, ignored);
    if (!bytes) {
        return Refuse(ReleaseFault::Storage, bytes.error().text);
    }
    if (name == "timestamp.json") { // the only file that has the same name in the next release
        KeepTag(name, reply.tag, *bytes);
    }
    return bytes;
}

} // namespace lumhost
