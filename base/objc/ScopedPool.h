// An autorelease pool for a scope: callers that know nothing of Foundation have none of their own. Objective-C++ only.
#pragma once

#import <Foundation/Foundation.h>

namespace base {

class ScopedPool {
public:
    ScopedPool() : m_pool([NSAutoreleasePool new]) {}
    ~ScopedPool() {
        [m_pool drain];
    }
    ScopedPool(const ScopedPool &) = delete;
    ScopedPool &operator=(const ScopedPool &) = delete;

private:
    NSAutoreleasePool *m_pool;
};

} // namespace base
