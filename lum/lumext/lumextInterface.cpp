#include "lum/lumext/lumextInterface.h"

#include <exception>
#include <memory>

#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/ControllerFrame.h"
#include "lum/lumext/Guard.h"
#include "lum/lumext/lumext.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/lumextInterface");

CLumExtension *Extension(void *component) {
    return static_cast<CLumExtension *>(component);
}

} // namespace

uint32_t LumInitInstance(void *cookie, tagLUMInterface *services, void **ppComponent) {
    if (!AssertionHolds(ppComponent != nullptr, "ppComponent", kSource)) {
        return kLUMErrorNullArgument;
    }
    *ppComponent = nullptr;
    std::unique_ptr<CLumExtension> extension;
    Guarded("LumInitInstance", [&] { extension = std::make_unique<CLumExtension>(cookie); });
    if (!extension) {
        return kLUMErrorCreateComponent;
    }
    Guarded("LumInitInstance", [&] {
        MacInfoTrace("Begin initializing extension...");
        extension->InitInstance(services);
    });
    *ppComponent = extension.release();
    return kLUMNoError;
}

uint8_t LumHandleEvent(void *, EventRecord *event, uint8_t flag, void *component) {
    if (!AssertionHolds(component != nullptr, "pComponent!=nil", kSource)) {
        return 0;
    }
    uint8_t result = 0;
    const ControllerFrame frame(*Extension(component));
    Guarded("LumHandleEvent", [&] { result = Extension(component)->HandleEvent(event, flag); });
    return result;
}

uint32_t LumSetWindow(void *, _NPWindow *window, void *component) {
    if (!AssertionHolds(component != nullptr, "pComponent!=nil", kSource)) {
        return kLUMErrorNullArgument;
    }
    const ControllerFrame frame(*Extension(component));
    Guarded("LumSetWindow", [&] { Extension(component)->SetWindow(window); });
    return kLUMNoError;
}

void LumActionNotify(void *, uint32_t value1, uint32_t value2, void *component) {
    if (!AssertionHolds(component != nullptr, "pComponent!=nil", kSource)) {
        return;
    }
    const ControllerFrame frame(*Extension(component));
    Guarded("LumActionNotify", [&] { Extension(component)->HandleActionNotify(value1, value2); });
}

uint32_t LumHeartbeat(void *, void *component) {
    if (!AssertionHolds(component != nullptr, "pComponent!=nil", kSource)) {
        return kLUMErrorNullArgument;
    }
    const ControllerFrame frame(*Extension(component));
    Guarded("LumHeartbeat", [&] { Extension(component)->Heartbeat(); });
    return kLUMNoError;
}

uint32_t LumExitInstance(void *, void *component) {
    MacInfoTrace("LumExitInstance");
    if (!AssertionHolds(component != nullptr, "pComponent", kSource)) {
        return kLUMErrorNullArgument;
    }
    {
        const ControllerFrame frame(*Extension(component));
        Guarded("LumExitInstance", [&] { Extension(component)->Leave(); });
    }
    MacInfoTrace("LumExitInstance Exit");
    return kLUMNoError;
}
