// Downloads that somebody waits for, one after the other, by the rules of Transfers.h.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "delivery/transfer/Transfers.h"

namespace delivery {

class Fetcher {
public:
    // What may pass is tried once more only. Throws std::system_error when no thread can be started.
    explicit Fetcher(TransferSettings settings);
    ~Fetcher();
    Fetcher(const Fetcher &) = delete;
    Fetcher &operator=(const Fetcher &) = delete;

    // Waits for the file at `url`, of at most `maxBytes`. The file stays until the next call or the end of the object.
    // `stopped` (may be empty) is asked several times a second; true ends the download, as a failure.
    TransferResult Fetch(const std::string &url, std::uint64_t maxBytes, const std::function<bool()> &stopped = {});

private:
    class Doorbell;
    std::unique_ptr<Doorbell> m_doorbell;
    Transfers m_transfers;
    std::filesystem::path m_last;
};

} // namespace delivery
