// Shows one of the extension's windows in a language until it is ended, for looking at it:
//   lum_show_window THEME|- progress|alert|placeholder|certificate LANGUAGE-ID
// The certificate's panel speaks the language of the environment, and finds its texts when the program lies in a
// bundle.
#include <cstdio>
#include <string_view>

#import <AppKit/AppKit.h>

#import "base/objc/ScopedPool.h"
#include "lum/lumext/MeetingAlert.h"
#import "lum/security/CertificateServices.h"
#import "lum/ui/CDownloadWindow.h"
#include "tests/support/LumFixture.h"
#include "tests/support/TestCertificates.h"
#include "lum/platform/linux/windows/UseTheme.h"

namespace {

void ShowProgress(const char *languageId) {
    CDownloadWindow *controller = [[CDownloadWindow alloc] initWithInstallMgr:nullptr];
    [controller setLanguageID:languageId];
    [[controller window] center];
    [[controller window] makeKeyAndOrderFront:nil];
    [controller setWindowTitle:@"Kelvo Meetings"];
    [controller setProgressValue:42];
    [controller setProgressTime:12];
    [NSApp run];
}

void ShowPlaceholder(const char *languageId) {
    LumFixture fixture;
    fixture.host.parameters = {{"lumlocalsetting", languageId},
                               {"lumloadingmeetingfastflag", "1"},
                               {"LumConfName", "V2Vla2x5IHBsYW5uaW5n"},
                               {"LumHostName", "QW5uYSBTbWl0aA=="},
                               {"LumSupportSSLFlag", "1"}};
    LumFuzzyWindowMgrWrapper &window = fixture.extension.m_fuzzyWindowMgr;
    window.initWithParam({&fixture.host.table, &fixture.host, &fixture.extension, &fixture.extension.m_pluginView});
    window.start();
    window.setTotalDownloadSize(100);
    window.updateDownloadedSize(7);
    [NSApp run];
}

void ShowCertificate() {
    const TestCertificate made({.commonName = "www.kelvo.example", .organisation = "Kelvo, Inc."});
    NSData *bytes = [NSData dataWithBytes:made.der().data() length:made.der().size()];
    SecPolicyRef policy = policyForOID(&CSSMOID_APPLE_X509_BASIC);
    SecTrustResultType result = 0;
    SecTrustRef trust = nullptr;
    if (EvaluateCert(SecFromData(bytes), nullptr, policy, &result, &trust) == noErr) {
        displayPanelForTrust(trust);
    }
}

} // namespace

int main(int argc, char **argv) {
    HideArguments(argv);
    const base::ScopedPool pool;
    if (argc != 4) {
        std::fputs("usage: lum_show_window THEME|- progress|alert|placeholder|certificate LANGUAGE-ID\n", stderr);
        return 2;
    }
    const std::string_view theme = argv[1];
    UseTheme(theme == "-" ? nullptr : argv[1]);
    [NSBundle bundleWithPath:@TEST_BUNDLE]; // found by its identifier from now on
    [NSApplication sharedApplication];
    const std::string_view window = argv[2];
    if (window == "alert") {
        ShowTooManyMeetingsAlert(argv[3]);
    } else if (window == "placeholder") {
        ShowPlaceholder(argv[3]);
    } else if (window == "certificate") {
        ShowCertificate();
    } else {
        ShowProgress(argv[3]);
    }
    return 0;
}
