// What the certificate trust panel shows: why it is asked, and the certificate. Objective-C++ only.
#pragma once

#include "lum/platform/linux/trust/Chain.h"

#import <AppKit/NSView.h>

@class NSString;

// As wide as asked for and as high as its texts need; names that are too long for a screen scroll. `message` stands on
// top in bold; nil: a sentence that fits. The caller's.
NSView *NewTrustPanelView(const sec::Judgement &judgement, NSString *message, CGFloat width);

// The language of the panel ("German", "zh_CN"): that of the tables "CertificateTrustPanel_..." in the bundle that
// holds this code which fits the user's environment best. Autoreleased.
NSString *TrustPanelLocalization();

// A text of the panel in that language; the key, which is English, when there is none. Autoreleased.
NSString *TrustPanelText(NSString *key);
