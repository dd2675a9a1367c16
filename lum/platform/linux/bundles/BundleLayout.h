// Where things lie in a bundle: with a Contents folder (X.app/Contents/Info.plist, Contents/MacOS, Contents/Resources),
// or as GNUstep lays it out (X.bundle/X, Resources/Info-gnustep.plist).
//
// Objects are returned autoreleased; nil when there is no such thing. Any thread.
#pragma once

#include "lum/platform/ObjcForward.h"

LUM_FORWARD_CLASS(NSDictionary);
LUM_FORWARD_CLASS(NSString);

// A property list or strings table whose outermost object is a dictionary.
NSDictionary *DictionaryInFile(NSString *path);

NSDictionary *InfoDictionaryOfBundleFolder(NSString *bundlePath);
NSString *ResourceFolderOfBundleFolder(NSString *bundlePath);
// The code that the info dictionary names, or that is named like the bundle.
NSString *ExecutableOfBundleFolder(NSString *bundlePath);
// The bundle that has this file as its code.
NSString *BundleFolderOfExecutable(NSString *executablePath);
