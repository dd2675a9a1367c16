// What an Apple event descriptor holds.
#pragma once

#include <CoreServices/CoreServices.h>

#include <map>
#include <string>
#include <vector>

struct AEContent {
    std::string bytes;            // of every type but lists and events
    std::vector<AEContent> items; // of a list
    DescType type = typeNull;

    // Of an event.
    AEEventClass eventClass = 0;
    AEEventID eventID = 0;
    ProcessSerialNumber target{};
    std::map<AEKeyword, AEContent> parameters;
};

// The content of a descriptor that was filled; null for a null descriptor and for one of another type.
AEContent *ContentOf(const AEDesc *descriptor);
AEContent *ContentOf(const AEDesc *descriptor, DescType type);
