#pragma once

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Socket/Platform/InterfaceCalls.h>

namespace IO::Socket {

/// Memory for a table of the system, uninitialised.
class TableBlock {
public:
    TableBlock() = default;
    ~TableBlock() { Mu::DeleteOperator(data); }
    TableBlock(TableBlock const &) = delete;
    TableBlock & operator=(TableBlock const &) = delete;

    /// Replaces the memory, without the content. Throws Mu::OutOfMemoryException, and is empty
    /// then.
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

/// The code to return when the second call fails.
enum class SecondFailure { ItsOwn, ThatOfTheFirst };

/// Fetches a table whose size only the system knows: calls it with `firstSize` bytes, allocates the
/// size that the system returns if that was `tooSmall`, and calls it again, whether the first size
/// was enough or not. The second call's result counts.
///
/// `call(block, &size, isSecond)` returns 0 or the system's error, and stores the size that it
/// needs in `size`. Returns 0 or the error; a table that grew in between is an error. Throws
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
    // Kept: adapter infos return the code of their first call, usually that its size was too small.
    if (second != 0 && secondFailure == SecondFailure::ThatOfTheFirst)
        return first != 0 ? first : InterfaceCalls::FailedWithoutCode;
    return second;
}

} // namespace IO::Socket
