// What the certificate trust panel shows: why it is asked, and the certificate. Objective-C++ only.
#pragma once

#include "lum/platform/linux/sec_chain.h"

#import <AppKit/NSView.h>

@class NSString;

// As wide as asked for and as high as its texts need; names that are too long for a screen scroll. `message` stands on
// top in bold; nil: a sentence that fits. The caller's.
NSView *NewTrustPanelView(const sec::Judgement &judgement, NSString *message, CGFloat width);

// A text of the panel in the user's language: the table "CertificateTrustPanel" of the bundle that holds this code;
// the key, which is English, when there is none. Autoreleased.
NSString *TrustPanelText(NSString *key);
