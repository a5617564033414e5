// Test access to a string's block: its address, its holder count and whether it is the type's
// shared empty block; the count can be set so saturation is reached without billions of copies.
#pragma once

#include "sysman/ref_string.h"

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
// From the sanitizer runtime (its header is not installed here): the size a block was asked for.
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* p);
#endif

namespace sysman {

struct StringProbe {
#if defined(__SANITIZE_ADDRESS__)
    static constexpr bool CanMeasure = true;
#else
    static constexpr bool CanMeasure = false;
#endif

    // Bytes the block of s was allocated with; only known when CanMeasure.
    template <typename U, typename C, typename S>
    static std::size_t allocatedBytes(const RefString<U, C, S>& s) {
#if defined(__SANITIZE_ADDRESS__)
        return __sanitizer_get_allocated_size(s.block);
#else
        (void)s;
        return 0;
#endif
    }
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
