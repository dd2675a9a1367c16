#include "host/run/Extension.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#import <Foundation/Foundation.h>

#import "base/objc/ScopedPool.h"

namespace lumhost {

namespace {

template <typename Function> void Bind(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (!function) {
        throw std::runtime_error(std::string("it does not export ") + name);
    }
}

// NSBundle first, so that the extension finds itself by its identifier. Then the code is open already and dlopen only
// returns its handle; otherwise dlopen knows better than NSBundle why it cannot be opened.
void *Open(const std::filesystem::path &path) {
    NSBundle *bundle = [NSBundle bundleWithPath:[NSString stringWithUTF8String:path.c_str()]];
    NSString *executable = [bundle executablePath];
    if (!executable) {
        throw std::runtime_error("it is not a bundle, or has no code");
    }
    [bundle load];
    void *library = dlopen([executable fileSystemRepresentation], RTLD_LAZY | RTLD_LOCAL);
    if (!library) {
        const char *reason = dlerror();
        throw std::runtime_error(reason ? reason : "its code cannot be loaded");
    }
    return library;
}

Extension LoadFrom(const std::filesystem::path &bundle) {
    void *library = Open(std::filesystem::absolute(bundle));
    Extension extension;
    Bind(library, "LumInitInstance", extension.initInstance);
    Bind(library, "LumHandleEvent", extension.handleEvent);
    Bind(library, "LumSetWindow", extension.setWindow);
    Bind(library, "LumActionNotify", extension.actionNotify);
    Bind(library, "LumHeartbeat", extension.heartbeat);
    Bind(library, "LumExitInstance", extension.exitInstance);
    return extension;
}

} // namespace

base::Result<Extension> Extension::Load(const std::filesystem::path &bundle) {
    const base::ScopedPool pool;
    const std::string failed = "cannot load " + bundle.string() + ": ";
    try {
        return LoadFrom(bundle);
    } catch (const std::exception &failure) {
        return base::Fail(failed + failure.what());
    } catch (...) { // an Objective-C object
        return base::Fail(failed + "its code throws when it is loaded");
    }
}

} // namespace lumhost
