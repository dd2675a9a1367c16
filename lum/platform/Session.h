// What the extension needs of the user's session and has no common name on its systems.
// One header; the build file chooses the sources: in linux/ or in mac/.
//
// Objects are returned autoreleased. Every function may be called without an autorelease pool of the caller's own
// where it returns no object. Main thread only, unless a function says otherwise.
#pragma once

#include "lum/platform/CatchObjcException.h"
#include "lum/platform/ObjcForward.h"

LUM_FORWARD_CLASS(NSArray);
LUM_FORWARD_CLASS(NSBundle);
LUM_FORWARD_CLASS(NSDictionary);
LUM_FORWARD_CLASS(NSString);
LUM_FORWARD_CLASS(NSTask);

// True when a window can be shown. False is a normal state: no window is made then.
bool IsWindowServerAvailable();

// In a program that has not made its application object yet, gives the windows the look that comes with the bundle. A
// look that the user or the program has chosen stays. To be called before the first window.
void UseLookOfBundle(NSBundle *bundle);

// Lets AppKit's controls show texts in any script for which a font is installed, whatever font they ask for.
// `localization` (a name like "Japanese" or "zh_CN", or null) decides between the variants of a character that
// languages share. Holds for the whole process until the next call. For a program with a window server; does nothing
// where AppKit finds such fonts by itself.
void PreferFontsForLocalization(const char *localization);

// The user-domain Application Support folders, as the target's path search answers: absolute, tilde expanded, not
// necessarily existing. Follows HOME when that is set.
NSArray *UserApplicationSupportDirectories();

// What `[task environment]` answers for a new task on the target system: the variables that the task has been given,
// which is nil (none) on the target, and on Linux those by which a program reaches the user's session.
NSDictionary *EnvironmentOfNewTask(NSTask *task);

// Launches the task: its launch path, arguments and environment, with nothing at the standard streams. On macOS this is
// -[NSTask launch]. GNUstep's is not safe: its child shares this process's memory until it runs the executable, and
// when that cannot be run, it ends this process's objects in passing. So on Linux the process is started in another
// way, in a session of its own and with none of this process's files, and the task itself does not count as launched.
//
// Returns the process id, or -1 with errno when the executable is missing or cannot be run (on macOS always ENOENT);
// nothing is thrown. An id does not say that the executable was any good: the process may have ended already. The
// process outlives this one; when it ends before, it is collected: by the task on macOS, on Linux at the next walk
// through the running applications.
int LaunchTask(NSTask *task);

// Bundles with a Contents folder (X.app/Contents/Info.plist, Contents/Resources, *.lproj). A path that is not a bundle
// gives nil (no dictionary), nil (no path), or an empty array (no localizations). The localized dictionary is the
// system's own on the target; on Linux it is the property list with the values of the localization in their place.
NSDictionary *LocalizedInfoDictionaryOfBundle(NSString *bundlePath);
NSString *ResourcePathOfBundle(NSString *bundlePath);
NSArray *LocalizationsOfBundle(NSString *bundlePath);

// The bundle that has this identifier or, in a program that opened its code without NSBundle, the one that holds the
// code at this address. nil when there is neither.
NSBundle *BundleWithIdentifierOrCode(NSString *identifier, const void *code);

// The libcrypto to open: a null-terminated list of paths or library names, to be tried in order.
const char *const *CryptoLibraryPaths();
