// Reference-counted string block shared by WString, Utf8String and Latin1String: one pointer
// to a heap block (count, units, terminator); copies share it. One thread per block at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <limits>
#include <new>

namespace sysman {

inline std::size_t unitLength(const char* s) {
    return std::strlen(s);
}
inline std::size_t unitLength(const wchar_t* s) {
    return std::wcslen(s);
}
inline int unitCompare(const char* a, const char* b) {
    return std::strcmp(a, b);
}
// Unsigned unit order on every target: wcscmp follows wchar_t, signed on x86, unsigned on ARM.
inline int unitCompare(const wchar_t* a, const wchar_t* b) {
    for (; *a != 0 && *a == *b; ++a, ++b) {
    }
    const auto x = static_cast<uint32_t>(*a), y = static_cast<uint32_t>(*b);
    return x < y ? -1 : x > y ? 1 : 0;
}

// Unit is the character type; Count, of the same width, the holder count kept in the block's
// first unit; Self is the concrete string type, which gets its own static empty block.
// The block for n units is n + 2 units from array new: count, the n units, a 0 terminator.
template <typename Unit, typename Count, typename Self>
class RefString {
    static_assert(sizeof(Unit) == sizeof(Count), "the count takes one unit of the block");

  public:
    // A block with this count has as many holders as it can tell; copies of it clone.
    static constexpr Count Saturated = std::numeric_limits<Count>::max();

    RefString() noexcept : block(emptyBlock) {}
    RefString(const Unit* s) : RefString(s, std::numeric_limits<std::size_t>::max()) {}
    // At most n units of s, stopping early at a 0 unit.
    RefString(const Unit* s, std::size_t n) : block(emptyBlock) {
        std::size_t len = 0;
        while (s && len < n && s[len] != 0)
            ++len;
        if (len > 0)
            block = newBlock(s, len);
    }
    RefString(const RefString& src) : block(take(src.block)) {}
    ~RefString() { release(block); }

    // Takes the source's block before letting go of its own, so a failed clone of a
    // saturated block leaves the target unchanged; the same block (or self) is a no-op.
    RefString& operator=(const RefString& src) {
        if (src.block != block) {
            Unit* taken = take(src.block);
            release(block);
            block = taken;
        }
        return *this;
    }
    RefString& operator=(const Unit* s) {
        std::size_t len = s ? unitLength(s) : 0;
        Unit* replacement = len > 0 ? newBlock(s, len) : emptyBlock;
        release(block);
        block = replacement;
        return *this;
    }
    // Builds the joined text before releasing the old block, so s may lie in this string.
    RefString& operator+=(const Unit* s) {
        if (!s || s[0] == 0)
            return *this;
        std::size_t len = length();
        std::size_t added = unitLength(s);
        Unit* joined = allocate(len + added);
        std::memcpy(joined + 1, text(block), len * sizeof(Unit));
        std::memcpy(joined + 1 + len, s, added * sizeof(Unit));
        joined[1 + len + added] = 0;
        release(block);
        block = joined;
        return *this;
    }

    std::size_t length() const { return unitLength(text(block)); }
    const Unit* c_str() const { return text(block); }

    // Writable room for max(n, 1) units in a block only this string holds; the text is kept
    // (cut to the room). Follow with commit or dropIfEmpty.
    Unit* buffer(std::size_t n) {
        std::size_t room = n > 0 ? n : 1;
        std::size_t len = length();
        if (countOf(block) <= 1 && room <= len)
            return text(block);
        std::size_t kept = len < room ? len : room;
        Unit* own = allocate(room);
        std::memcpy(own + 1, text(block), kept * sizeof(Unit));
        own[1 + kept] = 0;
        own[1 + room] = 0;
        release(block);
        block = own;
        return text(block);
    }
    // Ends the text written through buffer at n units; 0 gives the empty string. Both free the
    // block without looking at its count: they belong right after buffer on the same string.
    void commit(std::size_t n) {
        if (n > 0) {
            text(block)[n] = 0;
            return;
        }
        drop();
    }
    void dropIfEmpty() {
        if (text(block)[0] == 0)
            drop();
    }

    friend Self operator+(const Self& a, const Unit* s) {
        Self joined(a);
        joined += s;
        return joined;
    }
    friend bool operator==(const Self& a, const Self& b) {
        return a.block == b.block || unitCompare(a.c_str(), b.c_str()) == 0;
    }
    friend bool operator==(const Self& a, const Unit* s) { return unitCompare(a.c_str(), s) == 0; }
    friend bool operator<(const Self& a, const Self& b) {
        return a.block != b.block && unitCompare(a.c_str(), b.c_str()) < 0;
    }

  private:
    static Count countOf(const Unit* b) { return static_cast<Count>(b[0]); }
    static void setCount(Unit* b, Count count) { b[0] = static_cast<Unit>(count); }
    static Unit* text(Unit* b) { return b + 1; }

    // Count 1, text and terminator left to the caller.
    static Unit* allocate(std::size_t n) {
        if (n > std::numeric_limits<std::size_t>::max() - 2)
            throw std::bad_alloc();
        Unit* b = new Unit[n + 2];
        setCount(b, 1);
        return b;
    }
    static Unit* newBlock(const Unit* s, std::size_t n) {
        Unit* b = allocate(n);
        std::memcpy(b + 1, s, n * sizeof(Unit));
        b[1 + n] = 0;
        return b;
    }
    // The copy rule: share and count, or clone a saturated block.
    static Unit* take(Unit* src) {
        if (src == emptyBlock)
            return src;
        Count count = countOf(src);
        if (count != Saturated) {
            setCount(src, count + 1);
            return src;
        }
        std::size_t len = unitLength(text(src));
        return len > 0 ? newBlock(text(src), len) : emptyBlock;
    }
    void drop() {
        if (block != emptyBlock)
            delete[] block;
        block = emptyBlock;
    }
    static void release(Unit* b) {
        if (b == emptyBlock)
            return;
        Count count = countOf(b) - 1;
        setCount(b, count);
        if (count == 0)
            delete[] b;
    }

    // Count 0 and terminator 0 for the life of the process; recognised by its address.
    static inline Unit emptyBlock[2] = {};

    Unit* block;
};

} // namespace sysman
