// Some failure paths leave an object allocated on purpose: their callers may still hold it. It stays reachable here, so
// that a leak checker's report holds real leaks only.
#pragma once

void KeepAllocated(const void *object);
