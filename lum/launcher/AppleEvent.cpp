#include "lum/launcher/AppleEvent.h"

namespace {

class ScopedDescriptor {
public:
    ScopedDescriptor() = default;
    ~ScopedDescriptor() {
        AEDisposeDesc(&m_descriptor);
    }
    ScopedDescriptor(const ScopedDescriptor &) = delete;
    ScopedDescriptor &operator=(const ScopedDescriptor &) = delete;
    AEDesc *get() {
        return &m_descriptor;
    }

private:
    AEDesc m_descriptor = {typeNull, nullptr};
};

void Send(const ProcessSerialNumber &psn, AppleEventKind kind, DescType type, const void *data, Size size) {
    ScopedDescriptor target;
    ScopedDescriptor list;
    ScopedDescriptor event;
    ScopedDescriptor reply; // stays empty
    OSErr error = AECreateDesc(typeProcessSerialNumber, &psn, sizeof psn, target.get());
    if (error == noErr) {
        error = AECreateList(nullptr, 0, false, list.get());
    }
    if (error == noErr) {
        error = AECreateAppleEvent(kind.eventClass, kind.eventID, target.get(), kAutoGenerateReturnID,
                                   kAnyTransactionID, event.get());
    }
    if (error == noErr) {
        error = AEPutPtr(list.get(), 1, type, data, size);
    }
    if (error == noErr) {
        error = AEPutParamDesc(event.get(), keyDirectObject, list.get());
    }
    if (error == noErr) {
        AESend(event.get(), reply.get(), kAENoReply, kAENormalPriority, kAEDefaultTimeout, nullptr, nullptr);
    }
}

} // namespace

void SendAppleEvent(const ProcessSerialNumber &target, AppleEventKind kind, bool value) {
    const Boolean boolean = value;
    Send(target, kind, typeBoolean, &boolean, sizeof boolean);
}

void SendAppleEvent(const ProcessSerialNumber &target, AppleEventKind kind, std::string_view text) {
    Send(target, kind, typeUTF8Text, text.data(), static_cast<Size>(text.size()));
}
