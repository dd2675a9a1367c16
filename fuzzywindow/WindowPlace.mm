#import "fuzzywindow/WindowPlace.h"

#include <algorithm>
#include <cmath>

#import "fuzzywindow/PropertyListFile.h"

namespace {

NSString *const kLeftKey = @"Left";
NSString *const kTopKey = @"Top";
constexpr double kFarthest = 100000; // no desktop is as large

CGFloat UpperEdge() {
    NSArray *screens = [NSScreen screens];
    return [screens count] > 0 ? NSMaxY([[screens objectAtIndex:0] frame]) : 0;
}

bool ReadDistance(NSDictionary *place, NSString *key, double &distance) {
    id value = [place objectForKey:key];
    if (![value isKindOfClass:[NSNumber class]]) {
        return false;
    }
    distance = [value doubleValue];
    return std::isfinite(distance) && std::fabs(distance) < kFarthest;
}

bool ReadCorner(const std::string &file, NSPoint &corner) {
    if (file.empty()) {
        return false;
    }
    NSDictionary *place = ReadPropertyList(file);
    double left, top;
    if (!ReadDistance(place, kLeftKey, left) || !ReadDistance(place, kTopKey, top)) {
        return false;
    }
    corner = NSMakePoint(left, UpperEdge() - top);
    return true;
}

CGFloat Distance(NSPoint point, NSRect rect) {
    const CGFloat x = std::max({NSMinX(rect) - point.x, CGFloat(0), point.x - NSMaxX(rect)});
    const CGFloat y = std::max({NSMinY(rect) - point.y, CGFloat(0), point.y - NSMaxY(rect)});
    return x * x + y * y;
}

NSRect NearestVisibleFrame(NSPoint point) {
    NSScreen *nearest = [NSScreen mainScreen];
    NSEnumerator *screens = [[NSScreen screens] objectEnumerator];
    while (NSScreen *screen = [screens nextObject]) {
        if (Distance(point, [screen frame]) < Distance(point, [nearest frame])) {
            nearest = screen;
        }
    }
    return [nearest visibleFrame];
}

// A window larger than the screen shows its upper left part, where the title is.
NSPoint CornerInside(NSPoint corner, NSSize size, NSRect visible) {
    const CGFloat left = std::min(corner.x, NSMaxX(visible) - size.width);
    const CGFloat top = std::max(corner.y, NSMinY(visible) + size.height);
    return NSMakePoint(std::max(left, NSMinX(visible)), std::min(top, NSMaxY(visible)));
}

} // namespace

void RestorePlace(NSWindow *window, const std::string &file) {
    const NSSize size = [window frame].size;
    NSPoint corner;
    if (!ReadCorner(file, corner)) {
        const NSRect visible = [[NSScreen mainScreen] visibleFrame];
        corner = NSMakePoint(NSMidX(visible) - size.width / 2, NSMidY(visible) + size.height / 2);
    }
    const NSPoint middle = NSMakePoint(corner.x + size.width / 2, corner.y - size.height / 2);
    corner = CornerInside(corner, size, NearestVisibleFrame(middle));
    [window setFrameTopLeftPoint:NSMakePoint(std::round(corner.x), std::round(corner.y))];
}

base::Result<void> KeepPlace(NSWindow *window, const std::string &file) {
    if (file.empty()) {
        return {};
    }
    const NSRect frame = [window frame];
    NSDictionary *place = [NSDictionary
        dictionaryWithObjectsAndKeys:[NSNumber numberWithDouble:NSMinX(frame)], kLeftKey,
                                     [NSNumber numberWithDouble:UpperEdge() - NSMaxY(frame)], kTopKey, nil];
    return WritePropertyList(file, place);
}
