// The user's languages and the names of localizations.
#pragma once

#include "lum/platform/ObjcForward.h"

LUM_FORWARD_CLASS(NSArray);
LUM_FORWARD_CLASS(NSString);

// The localization out of `localizations` that fits the user's languages best; where none fits, the development
// region's, English, or the first. Old and new names of a language are the same to it ("German", "de"), and a language
// without its region will do for one with it ("de_CH", "de-CH" and "de"). nil when `localizations` is empty.
// `developmentRegion` may be nil.
NSString *PreferredLocalization(NSArray *localizations, NSString *developmentRegion);

// The one that fits the languages of the environment best (LANGUAGE, else the first of LC_ALL, LC_MESSAGES and LANG
// that is set), whether or not the system has those locales; otherwise as above.
NSString *LocalizationOfEnvironment(NSArray *localizations);
