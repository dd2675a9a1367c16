// The names in a certificate, as text.
#pragma once

#include "lum/platform/linux/trust/Certificate.h"
#include "lum/platform/ObjcForward.h"

LUM_FORWARD_CLASS(NSArray);
LUM_FORWARD_CLASS(NSString);

namespace sec {

// The subject's common name as it stands, without any escape; of several the last, which is the most specific. nil when
// there is none. Autoreleased.
NSString *CommonName(const Certificate &certificate);

// The parts of a name that a person can judge by, most specific first (common name, organisation, unit, place,
// country), for showing: what could change the look of the text around it (line breaks, control and direction
// characters) is replaced by "\uFFFD". Autoreleased strings; empty when there is none.
NSArray *SubjectForShowing(const Certificate &certificate);
NSArray *IssuerForShowing(const Certificate &certificate);

} // namespace sec
