#include "site/check/SiteSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FaultServer.h"
#include "tests/support/TempDir.h"

using testing::HasSubstr;

// What a visitor's container would not follow or take is not called good.
TEST(SiteSource, FetchesByTheRulesOfTheContainer) {
    FaultServer insecure, secure(FaultServer::Tls::Good);
    secure.On("/lummac.ini", {FaultServer::Redirect(insecure.Url("/lummac.ini"))});
    secure.On("/index.html", {FaultServer::Redirect("/there.html")});
    secure.On("/there.html", {{.body = "<html>"}});
    insecure.On("/lummac.ini", {{.body = "[Kelvo]"}});
    const auto opened = lumsite::OpenSite(secure.Url("/"), secure.CaFile());
    ASSERT_TRUE(opened);
    lumsite::SiteSource *const site = opened->get();
    EXPECT_THAT(site->Fetch("lummac.ini", 1000).reason, HasSubstr("from a secure address to an insecure one"));
    const lumsite::SiteSource::File page = site->Fetch("index.html", 1000);
    EXPECT_EQ(ReadFile(page.path), "<html>") << page.reason;
    EXPECT_THAT(site->Fetch("index.html", 3).reason, HasSubstr("larger than"));
    EXPECT_FALSE(std::filesystem::exists(page.path)) << "each file until the next one";
    insecure.ExpectExactly({});
}
