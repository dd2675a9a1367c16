// The elements of an array in a range-based for: `for (NSString *name : Each<NSString *>(names))`. The compiler's
// Objective-C++ has no fast enumeration. The array, which may be nil, must not change during the loop.
#pragma once

#import <Foundation/NSArray.h>

template <typename Element> class Each {
public:
    class Iterator {
    public:
        Iterator(NSArray *array, NSUInteger index) : m_array(array), m_index(index) {}
        Element operator*() const {
            return static_cast<Element>([m_array objectAtIndex:m_index]);
        }
        Iterator &operator++() {
            ++m_index;
            return *this;
        }
        bool operator!=(const Iterator &other) const {
            return m_index != other.m_index;
        }

    private:
        NSArray *m_array;
        NSUInteger m_index;
    };

    explicit Each(NSArray *array) : m_array(array) {}
    Iterator begin() const {
        return {m_array, 0};
    }
    Iterator end() const {
        return {m_array, [m_array count]};
    }

private:
    NSArray *m_array;
};
