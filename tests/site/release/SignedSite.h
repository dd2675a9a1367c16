// A published site with a signed release, and its visitors.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "site/release/RootCeremony.h"
#include "tests/site/DemoSite.h"

class SignedSite : public testing::Test {
protected:
    SignedSite();

    void Publish(const std::function<void(const std::string &step)> &checkpoint = {});
    // Replaces keys; fails the running test when the root is not complete then.
    void Rotate(const lumsite::Rotation &rotation);
    // A visitor who trusts the site's first root and has nothing else; the folder's path.
    std::filesystem::path NewVisitor();
    // A start of that visitor down to the last byte of the last package: why it is refused, or "".
    std::string Visit(const std::filesystem::path &visitor, delivery::ReleaseTime when) const;
    std::string Visit(const std::filesystem::path &visitor) const {
        return Visit(visitor, now);
    }
    std::string Check(const std::filesystem::path &visitor = {}) const;

    std::filesystem::path Keys() const {
        return demo.place().path() / "release-keys";
    }
    std::filesystem::path Release() const {
        return demo.site() / "release";
    }

    DemoSite demo;
    delivery::ReleaseTime now;

private:
    int m_visitors = 0;
};
