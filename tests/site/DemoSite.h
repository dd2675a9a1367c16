// A small site for tests: three components, keys, and a manifest that can be changed between publishes.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/Finding.h"
#include "base/Result.h"
#include "site/check/Checker.h"
#include "site/keys/KeyFolder.h"
#include "site/keys/SiteKeys.h"
#include "site/publish/Manifest.h"
#include "site/publish/Publisher.h"
#include "tests/support/ChildProcess.h"

// Writes a bundle with an executable and an Info.plist that gives `version` ("2.1.3.4").
void WriteBundle(const TempDir &place, const std::string &path, const std::string &version,
                 const std::string &content = "#!/bin/sh\n");

class DemoSite {
public:
    // Makes the components confshell.bundle and "Meeting Hall.app" (2.1.3.4) and libklv.dylib, and the keys "keys".
    DemoSite();

    const TempDir &place() const {
        return m_place;
    }
    std::filesystem::path site() const {
        return m_place.path() / "site";
    }
    std::string In(const std::string &name) const {
        return m_place / ("site/" + name);
    }
    lumsite::Manifest &manifest() {
        return m_manifest;
    }

    base::Result<lumsite::PublishResult> TryPublish(const lumsite::PublishOptions &options = {}) const {
        return lumsite::Publish(m_manifest, site(), options);
    }
    // Fails the running test when it cannot be done.
    lumsite::PublishResult Publish(const lumsite::PublishOptions &options = {}) const;
    // Makes keys by the authority of "keys", for a section of their own.
    lumsite::ManifestSection AddKeys(const std::string &name) const;
    // The section's lines ("Count=3", "File1=...").
    std::string Instructions() const {
        return ReadFile(site() / "lummac.ini");
    }
    // Path below the site of a package that the instruction file names, by the component's name.
    std::string PackageOf(const std::string &component) const;

private:
    TempDir m_place;
    lumsite::Manifest m_manifest;
};

// Every visible file below `folder` with its content, by relative path.
std::map<std::string, std::string> Tree(const std::filesystem::path &folder);

// "error: lummac.ini:3: ..." lines, for messages of failed tests.
std::string TextOf(const base::Findings &findings);

// What went wrong; empty when nothing did.
template <class Value> std::string ErrorOf(const base::Result<Value> &result) {
    return result ? "" : result.error().text;
}

// What check says of a site; fails the running test when it cannot be checked at all.
lumsite::CheckReport ReportOn(const std::string &place, const lumsite::CheckOptions &options = {});
