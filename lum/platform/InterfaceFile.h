// What is in an interface file, where AppKit cannot load it.
#pragma once

#include "lum/platform/ObjcForward.h"

LUM_FORWARD_CLASS(NSBundle);
LUM_FORWARD_CLASS(NSString);
LUM_FORWARD_CLASS(NSWindowController);

// macOS loads an interface file only when it was compiled (NAME.nib), which takes a tool of macOS. In a bundle that was
// built elsewhere lies the description that it is compiled from (NAME.xib); from that this makes the same objects and
// connects them with `owner`, the File's Owner, whose outlets it sets. The window is `owner`'s, and holds the rest.
//
// False, and nothing has happened, when AppKit is to load the interface: there is a compiled one, or AppKit reads the
// description itself, as GNUstep's does, or there is none that can be read, which AppKit reports. Main thread, with a
// window server.
bool MakeDescribedInterface(NSBundle *bundle, NSString *name, NSWindowController *owner);
