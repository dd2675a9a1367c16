// An autorelease pool for a scope. Functions that return plain values have one, because a container that knows nothing
// of Foundation has none of its own.
#pragma once

#import <Foundation/Foundation.h>

class ScopedPool {
public:
    ScopedPool() : m_pool([NSAutoreleasePool new]) {}
    ~ScopedPool() { [m_pool drain]; }
    ScopedPool(const ScopedPool &) = delete;
    ScopedPool &operator=(const ScopedPool &) = delete;

private:
    NSAutoreleasePool *m_pool;
};
