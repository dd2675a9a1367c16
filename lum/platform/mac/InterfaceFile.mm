// The part of the description's language that the extension's interface file uses: a window with text fields, progress
// indicators and buttons, their outlets and actions.
#import "lum/platform/InterfaceFile.h"

#import <AppKit/AppKit.h>

#include <objc/runtime.h>

#include <string_view>

#import "base/objc/ScopedPool.h"
#include "lum/platform/ObjcEach.h"

namespace {

// The identifier that every description gives to the File's Owner.
NSString *const kOwner = @"-2";

NSXMLElement *Child(NSXMLElement *element, NSString *name, NSString *key = nil) {
    for (NSXMLElement *child : Each<NSXMLElement *>([element elementsForName:name])) {
        if (!key || [[[child attributeForName:@"key"] stringValue] isEqualToString:key]) {
            return child;
        }
    }
    return nil;
}

NSString *Attribute(NSXMLElement *element, NSString *attribute) {
    NSString *text = [[element attributeForName:attribute] stringValue];
    return text ? text : @"";
}

double Number(NSXMLElement *element, NSString *attribute, double otherwise) {
    NSString *text = Attribute(element, attribute);
    return [text length] > 0 ? [text doubleValue] : otherwise;
}

// Absent is the language's default, which differs from one attribute to the next.
BOOL Says(NSXMLElement *element, NSString *attribute, NSString *word) {
    return [Attribute(element, attribute) isEqualToString:word];
}

NSRect Rect(NSXMLElement *element, NSString *key) {
    NSXMLElement *rect = Child(element, @"rect", key);
    return NSMakeRect(Number(rect, @"x", 0), Number(rect, @"y", 0), Number(rect, @"width", 0),
                      Number(rect, @"height", 0));
}

struct Flag {
    NSString *name;
    NSUInteger bits;
};

template <std::size_t count> NSUInteger Flags(NSXMLElement *element, const Flag (&flags)[count]) {
    NSUInteger bits = 0;
    for (const Flag &flag : flags) {
        bits |= Says(element, flag.name, @"YES") ? flag.bits : 0;
    }
    return bits;
}

NSFont *Font(NSXMLElement *cell) {
    return [NSFont systemFontOfSize:Number(Child(cell, @"font"), @"size", [NSFont systemFontSize])];
}

NSView *MakeTextField(NSXMLElement *element) {
    NSXMLElement *cell = Child(element, @"textFieldCell");
    NSTextField *field = [[[NSTextField alloc] initWithFrame:Rect(element, @"frame")] autorelease];
    [field setStringValue:Attribute(cell, @"title")];
    [field setEditable:!Says(cell, @"editable", @"NO")];
    [field setSelectable:!Says(cell, @"selectable", @"NO")];
    [field setBezeled:Says(cell, @"borderStyle", @"bezel")];
    [field setDrawsBackground:Says(cell, @"drawsBackground", @"YES")];
    [field setFont:Font(cell)];
    if (Says(cell, @"lineBreakMode", @"truncatingTail")) {
        [[field cell] setLineBreakMode:NSLineBreakByTruncatingTail];
    }
    [field setAlignment:Says(cell, @"alignment", @"right") ? NSTextAlignmentRight : NSTextAlignmentNatural];
    [field setTag:static_cast<NSInteger>(Number(element, @"tag", 0))];
    return field;
}

NSView *MakeProgressIndicator(NSXMLElement *element) {
    NSProgressIndicator *bar = [[[NSProgressIndicator alloc] initWithFrame:Rect(element, @"frame")] autorelease];
    [bar setStyle:NSProgressIndicatorStyleBar];
    [bar setIndeterminate:!Says(element, @"indeterminate", @"NO")];
    [bar setMinValue:Number(element, @"minValue", 0)];
    [bar setMaxValue:Number(element, @"maxValue", 100)];
    return bar;
}

// A key in a description is in base64, and without the padding.
NSString *KeyEquivalent(NSXMLElement *cell) {
    NSCharacterSet *blanks = [NSCharacterSet whitespaceAndNewlineCharacterSet];
    NSString *base64 = [[Child(cell, @"string", @"keyEquivalent") stringValue] stringByTrimmingCharactersInSet:blanks];
    while ([base64 length] % 4 != 0) {
        base64 = [base64 stringByAppendingString:@"="];
    }
    NSData *key = base64 ? [[[NSData alloc] initWithBase64EncodedString:base64 options:0] autorelease] : nil;
    NSString *text = [[[NSString alloc] initWithData:key encoding:NSUTF8StringEncoding] autorelease];
    return text ? text : @"";
}

NSView *MakeButton(NSXMLElement *element) {
    NSXMLElement *cell = Child(element, @"buttonCell");
    NSButton *button = [[[NSButton alloc] initWithFrame:Rect(element, @"frame")] autorelease];
    [button setButtonType:NSMomentaryPushInButton];
    [button setBezelStyle:NSRoundedBezelStyle];
    [button setTitle:Attribute(cell, @"title")];
    [button setFont:Font(cell)];
    [button setKeyEquivalent:KeyEquivalent(cell)];
    return button;
}

NSView *MakeView(NSXMLElement *element) {
    constexpr Flag kSizes[] = {{@"widthSizable", NSViewWidthSizable}, {@"heightSizable", NSViewHeightSizable},
                               {@"flexibleMinX", NSViewMinXMargin},   {@"flexibleMaxX", NSViewMaxXMargin},
                               {@"flexibleMinY", NSViewMinYMargin},   {@"flexibleMaxY", NSViewMaxYMargin}};
    NSView *view = nil;
    if ([[element name] isEqualToString:@"textField"]) {
        view = MakeTextField(element);
    } else if ([[element name] isEqualToString:@"progressIndicator"]) {
        view = MakeProgressIndicator(element);
    } else if ([[element name] isEqualToString:@"button"]) {
        view = MakeButton(element);
    }
    [view setAutoresizingMask:Flags(Child(element, @"autoresizingMask"), kSizes)];
    [view setHidden:Says(element, @"hidden", @"YES")];
    return view;
}

NSWindow *MakeWindow(NSXMLElement *element) {
    constexpr Flag kStyles[] = {{@"titled", NSWindowStyleMaskTitled},
                                {@"closable", NSWindowStyleMaskClosable},
                                {@"miniaturizable", NSWindowStyleMaskMiniaturizable},
                                {@"resizable", NSWindowStyleMaskResizable}};
    NSWindow *window = [[[NSWindow alloc] initWithContentRect:Rect(element, @"contentRect")
                                                    styleMask:Flags(Child(element, @"windowStyleMask"), kStyles)
                                                      backing:NSBackingStoreBuffered
                                                        defer:YES] autorelease];
    [window setReleasedWhenClosed:!Says(element, @"releasedWhenClosed", @"NO")];
    [window setTitle:Attribute(element, @"title")];
    return window;
}

// The objects of one description, by their identifiers, and the elements that describe them.
class Interface {
public:
    explicit Interface(NSWindowController *owner)
        : m_objects([NSMutableDictionary dictionaryWithObject:owner forKey:kOwner]) {}

