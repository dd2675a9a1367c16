#include <cstring>
#include <new>
#include <utility>

#include "lum/platform/linux/appleevents/AeContent.h"

namespace {

AEDesc NullDescriptor() {
    return {typeNull, nullptr};
}

template <typename Make> OSErr Fill(AEDesc *result, Make make) {
    *result = NullDescriptor();
    try {
        auto *content = new AEContent(make());
        *result = {content->type, reinterpret_cast<AEDataStorage>(content)};
    } catch (const std::bad_alloc &) {
        return memFullErr;
    }
    return noErr;
}

bool IsData(const void *data, Size size) {
    return size == 0 || (size > 0 && data);
}

AEContent Data(DescType type, const void *data, Size size) {
    AEContent content;
    content.type = type;
    content.bytes.assign(static_cast<const char *>(size ? data : ""), static_cast<std::size_t>(size));
    return content;
}

OSErr PutItem(AEContent &list, long index, AEContent item) {
    const auto count = static_cast<long>(list.items.size());
    if (index < 0 || index > count + 1) {
        return errAEIllegalIndex;
    }
    if (index == 0 || index == count + 1) {
        list.items.push_back(std::move(item));
    } else {
        list.items[static_cast<std::size_t>(index - 1)] = std::move(item);
    }
    return noErr;
}

} // namespace

AEContent *ContentOf(const AEDesc *descriptor) {
    return descriptor ? reinterpret_cast<AEContent *>(descriptor->dataHandle) : nullptr;
}

AEContent *ContentOf(const AEDesc *descriptor, DescType type) {
    AEContent *content = ContentOf(descriptor);
    return content && content->type == type ? content : nullptr;
}

OSErr AECreateDesc(DescType typeCode, const void *dataPtr, Size dataSize, AEDesc *result) {
    if (!result || !IsData(dataPtr, dataSize)) {
        return paramErr;
    }
    return Fill(result, [&] { return Data(typeCode, dataPtr, dataSize); });
}

OSErr AECreateList(const void *factoringPtr, Size factoredSize, Boolean isRecord, AEDescList *resultList) {
    if (!resultList || factoringPtr || factoredSize != 0 || isRecord) {
        return paramErr;
    }
    return Fill(resultList, [] { return Data(typeAEList, nullptr, 0); });
}

OSErr AEPutPtr(AEDescList *theAEDescList, long index, DescType typeCode, const void *dataPtr, Size dataSize) {
    AEContent *list = ContentOf(theAEDescList, typeAEList);
    if (!list) {
        return errAEWrongDataType;
    }
    if (!IsData(dataPtr, dataSize)) {
        return paramErr;
    }
    try {
        return PutItem(*list, index, Data(typeCode, dataPtr, dataSize));
    } catch (const std::bad_alloc &) {
        return memFullErr;
    }
}

OSErr AECreateAppleEvent(AEEventClass theAEEventClass, AEEventID theAEEventID, const AEAddressDesc *target,
                         AEReturnID /*returnID*/, AETransactionID /*transactionID*/, AppleEvent *result) {
    if (!result) {
        return paramErr;
    }
    *result = NullDescriptor();
    const AEContent *address = ContentOf(target, typeProcessSerialNumber);
    if (!address || address->bytes.size() != sizeof(ProcessSerialNumber)) {
        return errAEWrongDataType;
    }
    return Fill(result, [&] {
        AEContent event = Data(typeAppleEvent, nullptr, 0);
        event.eventClass = theAEEventClass;
        event.eventID = theAEEventID;
        std::memcpy(&event.target, address->bytes.data(), sizeof event.target);
        return event;
    });
}

OSErr AEPutParamDesc(AppleEvent *theAppleEvent, AEKeyword theAEKeyword, const AEDesc *theAEDesc) {
    AEContent *event = ContentOf(theAppleEvent, typeAppleEvent);
    const AEContent *parameter = ContentOf(theAEDesc);
    if (!event || !parameter) {
        return errAENotAEDesc;
    }
    try {
        event->parameters[theAEKeyword] = *parameter;
    } catch (const std::bad_alloc &) {
        return memFullErr;
    }
    return noErr;
}

OSErr AEDisposeDesc(AEDesc *theAEDesc) {
    if (!theAEDesc) {
        return paramErr;
    }
    delete ContentOf(theAEDesc);
    *theAEDesc = NullDescriptor();
    return noErr;
}
