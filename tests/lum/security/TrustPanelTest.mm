// The panel under a person's hands, on a desktop of the test's own.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <thread>

#import <AppKit/AppKit.h>

#import "lum/platform/linux/trust/Names.h"
#import "lum/platform/linux/trust/TrustPanelView.h"
#import "lum/security/CertificateServices.h"
#import "tests/lum/security/SecCertificates.h"
#import "tests/support/ChildProcess.h"
#import "tests/support/Desktop.h"

namespace {

CertificatePlan Site() {
    return {.commonName = "site.kelvo.example", .organisation = "Kelvo, Inc."};
}

// What asks, as TrustCertification does.
SecTrustRef NewEvaluatedTrust() {
    SecCertificateRef leaf = NewRef(TestCertificate(Site()));
    SecPolicyRef policy = policyForOID(&CSSMOID_APPLE_X509_BASIC);
    SecTrustResultType result = 0;
    SecTrustRef trust = nullptr;
    EXPECT_EQ(EvaluateCert(leaf, nullptr, policy, &result, &trust), noErr);
    CFRelease(policy);
    CFRelease(leaf);
    return trust;
}

// The panel's answer to what the hands do once it has the keyboard.
bool AnswerTo(SecTrustRef trust, const std::function<void(const Desktop::Window &)> &hands) {
    const Desktop &desktop = Desktop::Get();
    std::thread person([&] {
        EXPECT_TRUE(desktop.WaitForWindow("Certificate"));
        desktop.Do("search --sync --onlyvisible --name '^Certificate$' windowactivate --sync");
        hands(desktop.WindowTitled("Certificate").value_or(Desktop::Window{}));
    });
    const bool answer = displayPanelForTrust(trust);
    person.join();
    EXPECT_TRUE(WaitUntil([&] { return desktop.WindowsTitled("Certificate").empty(); }));
    return answer;
}

TEST(TrustPanel, Keys) {
    Desktop::Get();
    SecTrustRef trust = NewEvaluatedTrust();
    const std::pair<const char *, bool> cases[] = {
        {"Return", false},   {"KP_Enter", false},      {"space", false},      {"Escape", false},     {"alt+F4", false},
        {"Tab space", true}, {"Tab Tab space", false}, {"Tab Return", false}, {"Tab Escape", false},
    };
    for (const auto &[keys, expected] : cases) {
        EXPECT_EQ(AnswerTo(trust, [&](const auto &) { Desktop::Get().Press(keys); }), expected) << keys;
    }
    CFRelease(trust);
}

// The buttons stand at the lower right corner, OK outermost.
TEST(TrustPanel, Clicks) {
    Desktop::Get();
    SecTrustRef trust = NewEvaluatedTrust();
    const auto clickFromCorner = [](int right, int bottom) {
        return [=](const Desktop::Window &window) {
            Desktop::Get().Click(window.x + window.width - right, window.y + window.height - bottom);
        };
    };
    EXPECT_TRUE(AnswerTo(trust, clickFromCorner(60, 34)));
    EXPECT_FALSE(AnswerTo(trust, clickFromCorner(165, 34)));
    EXPECT_FALSE(AnswerTo(trust, [](const Desktop::Window &window) { // a text takes the keyboard, but not Escape
        Desktop::Get().Click(window.x + window.width / 2, window.y + 145);
        Desktop::Get().Press("Escape");
    }));
    CFRelease(trust);
}

TEST(TrustPanel, WithoutAWindowServerNobodyAgrees) {
    unsetenv("DISPLAY");
    SecTrustRef trust = NewEvaluatedTrust();
    EXPECT_FALSE(displayPanelForTrust(trust));
    EXPECT_FALSE(displayPanelForTrust(nullptr));
    CFRelease(trust);
}

void ExpectWithin(NSView *view) {
    for (NSUInteger i = 0; i < [[view subviews] count]; ++i) {
        NSView *part = [[view subviews] objectAtIndex:i];
        if ([part isKindOfClass:[NSScrollView class]]) {
            ExpectWithin([(NSScrollView *)part documentView]);
            continue;
        }
        EXPECT_TRUE(NSContainsRect([view bounds], [part frame]))
            << [NSStringFromRect([view bounds]) UTF8String] << [NSStringFromRect([part frame]) UTF8String];
        if ([part isKindOfClass:[NSTextView class]]) {
            NSTextView *text = (NSTextView *)part;
            const NSRect used = [[text layoutManager] usedRectForTextContainer:[text textContainer]];
            EXPECT_TRUE(NSContainsRect([text bounds], used)) << [[text string] UTF8String];
        } else {
            ExpectWithin(part);
        }
    }
}

// Names as a certificate may have them, up to more than a screen holds.
TEST(TrustPanel, CutsNoText) {
    Desktop::Get();
    [NSApplication sharedApplication];
    for (const std::size_t length : {0, 10, 64, 1000, 20000}) {
        for (const char *word : {"W", "word ", "\xE6\xBC\xA2", "\xD7\xA9\xD7\x9C"}) {
            std::string name;
            while (name.size() < length) {
                name += word;
            }
            sec::Judgement judgement;
            judgement.chain = {Parsed(TestCertificate({.commonName = name, .organisation = name}))};
            NSView *view = NewTrustPanelView(judgement, nil, 520);
            EXPECT_EQ(NSWidth([view frame]), 520);
            EXPECT_LT(NSHeight([view frame]), 600);
            ExpectWithin(view);
            [view release];
        }
    }
}

std::string Shown(const std::string &name) {
    NSArray *parts = sec::SubjectForShowing(Parsed(TestCertificate({.commonName = name, .organisation = ""})));
    return [[parts componentsJoinedByString:@"|"] UTF8String];
}

// A name must not look like the panel's own lines, or turn the text around it.
TEST(TrustPanel, NamesStayOnTheirLine) {
    EXPECT_EQ(Shown("site.kelvo.example"), "site.kelvo.example");
    EXPECT_EQ(Shown("Zo\xC3\xAB, \xE6\xBC\xA2\xE5\xAD\x97"), "Zo\xC3\xAB, \xE6\xBC\xA2\xE5\xAD\x97");
    const std::string mark = "\xEF\xBF\xBD";
    EXPECT_EQ(Shown("a\nValid\tb"), "a" + mark + "Valid" + mark + "b");
    EXPECT_EQ(Shown("a\xE2\x80\xAE"
                    "b\xE2\x80\xA9"
                    "c\xC2\x85"),
              "a" + mark + "b" + mark + "c" + mark);
    EXPECT_EQ(Shown(""), "");
}

} // namespace
