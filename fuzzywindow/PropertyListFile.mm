#import "fuzzywindow/PropertyListFile.h"

#import <Foundation/Foundation.h>

#include "base/Files.h"

namespace {

constexpr std::uint64_t kLargestList = 1 << 20;

} // namespace

NSDictionary *ReadPropertyList(const std::string &path) {
    const base::Result<std::string> text = base::ReadWhole(path, kLargestList);
    if (!text) {
        return nil;
    }
    try {
        NSData *data = [NSData dataWithBytes:text->data() length:text->size()];
        id content = [NSPropertyListSerialization propertyListWithData:data
                                                               options:NSPropertyListImmutable
                                                                format:nullptr
                                                                 error:nullptr];
        return [content isKindOfClass:[NSDictionary class]] ? content : nil;
    } catch (...) { // the reader of damaged lists throws
        return nil;
    }
}

base::Result<void> WritePropertyList(const std::string &path, NSDictionary *content) {
    NSData *data = [NSPropertyListSerialization dataWithPropertyList:content
                                                              format:NSPropertyListXMLFormat_v1_0
                                                             options:0
                                                               error:nullptr];
    if (!data) {
        return base::Fail("cannot encode " + path + " as a property list");
    }
    return base::ReplaceFile(path, {static_cast<const char *>([data bytes]), [data length]}, base::Readers::Owner,
                             base::Durability::Cached);
}
