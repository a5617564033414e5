// Test access to a string's block: its address, its holder count and whether it is the type's
// shared empty block; the count can be set so saturation is reached without billions of copies.
#pragma once

#include "sysman/ref_string.h"

namespace sysman {

struct StringProbe {
    template <typename U, typename C, typename S>
    static const void* block(const RefString<U, C, S>& s) {
        return s.block;
    }
    template <typename U, typename C, typename S>
    static C count(const RefString<U, C, S>& s) {
        return RefString<U, C, S>::countOf(s.block);
    }
    template <typename U, typename C, typename S>
    static void setCount(RefString<U, C, S>& s, unsigned long long count) {
        RefString<U, C, S>::setCount(s.block, static_cast<C>(count));
    }
    template <typename U, typename C, typename S>
    static bool isSharedEmpty(const RefString<U, C, S>& s) {
        return s.block == RefString<U, C, S>::emptyBlock;
    }
    template <typename U, typename C, typename S>
    static C sharedEmptyCount(const RefString<U, C, S>&) {
        return RefString<U, C, S>::countOf(RefString<U, C, S>::emptyBlock);
    }
};

} // namespace sysman
