// The content of the placeholder window, drawn flat in its own colours.
#pragma once

#include <string>

#import <AppKit/AppKit.h>

struct PlaceholderTexts {
    std::string title;
    std::string topic;
    std::string hostLabel; // with the blank at its end
    std::string hostName;
    std::string preparing;
    std::string connecting;
    bool locked = false;
};

struct PlaceholderPictures;

@interface LUMPlaceholderView : NSView {
    PlaceholderPictures *_pictures;
    NSTimer *_animation;
    int _percent;
    BOOL _connecting;
}

// As large as its texts need. Nothing of `texts` is kept by reference.
- (id)initWithTexts:(const PlaceholderTexts &)texts;

// The share that has arrived, 0 to 100; negative while it is unknown, which shows as something that moves.
- (void)setPercent:(int)percent;

// The second text; the bar is full.
- (void)showConnecting;

// Nothing moves any more. Needed before the last release: a running animation holds the view.
- (void)stopAnimation;

@end
