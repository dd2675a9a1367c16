// The network of a release's client: metadata files by the rules of Transfers.h. An entity tag that came with a file is
// kept beside the metadata ("NAME.tag"), so that the server can answer that the file is still the same.
#pragma once

#include <chrono>
#include <ctime>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "delivery/release/ReleaseFetcher.h"
#include "delivery/transfer/Transfers.h"

namespace lumhost {

class MetadataFetcher final : public delivery::ReleaseFetcher {
public:
    // `address`: of the metadata, with "/" at its end. `folder`: for the tags. `stopped` is asked several times a
    // second while a file is waited for. `transfers` must outlive this, which belongs to another thread.
    MetadataFetcher(delivery::Transfers &transfers, std::string address, std::filesystem::path folder,
                    std::function<bool()> stopped);

    base::Result<std::string> Fetch(const std::string &name, std::uint64_t maxLength, std::string_view saved) override;

    // From then on everything is unreachable; nothing: never.
    void GiveUpAt(std::optional<std::chrono::steady_clock::time_point> when) {
        m_end = when;
    }
    bool HasGivenUp() const {
        return m_end && std::chrono::steady_clock::now() >= *m_end;
    }
    void SetFolder(std::filesystem::path folder) {
        m_folder = std::move(folder);
    }
    // What the server's clock showed in its last reply.
    std::optional<std::time_t> ServerTime() const {
        return m_serverTime;
    }

private:
    std::string KnownTag(const std::string &name, std::string_view saved) const;
    void KeepTag(const std::string &name, const std::string &tag, std::string_view bytes) const;

    delivery::Transfers &m_transfers;
    std::string m_address;
    std::filesystem::path m_folder;
    std::function<bool()> m_stopped;
    std::optional<std::chrono::steady_clock::time_point> m_end;
    std::optional<std::time_t> m_serverTime;
};

} // namespace lumhost
