// The target system's panel that asks whether a certificate is to be trusted, as far as the extension uses it.
// Objective-C only; main thread only.
#pragma once

#include <Security/Security.h>

#import <Foundation/NSObject.h>

@class NSString;

@interface SFCertificateTrustPanel : NSObject {
    NSString *myAlternateButtonTitle;
}

+ (SFCertificateTrustPanel *)sharedCertificateTrustPanel;

// Title of the button that refuses. nil: "Cancel".
- (void)setAlternateButtonTitle:(NSString *)title;

// Shows the judged certificate of `trust` and why it is asked for, runs until the user answers, and returns 1 for OK
// and 0 for Cancel. Return presses OK, Escape and closing the panel are Cancel. `message` stands above the certificate;
// nil: a sentence that fits the result of the last evaluation. Without a window server the answer is 0 at once.
- (NSInteger)runModalForTrust:(SecTrustRef)trust message:(NSString *)message;

@end
