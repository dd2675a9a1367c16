#import <AppKit/AppKit.h>

#include <ApplicationServices/ApplicationServices.h>

CGWindowLevel CGWindowLevelForKey(CGWindowLevelKey key) {
    return key == kCGFloatingWindowLevelKey ? NSFloatingWindowLevel : NSNormalWindowLevel;
}
