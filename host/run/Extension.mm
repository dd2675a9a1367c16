#include "host/run/Extension.h"

#include <dlfcn.h>

#import <Foundation/Foundation.h>

namespace lumhost {

namespace {

template <typename Function> bool Bind(void *library, const char *name, Function &function, std::string &error) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (!function) {
        error = std::string("it does not export ") + name;
    }
    return function != nullptr;
}

// NSBundle first, so that the extension finds itself by its identifier. Then the code is open already and dlopen only
// answers its handle; otherwise dlopen knows better than NSBundle why it cannot be.
void *Open(const std::filesystem::path &path, std::string &error) {
    NSBundle *bundle = [NSBundle bundleWithPath:[NSString stringWithUTF8String:path.c_str()]];
    NSString *executable = [bundle executablePath];
    if (!executable) {
        error = "it is no bundle, or has no code";
        return nullptr;
    }
    [bundle load];
    void *library = dlopen([executable fileSystemRepresentation], RTLD_LAZY | RTLD_LOCAL);
    if (!library) {
        const char *reason = dlerror();
        error = reason ? reason : "its code cannot be loaded";
    }
    return library;
}

} // namespace

std::optional<Extension> Extension::Load(const std::filesystem::path &bundle, std::string &error) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    Extension extension;
    void *library = nullptr;
    try {
        library = Open(std::filesystem::absolute(bundle), error);
    } catch (...) {
        error = "its code throws when it is loaded";
    }
    const bool bound = library && Bind(library, "LumInitInstance", extension.initInstance, error) &&
                       Bind(library, "LumHandleEvent", extension.handleEvent, error) &&
                       Bind(library, "LumSetWindow", extension.setWindow, error) &&
                       Bind(library, "LumActionNotify", extension.actionNotify, error) &&
                       Bind(library, "LumHeartbeat", extension.heartbeat, error) &&
                       Bind(library, "LumExitInstance", extension.exitInstance, error);
    [pool drain];
    return bound ? std::optional(extension) : std::nullopt;
}

} // namespace lumhost
