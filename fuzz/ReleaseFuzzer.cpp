// Whole releases: a good one is changed step by step, while a visitor follows it. Input: one step a line.
//
//     set ROLE FIELD/FIELD... JSON   changes what a role says (an empty JSON removes the field)
//     sign ROLE KEY...               the keys (numbers) that sign for it from now on
//     keys ROLE THRESHOLD KEY...     the same, and the root lists them
//     give ROLE NEW KEY PATTERN      delegates
//     serve ROLE                     signs it and serves it
//     publish | publish-root         new versions of all, of the root
//     copy NAME NAME                 serves a file under another's name
//     text NAME BYTES                serves these bytes
//     drop NAME                      serves nothing
//     refresh | find PATH            what the visitor does
#include <unistd.h>

#include <filesystem>
#include <set>
#include <sstream>

#include "base/Files.h"
#include "base/Text.h"
#include "delivery/release/ReleaseClient.h"
#include "fuzz/ReleaseCheck.h"

namespace {

namespace fs = std::filesystem;

constexpr int kMaxSteps = 40;
constexpr int kMaxVisits = 6;

class Trial {
public:
    Trial() {
        Require(delivery::ReleaseClient::Pin(m_folder, m_release.Served("root")).has_value(),
                "the good root is pinned");
        Visit("");
    }

    void Step(const std::string &line) {
        std::istringstream words(line);
        std::string what;
        words >> what;
        if (what == "refresh" || what == "find") {
            Visit(Rest(words));
        } else {
            Change(what, words);
        }
        for (const auto &[name, bytes] : m_release.files) {
            m_served.insert(bytes);
        }
    }

private:
    static std::string Rest(std::istringstream &words) {
        std::string rest;
        std::getline(words >> std::ws, rest);
        return rest;
    }

    static std::vector<unsigned> Keys(std::istringstream &words) {
        std::vector<unsigned> keys;
        for (unsigned key = 0; keys.size() < 4 && words >> key;) {
            keys.push_back(key % 60);
        }
        return keys;
    }

    void Change(const std::string &what, std::istringstream &words) {
        if (what == "publish") {
            return m_release.Publish();
        }
        if (what == "publish-root") {
            return m_release.PublishRoot();
        }
        std::string name;
        words >> name;
        if (what == "copy") {
            const auto from = m_release.files.find(name);
            m_release.files[Rest(words)] = from == m_release.files.end() ? "" : from->second;
        } else if (what == "text") {
            m_release.files[name] = Rest(words);
        } else if (what == "drop") {
            m_release.files.erase(name);
        } else if (m_release.content.count(name)) {
            ChangeRole(what, name, words);
        }
    }

    void ChangeRole(const std::string &what, const std::string &role, std::istringstream &words) {
        if (what == "set") {
            std::string path;
            words >> path;
            Set(m_release.content[role], path, Rest(words));
        } else if (what == "sign") {
            m_release.signers[role] = Keys(words);
        } else if (what == "keys") {
            unsigned threshold = 1;
            words >> threshold;
            m_release.SetKeys(role, Keys(words), threshold);
        } else if (what == "give") {
            std::string name;
            unsigned key = 0;
            words >> name >> key;
            if (IsTargets(role) && !name.empty() && name.size() < 100) {
                m_release.Delegate(role, name, key % 60, {Rest(words)});
            }
        } else if (what == "serve") {
            m_release.Serve(role);
        }
    }

    // A field keeps the type that TestRelease relies on.
    static void Set(Json::Value &content, const std::string &path, const std::string &text) {
        const base::Result<Json::Value> value = delivery::ReadStrictJson("[" + text + "]");
        Json::Value *field = &content;
        std::istringstream parts(path);
        for (std::string part; std::getline(parts, part, '/');) {
            if (!field->isObject() || !field->isMember(part)) {
                return;
            }
            field = &(*field)[part];
        }
        const bool fits = value && value->size() == 1 && (*value)[0].type() == field->type();
        if (fits && field != &content) {
            *field = (*value)[0];
        }
    }

    bool IsTargets(const std::string &role) const {
        return role != "root" && role != "timestamp" && role != "snapshot";
    }

    std::string Saved(const fs::path &file) const {
        return base::ReadWhole(m_folder / file, 10'000'000).value_or("");
    }

    std::uint64_t SavedVersion(delivery::MetadataType type) const {
        const std::string role = delivery::NameOf(type);
        const base::Result<delivery::SignedFile> file = delivery::ReadSigned(role, type, Saved(role + ".json"));
        return file ? file->head.version : 0;
    }

    void Visit(const std::string &path) {
        if (++m_visits > kMaxVisits) {
            return;
        }
        for (const auto &[name, bytes] : m_release.files) {
            m_served.insert(bytes);
        }
        delivery::ReleaseClient client(m_folder, m_release);
        const base::Result<void> refreshed = client.Refresh(kReleaseNow);
        const base::Result<delivery::ReleaseTarget> found = client.Find(path);
        Require(refreshed || !refreshed.error().text.empty(), "a refusal says why");
        Require(refreshed || !found, "nothing of a refused release is used");
        Require(!found || found->path == path, "what is found is what was looked for");
        CheckSaved();
        CheckVersions();
        if (refreshed) {
            delivery::ReleaseClient offline(m_folder, m_release);
            const std::size_t asked = m_release.requests.size();
            Require(offline.Recall(kReleaseNow).has_value(), "what was accepted is good without network");
            Require(m_release.requests.size() == asked, "and nothing is asked for");
        }
    }

    void CheckSaved() const {
        for (const auto &entry : fs::directory_iterator(m_folder)) {
            const std::string name = entry.path().filename();
            Require(name == "lock" || name.ends_with(".json"), "nothing else is left in the folder");
            Require(name == "lock" || m_served.count(Saved(name)) == 1, "what is saved was served");
        }
    }

    void CheckVersions() {
        const std::uint64_t root = SavedVersion(delivery::MetadataType::Root);
        const std::uint64_t timestamp = SavedVersion(delivery::MetadataType::Timestamp);
        Require(root >= m_root, "the root never goes back");
        Require(timestamp >= m_timestamp || root > m_root, "nor does the timestamp, unless a root came between");
        m_root = root;
        m_timestamp = timestamp;
    }

    const fs::path m_base = fs::temp_directory_path() / ("release-" + std::to_string(getpid()));
    const fs::path m_folder = (fs::remove_all(m_base), m_base);
    TestRelease m_release = GoodRelease();
    std::set<std::string> m_served;
    std::uint64_t m_root = 0;
    std::uint64_t m_timestamp = 0;
    int m_visits = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view input = InputText(data, size);
    Trial trial;
    for (int step = 0; step < kMaxSteps && !input.empty(); ++step) {
        trial.Step(TakeLine(input));
    }
    return 0;
}
