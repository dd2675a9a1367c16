// Pages, sound and broken, and what is read from them.
#include "delivery/page/Page.h"

#include "delivery/page/PageObjects.h"

#include <gmock/gmock.h>

using base::Url;
using delivery::Page;
using Parameters = std::vector<std::pair<std::string, std::string>>;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string kObject = R"(<object type="application/x-lum">)";

// `parameters`: those of the object, or nothing when the page has none.
void Case(const char *what, const std::string &html, const std::optional<Parameters> &parameters) {
    SCOPED_TRACE(what);
    Page page;
    EXPECT_EQ(parameters.has_value(), page.ReadObject(html));
    EXPECT_EQ(parameters.value_or(Parameters()), page.parameters());
}

TEST(Page, ReadsTheFirstObject) {
    Case("nothing", "", std::nullopt);
    Case("a plain page", "<html><body><p>hello</body></html>", std::nullopt);
    Case("an object with parameters", kObject + R"(<param name="A" value="1"><param name="B" value="2"></object>)",
         Parameters{{"A", "1"}, {"B", "2"}});
    Case("the type in other letters and with blanks",
         R"(<OBJECT TYPE=" Application/X-Lum "><PARAM NAME=A VALUE=1></OBJECT>)", Parameters{{"A", "1"}});
    Case("a type that only begins so", R"(<object type="application/x-lumx"><param name=A value=1></object>)",
         std::nullopt);
    Case("a type with a parameter", R"(<object type="application/x-lum;v=1"><param name=A value=1></object>)",
         std::nullopt);
    Case("no type", R"(<object><param name="A" value="1"></object>)", std::nullopt);
    Case("in a comment", "<!-- " + kObject + "<param name=A value=1></object> -->", std::nullopt);
    Case("in a script", "<script>document.write('" + kObject + "<param name=A value=1>')</script>", std::nullopt);
    Case("entities", kObject + R"(<param name="A&amp;B" value="&lt;x&gt; &quot;&#65;&#x42;&copy;&nope; a&b"></object>)",
         Parameters{{"A&B", "<x> \"AB\u00A9&nope; a&b"}});
    Case("quotes in quotes",
         kObject + R"(<param name='A' value='say "hi"'><param name="B" value="it's > that"></object>)",
         Parameters{{"A", "say \"hi\""}, {"B", "it's > that"}});
    Case("no quotes", kObject + "<param name=A value=http://h/p?a=1&b=2>", Parameters{{"A", "http://h/p?a=1&b=2"}});
    Case("line breaks in a value", kObject + "<param name=A value='one\ntwo'></object>", Parameters{{"A", "one\ntwo"}});
    Case("no value, empty value, no name", kObject + R"(<param name=A><param name=B value=""><param value=3></object>)",
         Parameters{{"A", ""}, {"B", ""}});
    Case("UTF-8", kObject + "<param name=A value='\u00e4\u6771\U0001F600'></object>",
         Parameters{{"A", "\u00e4\u6771\U0001F600"}});
    Case("Latin 1, not said", kObject + "<param name=A value='\xe4'></object>", Parameters{{"A", "\u00e4"}});
    Case("a declared encoding", "<meta charset=windows-1252>" + kObject + "<param name=A value='\x80'></object>",
         Parameters{{"A", "\u20ac"}});
    Case("two objects", kObject + "<param name=A value=1></object>" + kObject + "<param name=A value=2></object>",
         Parameters{{"A", "1"}});
    Case("another object before",
         "<object type=x/y><param name=X value=0></object>" + kObject + "<param name=A value=1>",
         Parameters{{"A", "1"}});
    Case("within another object",
         "<object type=x/y><param name=X value=0>" + kObject + "<param name=A value=1></object>",
         Parameters{{"A", "1"}});
    Case("with another object in it",
         kObject +
             "<param name=A value=1><object type=x/y><param name=X value=0></object><param name=B value=2></object>",
         Parameters{{"A", "1"}, {"B", "2"}});
    Case("parameters deeper in the object",
         kObject + "<p><b><param name=A value=1></b><p><param name=B value=2></object>",
         Parameters{{"A", "1"}, {"B", "2"}});
    Case("nothing after the object counts", kObject + "</object><param name=A value=1>", Parameters{});
    Case("the page breaks off in the object", kObject + "<param name=A value=1><param name=B val",
         Parameters{{"A", "1"}, {"B", ""}});
    Case("an embed", R"(<embed type="application/x-lum" LumUrlRoot="http://h/" Flag>)",
         Parameters{{"type", "application/x-lum"}, {"lumurlroot", "http://h/"}, {"flag", ""}});
    Case("an object with an embed for old browsers",
         kObject + "<param name=A value=1><embed type=application/x-lum A=2></object>", Parameters{{"A", "1"}});
    Case("broken markup around", "<table><tr></div></p><b><i></b>" + kObject + "<param name=A value=1></objec",
         Parameters{{"A", "1"}});
}

