// An autorelease pool for a scope: the process that uses the framework may have none.
#pragma once

#import <Foundation/Foundation.h>

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
