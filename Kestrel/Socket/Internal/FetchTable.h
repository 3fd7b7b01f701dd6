#pragma once

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Socket/Platform/InterfaceCalls.h>

namespace IO::Socket {

/// Memory for a table of the system, whose content is unknown.
class TableBlock {
public:
    TableBlock() = default;
    ~TableBlock() { Mu::DeleteOperator(data); }
    TableBlock(TableBlock const &) = delete;
    TableBlock & operator=(TableBlock const &) = delete;

    /// The content goes. Throws Mu::OutOfMemoryException, and has none then.
    void SetSize(unsigned int newSize) {
        Mu::DeleteOperator(data);
        data = nullptr;
        size = 0;
        data = Mu::NewOrThrow(newSize);
        size = newSize;
    }
    template <typename Table>
    Table * Get() const {
        return static_cast<Table *>(data);
    }
    unsigned int GetSize() const { return size; }

private:
    void * data = nullptr;
    unsigned int size = 0;
};

/// Which code a second call that fails leads to.
enum class SecondFailure { ItsOwn, ThatOfTheFirst };

/// Fetches a table of a size that only the system knows: asks for it with room for `firstSize` bytes,
/// makes the room that the system asks for if that was `tooSmall`, and asks for it again, whether the
/// first room was enough or not. What the second call left counts.
///
/// `call(block, &size, isSecond)` returns 0 or the system's error, and puts the size that it needs
/// where its own was. Returns 0 or the error; a table that grew in between is one. Throws
/// Mu::OutOfMemoryException.
template <typename Call>
unsigned int FetchTable(TableBlock & block, unsigned int firstSize, unsigned int tooSmall,
                        SecondFailure secondFailure, Call call) {
    block.SetSize(firstSize);
    unsigned int size = firstSize;
    unsigned int const first = call(block, &size, false);
    if (first == tooSmall)
        block.SetSize(size);
    else if (first != 0)
        return first;
    size = block.GetSize();
    unsigned int const second = call(block, &size, true);
    // Kept: adapter infos report the code of their first call, usually that its room was too small.
    if (second != 0 && secondFailure == SecondFailure::ThatOfTheFirst)
        return first != 0 ? first : InterfaceCalls::FailedWithoutCode;
    return second;
}

} // namespace IO::Socket