std::string Repeat(const std::string &text, std::size_t times) {
    std::string result;
    for (std::size_t i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

TEST(Page, HugePages) {
    Page page;
    ASSERT_TRUE(page.ReadObject(Repeat("<p>text</p>", 200'000) + kObject + "<param name=A value='" +
                                std::string(1'500'000, 'x') + "'></object>"));
    EXPECT_EQ(1'500'000U, page.Find("A")->size());
    // Each of these costs time that grows with the square of its length, if it is read to its end.
    EXPECT_FALSE(page.ReadObject(Repeat("<b></i>", 500'000) + kObject));
    std::string attributes = "<x ";
    for (int i = 0; i < 300'000; ++i) {
        attributes += "a" + std::to_string(i) + (i % 3 == 0 ? "='>' " : " ");
    }
    EXPECT_FALSE(page.ReadObject(attributes + ">" + kObject));
    EXPECT_EQ(10'000U, delivery::ReadObjects(Repeat(kObject + "<b></object>", 10'000)).size());
    EXPECT_TRUE(page.ReadObject(kObject + "<param name=A value=1></object>" + attributes))
        << "what stands before counts";
    EXPECT_TRUE(page.ReadObject("<script>if (i <n " + Repeat("a ", 5000) + ")</script>" + kObject)) << "no tag";
}

TEST(PageObjects, AreAllReadWithTheirLines) {
    const std::vector<delivery::PageObject> objects =
        delivery::ReadObjects("<p>\n" + kObject + "\n<param name=A value='1\n'>\n<param name=a value=2>" + kObject +
                              "<param name=A value=3></object></object>\n<object type=x/y>" + kObject +
                              "</object></object>\n" + "<embed type=application/x-lum\nFlag=4>");
    ASSERT_EQ(3U, objects.size());
    EXPECT_EQ(2, objects[0].line);
    EXPECT_EQ(4, objects[0].Find("A")->line);
    EXPECT_EQ("2", objects[0].Value("a"));
    EXPECT_EQ(nullptr, objects[0].Find("b"));
    EXPECT_EQ(2U, objects[0].parameters.size()) << "an object within an object is there in place of it";
    EXPECT_EQ(6, objects[1].line);
    EXPECT_EQ(8, objects[2].line);
    EXPECT_EQ("4", objects[2].Value("FLAG"));
    EXPECT_EQ(1U, delivery::ReadObjects("<embed type=application/x-lum><embed type=application/x-lum>", 1).size());
}

TEST(Page, ParametersByName) {
    Page page;
    ASSERT_TRUE(page.ReadObject(kObject + "<param name=lumurlroot value=1><param name=LumUrlRoot value=2>"
                                          "<param name=LumUrlRoot value=3></object>"));
    EXPECT_EQ("2", *page.Find("LumUrlRoot")) << "exactly first";
    EXPECT_EQ("1", *page.Find("LUMURLROOT")) << "then without regard to case";
    EXPECT_EQ(nullptr, page.Find("LumUrlRoo"));
    page.Set("LUMURLROOT", "4");
    EXPECT_EQ("4", *page.Find("LumUrlRoot"));
    EXPECT_EQ(1U, page.parameters().size());
}

TEST(Page, SitesThatItLetsAct) {
    const auto sites = [](const std::optional<Url> &address, const std::string &root) {
        Page page(address);
        page.Set("LumUrlRoot", root);
        return page.Sites();
    };
    const auto here = Url::Parse("https://Meet.Example/join/now.html");
    EXPECT_THAT(sites(here, "https://meet.example:443/kit"), ElementsAre("https://meet.example"));
    EXPECT_THAT(sites(here, "../kit"), ElementsAre("https://meet.example")) << "relative";
    EXPECT_THAT(sites(here, "http://meet.example/kit"), ElementsAre("http://meet.example", "https://meet.example"));
    EXPECT_THAT(sites(here, "https://meet.example@evil.example/"),
                ElementsAre("https://evil.example", "https://meet.example"));
    EXPECT_THAT(sites(std::nullopt, "http://127.0.0.1:8080/a"), ElementsAre("http://127.0.0.1:8080"));
    EXPECT_THAT(sites(std::nullopt, "ftp://h/"), IsEmpty());
    EXPECT_THAT(sites(std::nullopt, "kit"), IsEmpty());
}

} // namespace
