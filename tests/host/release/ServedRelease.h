// A release on a web server: what TestRelease has made, as files below a folder.
#pragma once

#include "base/Digest.h"
#include "tests/delivery/release/TestRelease.h"
#include "tests/support/FaultServer.h"
#include "tests/support/TempDir.h"

// Below "/kit" of the server: an instruction file and a package, in version 2 of a release that does not expire soon.
class ServedRelease : public TestRelease {
public:
    explicit ServedRelease(FaultServer &server) {
        server.ServeFolder(m_folder.path());
        for (const char *role : {"root", "targets", "snapshot", "timestamp"}) {
            content[role]["expires"] = "2099-01-01T00:00:00Z";
        }
        Serve("root");
        root = m_folder.Write("root.json", Served("root"));
        Add("lummac.ini", "[Kelvo]\n");
        Add("packages/a.tgz", kPackage);
        Write();
    }

    static constexpr char kPackage[] = "a package";

    // "/kit/release/targets/packages/HASH.a.tgz"
    static std::string PathOf(const std::string &name, const std::string &bytes) {
        const std::size_t slash = name.rfind('/') + 1; // 0 when there is none
        return "/kit/release/targets/" + name.substr(0, slash) + base::DigestOfText(bytes) + "." + name.substr(slash);
    }
    void Add(const std::string &name, const std::string &bytes) {
        AddTarget("targets", name, bytes);
        m_folder.Write(PathOf(name, bytes).substr(1), bytes);
    }
    // Serves other bytes in the place of the target.
    void Tamper(const std::string &name, const std::string &bytes, const std::string &others) {
        m_folder.Write(PathOf(name, bytes).substr(1), others);
    }
    // Publishes a new version, and serves it.
    void Write() {
        Publish();
        WriteMetadata();
    }
    void WriteMetadata() {
        std::filesystem::create_directories(metadata());
        for (const auto &[name, text] : files) {
            m_folder.Write("kit/release/" + name, text);
        }
        m_folder.Write("kit/release/root.json", Served("root"));
    }
    std::filesystem::path metadata() const {
        return m_folder.path() / "kit/release";
    }

    std::string root; // a file with version 1 of the root

private:
    TempDir m_folder;
};
