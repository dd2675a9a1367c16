#include "site/publish/Manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

using namespace lumsite;
using testing::HasSubstr;

namespace {

const std::string kUrl = R"("url": "http://127.0.0.1/")";
const std::string kSections = R"("sections": [ { "keys": "keys" } ])";
const std::string kComponents = R"("components": [ { "path": "a.bundle" } ])";

std::string Refusal(const std::string &text) {
    const TempDir place;
    const base::Result<Manifest> manifest = ReadManifest(place.Write("site.json", text), "");
    EXPECT_TRUE(manifest || manifest.error().code == kManifestFault);
    return manifest ? "" : manifest.error().text;
}

std::string WithComponent(const std::string &fields) {
    return "{" + kUrl + "," + kSections + ",\n\"components\": [\n{ \"path\": \"a.bundle\", " + fields + " } ] }";
}

std::string WithPage(const std::string &fields) {
    return "{" + kUrl + "," + kSections + "," + kComponents + ",\n\"pages\": [\n{" + fields + "} ] }";
}

} // namespace

TEST(Manifest, DefaultsAndPaths) {
    const TempDir place;
    const std::string path = place.Write("m/site.json", "// ours\n{" + kUrl + "," + kSections + R"(,"components": [
      { "path": "../parts/libklv.dylib/", "version": "1.2.3.4", "linksAsFiles": true, "osVersion": -3 } ],
      "pages": [ { } ] })");
    const Manifest manifest = ReadManifest(path, "https://other.example/x").value();
    EXPECT_EQ(manifest.url, "https://other.example/x");
    EXPECT_EQ(manifest.sections[0].name, "Kelvo");
    EXPECT_EQ(manifest.sections[0].keys, place.path() / "m/keys");
    const ManifestComponent &component = manifest.components[0];
    EXPECT_EQ(component.path, place.path() / "parts/libklv.dylib");
    EXPECT_EQ(component.name, "libklv.dylib");
    EXPECT_EQ(component.version, "1,2,3,4");
    EXPECT_EQ(component.update + component.failure + component.action, "versioninstall");
    EXPECT_EQ(component.format + component.hash, "tar.gzsha256");
    EXPECT_EQ(component.osVersion, -3);
    EXPECT_TRUE(component.linksAsFiles);
    EXPECT_EQ(manifest.pages[0].section + manifest.pages[0].component + manifest.pages[0].file,
              "Kelvolibklv.dylibindex.html");
}

TEST(Manifest, WhatIsWrongIsNamedWithItsLine) {
    const std::pair<std::string, const char *> cases[] = {
        {"{", "is not a manifest"},
        {std::string(2000, '['), "nested too deeply"},
        {"[]", "must be an object"},
        {"{" + kUrl + "," + kUrl + "," + kSections + "," + kComponents + "}", "Duplicate"},
        {"{" + kUrl + "," + kComponents + "}", "\"sections\" must be a list"},
        {"{" + kUrl + "," + kSections + ", \"components\": [] }", "at least one entry"},
        {"{\n\"url\": \"ftp://x\"," + kSections + "," + kComponents + "}", "site.json:2: url \"ftp://x\""},
        {"{\n\"url\": \"http://x/?a\"," + kSections + "," + kComponents + "}", "contains \"?\""},
        {"{\n\"url\": \"http://" + std::string(943, 'x') + "\"," + kSections + "," + kComponents + "}",
         "fewer than 950"},
        {"{" + kUrl + ",\n\"section\": 1}", "site.json:2: the manifest cannot contain \"section\"; use one of: url"},
        {"{" + kUrl + "," + kComponents + R"(, "sections": [{"name": "a]b", "keys": "k"}]})", "cannot be read back"},
        {"{" + kUrl + "," + kComponents + R"(, "sections": [{"name": "a", "keys": "k"},{"name": "A", "keys": "k"}]})",
         "a section above has this name"},
        {"{" + kUrl + "," + kSections + R"(, "components": [ {"path": "a.app"}, {"path": "b/A.app"} ]})",
         "a component above is named A.app"},
        {"{" + kUrl + "," + kSections + R"(, "components": [ {"version": "1.2.3.4"} ]})", "\"path\" is missing"},
        {"{" + kUrl + R"(, "release": {"key": "k"}})", "the release cannot contain \"key\"; use one of: keys, mirrors"},
        {"{" + kUrl + R"(, "release": {"mirrors": []}})", "\"keys\" is missing"},
        {"{" + kUrl + ",\n" + R"("release": {"keys": "k", "mirrors": ["ftp://x"]}})",
         "site.json:2: mirror \"ftp://x\""},
        {WithComponent(R"("version": "1.2.3")"), "site.json:3: version \"1.2.3\""},
        {WithComponent(R"("update": "Version")"), "cannot be \"Version\""},
        {WithComponent(R"("failure": "skip")"), "use one of: nothing, ignore, reboot"},
        {WithComponent(R"("format": "rar")"), "tar.zst"},
        {WithComponent(R"("hash": "md5")"), "cannot be \"md5\""},
        {WithComponent(R"("target": "a;b")"), "holds \";\""},
        {WithComponent(R"("target": "a|b")"), "holds \"|\""},
        {WithComponent(R"("action": "a\nb")"), "holds a line end"},
        {WithComponent(R"("osVersion": "9")"), "whole number"},
        {WithComponent(R"("linksAsFiles": "yes")"), "true or false"},
        {WithPage(R"("file": "../x.html")"), "plain name of a page"},
        {WithPage(R"("file": "lummac.ini")"), "plain name of a page"},
        {WithPage(R"("file": "packages")"), "plain name of a page"},
        {WithPage(R"("section": "Other")"), "no section \"Other\""},
        {WithPage(R"("component": "b.app")"), "no component \"b.app\""},
        {WithPage(R"("parameters": {"LumUrlRoot": "x"})"), "publish itself sets"},
        {WithPage(R"("parameters": {"a": 1})"), "must be text"},
        {WithPage(R"("parameters": {"a": "b\nc"})"), "contains a line break"},
    };
    for (const auto &[text, says] : cases) {
        EXPECT_THAT(Refusal(text), HasSubstr(says)) << text;
    }
    EXPECT_EQ(Refusal("{" + kUrl + "," + kSections + "," + kComponents + "}"), "");
}