    void Make(NSXMLElement *windowElement) {
        NSWindow *window = MakeWindow(windowElement);
        Add(windowElement, window);
        NSXMLElement *views = Child(Child(windowElement, @"view", @"contentView"), @"subviews");
        for (NSXMLElement *element : Each<NSXMLElement *>([views children])) {
            NSView *view = [element kind] == NSXMLElementKind ? MakeView(element) : nil;
            if (view) {
                [[window contentView] addSubview:view];
                Add(element, view);
            }
        }
    }

    void Connect(NSXMLElement *element) const {
        id source = Object(Attribute(element, @"id"));
        NSXMLElement *connections = Child(element, @"connections");
        for (NSXMLElement *outlet : Each<NSXMLElement *>([connections elementsForName:@"outlet"])) {
            SetOutlet(source, Attribute(outlet, @"property"), Object(Attribute(outlet, @"destination")));
        }
        for (NSXMLElement *action : Each<NSXMLElement *>([connections elementsForName:@"action"])) {
            [source setTarget:Object(Attribute(action, @"target"))];
            [source setAction:NSSelectorFromString(Attribute(action, @"selector"))];
        }
        for (NSXMLElement *child : Each<NSXMLElement *>([element children])) {
            if ([child kind] == NSXMLElementKind) {
                Connect(child);
            }
        }
    }

private:
    void Add(NSXMLElement *element, id object) {
        [m_objects setObject:object forKey:Attribute(element, @"id")];
    }

    id Object(NSString *identifier) const {
        return [m_objects objectForKey:identifier];
    }

    // An instance variable does not hold what it points to: the window does.
    static void SetOutlet(id source, NSString *name, id target) {
        NSString *capital = [[name substringToIndex:1] uppercaseString];
        SEL setter =
            NSSelectorFromString([NSString stringWithFormat:@"set%@%@:", capital, [name substringFromIndex:1]]);
        if ([source respondsToSelector:setter]) {
            [source performSelector:setter withObject:target];
        } else if (Ivar variable = class_getInstanceVariable([source class], [name UTF8String])) {
            object_setIvar(source, variable, target);
        }
    }

    NSMutableDictionary *m_objects;
};

} // namespace

bool MakeDescribedInterface(NSBundle *bundle, NSString *name, NSWindowController *owner) {
    const base::ScopedPool pool;
    NSString *path = [bundle pathForResource:name ofType:@"xib"];
    if (!path || [bundle pathForResource:name ofType:@"nib"]) {
        return false;
    }
    NSData *description = [NSData dataWithContentsOfFile:path];
    NSXMLDocument *document =
        description ? [[[NSXMLDocument alloc] initWithData:description options:0 error:nullptr] autorelease] : nil;
    NSXMLElement *objects = Child([document rootElement], @"objects");
    NSXMLElement *window = Child(objects, @"window");
    if (!window) {
        return false;
    }
    Interface interface(owner);
    interface.Make(window);
    interface.Connect(objects);
    return true;
}
