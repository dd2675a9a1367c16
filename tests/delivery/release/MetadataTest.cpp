#include "delivery/release/Metadata.h"

#include <gmock/gmock.h>

#include <functional>

#include "delivery/release/ReleaseFault.h"
#include "delivery/release/StrictJson.h"
#include "tests/delivery/release/TestRelease.h"

namespace delivery {
namespace {

using testing::HasSubstr;

// What is wrong with the file of a role; empty when it can be read.
std::string Fault(MetadataType type, const std::string &text) {
    const base::Result<SignedFile> file = ReadSigned(NameOf(type), type, text);
    const auto read = [&]() -> base::Result<void> {
        switch (type) {
        case MetadataType::Root:
            return ReadRoot(*file).map([](const Root &) {});
        case MetadataType::Timestamp:
            return ReadTimestamp(*file).map([](const Timestamp &) {});
        case MetadataType::Snapshot:
            return ReadSnapshot(*file).map([](const Snapshot &) {});
        case MetadataType::Targets:
            return ReadTargets(*file).map([](const Targets &) {});
        }
        return {};
    };
    const base::Result<void> done = file ? read() : base::Fail(file.error());
    EXPECT_TRUE(done || FaultOf(done.error()) == ReleaseFault::Malformed);
    return done ? "" : done.error().text;
}

TEST(Metadata, WhatIsMalformedIsNamed) {
    using Change = std::function<void(Json::Value & content)>;
    constexpr auto kRoot = MetadataType::Root;
    constexpr auto kTimestamp = MetadataType::Timestamp;
    constexpr auto kSnapshot = MetadataType::Snapshot;
    constexpr auto kTargets = MetadataType::Targets;
    const auto set = [](const char *name, const Json::Value &value) {
        return Change([=](Json::Value &content) { content[name] = value; });
    };
    const auto role = [](const char *field, const Json::Value &value) {
        return Change([=](Json::Value &content) { content["delegations"]["roles"][0][field] = value; });
    };
    const auto target = [](const char *field, const Json::Value &value) {
        return Change([=](Json::Value &content) { content["targets"]["lummac.ini"][field] = value; });
    };
    Json::Value hashes;
    hashes["sha256"] = std::string(64, 'A');
    Json::Value many(Json::arrayValue);
    many.resize(1025);
    for (Json::Value &text : many) {
        text = "x";
    }
    const struct {
        MetadataType type;
        Change change;
        const char *fault;
    } cases[] = {
        {kRoot, [](Json::Value &) {}, ""},
        {kTargets, [](Json::Value &) {}, ""},
        {kRoot, set("spec_version", "1.0"), ""},
        {kRoot, set("spec_version", "1."), "follows version \"1.\""},
        {kRoot, set("spec_version", "10.0"), "follows version \"10.0\""},
        {kRoot, set("spec_version", 1), "\"spec_version\" is not a text"},
        {kRoot, set("unknown", "field"), ""},
        {kRoot, set("version", 0), "\"version\" is not an integer from 1 on"},
        {kRoot, set("version", -1), "\"version\" is not an integer"},
        {kRoot, set("version", "1"), "\"version\" is not an integer"},
        {kRoot, set("version", Json::UInt64(1) << 63), "\"version\" is not an integer"},
        {kRoot, set("version", (Json::UInt64(1) << 63) - 1), ""},
        {kRoot, set("expires", "2030-01-01"), "\"expires\" is not a time"},
        {kRoot, set("expires", "2030-01-01T00:00:00+00:00"), "\"expires\" is not a time"},
        {kRoot, set("expires", "2030-02-30T00:00:00Z"), "\"expires\" is not a time"},
        {kRoot, set("expires", "2030-01-01T24:00:00Z"), "\"expires\" is not a time"},
        {kRoot, set("expires", "2028-02-29T23:59:59Z"), ""},
        {kRoot, set("consistent_snapshot", 1), "\"consistent_snapshot\" is neither true nor false"},
        {kRoot, set("keys", many), "\"keys\" is not an object"},
        {kRoot, [](Json::Value &c) { c["roles"].removeMember("snapshot"); }, "\"snapshot\" is missing"},
        {kRoot, [](Json::Value &c) { c["roles"]["root"]["threshold"] = 0; }, "\"threshold\" is not an integer from 1"},
        {kRoot, [&](Json::Value &c) { c["roles"]["root"]["keyids"] = many; }, "a role has more than 1024 keys"},
        {kRoot, [](Json::Value &c) { c["roles"]["root"]["keyids"][0] = 7; }, "something other than texts"},
        {kTimestamp, [](Json::Value &c) { c["meta"].clear(); }, "\"snapshot.json\" is missing"},
        {kTimestamp, [](Json::Value &c) { c["meta"]["x.json"] = c["meta"]["snapshot.json"]; }, "other files than"},
        {kTimestamp, [](Json::Value &c) { c["meta"]["snapshot.json"]["version"] = 0; },
         "\"version\" is not an integer"},
        {kTimestamp, [](Json::Value &c) { c["meta"]["snapshot.json"]["length"] = -5; }, "\"length\" is not an integer"},
        {kTimestamp, [](Json::Value &c) { c["meta"]["snapshot.json"]["hashes"] = Json::objectValue; }, "is empty"},
        {kSnapshot, [&](Json::Value &c) { c["meta"]["targets.json"]["hashes"] = hashes; }, "sha256 hash is malformed"},
        {kSnapshot, [](Json::Value &c) { c["meta"].removeMember("targets.json"); }, "does not list targets.json"},
        {kSnapshot, set("meta", Json::arrayValue), "\"meta\" is not an object"},
        {kTargets, target("length", Json::nullValue), "\"length\" is not an integer"},
        {kTargets, target("hashes", Json::nullValue), "\"hashes\" is not an object"},
        {kTargets, target("custom", "text"), "\"custom\" is not an object"},
        {kTargets, [](Json::Value &c) { c["targets"]["x"] = Json::objectValue; }, "without its length or its hashes"},
        {kTargets, set("delegations", Json::objectValue), "\"keys\" is missing"},
        {kTargets, role("name", ""), "the name of a role is empty"},
        {kTargets, role("name", std::string(1025, 'x')), "longer than 1024 bytes"},
        {kTargets, role("terminating", "yes"), "\"terminating\" is neither true nor false"},
        {kTargets, role("path_hash_prefixes", Json::arrayValue), "both paths and path hash prefixes"},
        {kTargets,
         [](Json::Value &c) {
             Json::Value &roles = c["delegations"]["roles"];
             roles.append(Json::Value(roles[0]));
         },
         "delegates to the same role twice"},
    };
    TestRelease release;
    release.Delegate("targets", "team", 6, {"team/*"});
    release.Publish();
    for (const auto &c : cases) {
        Json::Value content = release.content[NameOf(c.type)];
        c.change(content);
        const std::string fault = Fault(c.type, SignedText(content, {0}));
        EXPECT_TRUE(*c.fault ? fault.starts_with(std::string(NameOf(c.type)) + ".json cannot be used: ")
                             : fault.empty())
            << c.fault << ": " << fault;
        EXPECT_THAT(fault, HasSubstr(c.fault));
    }
}

TEST(Metadata, TheOuterForm) {
    const std::string good =
        R"("signed":{"_type":"root","spec_version":"1.0","version":1,"expires":"2030-01-01T00:00:00Z"})";
    std::string many;
    for (int i = 0; i < 257; ++i) {
        many += (i ? "," : "") + std::string(R"({"keyid":")") + std::to_string(i) + R"(","sig":""})";
    }
    const struct {
        std::string text;
        const char *fault;
    } cases[] = {
        {"{" + good + R"(,"signatures":[]})", ""},
        {"{" + good + R"(,"signatures":[{"keyid":"a","sig":"not hexadecimal"}]})", ""},
        {"{" + good + "}", "\"signatures\" is missing"},
        {"{" + good + R"(,"signatures":[7]})", "\"keyid\" is missing"},
        {"{" + good + R"(,"signatures":[{"keyid":"a"}]})", "\"sig\" is missing"},
        {"{" + good + R"(,"signatures":[{"keyid":"a","sig":""},{"keyid":"a","sig":"00"}]})",
         "two signatures of the same"},
        {"{" + good + R"(,"signatures":[)" + many + "]}", "more than 256 signatures"},
        {R"({"signed":[],"signatures":[]})", "\"signed\" is not an object"},
        {"[]", "\"signatures\" is missing"},
    };
    for (const auto &c : cases) {
        const base::Result<SignedFile> file = ReadSigned("root", MetadataType::Root, c.text);
        EXPECT_EQ(file.has_value(), *c.fault == '\0') << c.text;
        EXPECT_THAT(file ? "" : file.error().text, HasSubstr(c.fault));
    }
}

} // namespace
} // namespace delivery
