// GoogleMock for tests in Objective-C++. A lambda of its action Throw, [ex = exception], does not parse there since version
// 1.16; without exceptions the header leaves the action out.
#pragma once

#include <gtest/gtest.h>

#pragma push_macro("GTEST_HAS_EXCEPTIONS")
#undef GTEST_HAS_EXCEPTIONS
#define GTEST_HAS_EXCEPTIONS 0
#include <gmock/gmock.h> // IWYU pragma: export
#pragma pop_macro("GTEST_HAS_EXCEPTIONS")
