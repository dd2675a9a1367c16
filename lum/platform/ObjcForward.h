// Forward declarations of Objective-C classes, so that one header serves plain C++ and Objective-C++ alike.
// Both languages mangle a pointer to such a class the same way.
#pragma once

#ifdef __OBJC__
#define LUM_FORWARD_CLASS(name) @class name
#else
#define LUM_FORWARD_CLASS(name) class name
#endif
