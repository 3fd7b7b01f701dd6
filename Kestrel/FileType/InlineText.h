#pragma once

#include <Kestrel/Root/Memory/Memory.h>

#include <cstring>
#include <utility>

namespace FTM {

/// A zero-terminated narrow text that is stored inline if it is short. The size includes the
/// terminating zero. Private to the records of the file types, as part of their layout.
///
/// Memory:  a block of the root for a longer text.
/// Threads: one at a time.
/// Failure: Set returns false if there is no memory; nothing is thrown.
template <unsigned int size>
class InlineText {
public:
    InlineText() = default;
    InlineText(InlineText && other) noexcept { Steal(other); }
    InlineText & operator=(InlineText && other) noexcept {
        if (this != &other) {
            BMKillPtr(&block);
            Steal(other);
        }
        return *this;
    }
    ~InlineText() {
        if (block != nullptr)
            BMKillPtr(&block);
    }

    /// Null counts as empty; `text` may be part of this object's text. False: no memory, and
    /// nothing is changed.
    [[nodiscard]] bool Set(char const * text) {
        if (text == nullptr)
            text = "";
        std::size_t const needed = std::strlen(text) + 1;
        char * newBlock = nullptr;
        if (needed > size && (newBlock = BMAllocatePtr(needed, 0, 0)) == nullptr)
            return false;
        std::memmove(newBlock == nullptr ? inlineText : newBlock, text, needed);
        BMKillPtr(&block);
        block = newBlock;
        return true;
    }

    char const * Get() const { return block == nullptr ? inlineText : block; }

private:
    void Steal(InlineText & other) {
        block = std::exchange(other.block, nullptr);
        std::memcpy(inlineText, other.inlineText, size);
        other.inlineText[0] = 0;
    }

    char * block = nullptr; // null while the text is inline
    char inlineText[size] = {};
};

} // namespace FTM
