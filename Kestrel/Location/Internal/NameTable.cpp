#include <Kestrel/Location/Internal/NameTable.h>

#include <algorithm>
#include <cstring>

namespace IO {

unsigned int NameTable::Store(Mu::ConstSubstring const & text) {
    unsigned int first = NoIndex;
    unsigned int last = NoIndex;
    unsigned int from = 0;
    do {
        unsigned int const chunk = chunks.Take();
        if (chunk == NoIndex) {
            if (first != NoIndex)
                chunks.Put(first, last);
            return NoIndex;
        }
        Record & record = chunks[chunk];
        unsigned int const used = std::min(text.GetLength() - from, ChunkSize);
        std::copy_n(text.GetUnits() + from, used, record.units);
        if (used < ChunkSize)
            record.units[used] = 0;
        record.next = NoIndex;
        (first == NoIndex ? first : chunks[last].next) = chunk;
        last = chunk;
        from += used;
    } while (from < text.GetLength());
    ++count;
    return first;
}

void NameTable::Release(unsigned int name) {
    unsigned int last = name;
    while (chunks[last].next != NoIndex)
        last = chunks[last].next;
    chunks.Put(name, last);
    if (--count == 0)
        Destroy();
}

void NameTable::Destroy() {
    chunks.Destroy();
    count = 0;
}

// Compares four units at a time while they are equal.
unsigned int NameTable::CountEqual(unsigned short const * a, unsigned short const * b,
                                   unsigned int count) {
    unsigned int equal = 0;
    for (; equal + 4 <= count; equal += 4) {
        unsigned long long first;
        unsigned long long second;
        std::memcpy(&first, a + equal, sizeof first);
        std::memcpy(&second, b + equal, sizeof second);
        if (first != second)
            break;
    }
    while (equal < count && a[equal] == b[equal])
        ++equal;
    return equal;
}

int NameTable::Compare(unsigned int name, Mu::ConstSubstring const & key) const {
    unsigned short const * units = key.GetUnits();
    unsigned int left = key.GetLength();
    for (;;) {
        Record const & chunk = chunks[name];
        unsigned int const count = std::min(left, ChunkSize);
        unsigned int const equal = CountEqual(chunk.units, units, count);
        if (equal < count)
            return chunk.units[equal] < units[equal] ? -1 : 1; // zero where the name ends
        if (count < ChunkSize)
            return chunk.units[count] == 0 ? 0 : 1;
        left -= ChunkSize;
        units += ChunkSize;
        name = chunk.next;
        if (name == NoIndex)
            return left == 0 ? 0 : -1;
    }
}

int NameTable::CompareNames(unsigned int first, unsigned int second) const {
    for (;;) {
        Record const & a = chunks[first];
        Record const & b = chunks[second];
        for (unsigned int i = 0; i < ChunkSize; ++i) {
            if (a.units[i] != b.units[i])
                return a.units[i] < b.units[i] ? -1 : 1;
            if (a.units[i] == 0)
                return 0;
        }
        if (a.next == NoIndex || b.next == NoIndex)
            return a.next == b.next ? 0 : a.next == NoIndex ? -1 : 1;
        first = a.next;
        second = b.next;
    }
}

unsigned int NameTable::GetLength(unsigned int name) const {
    unsigned int length = 0;
    for (; chunks[name].next != NoIndex; name = chunks[name].next)
        length += ChunkSize;
    return length + CountUsed(chunks[name]);
}

void NameTable::Copy(unsigned int name, unsigned short * to) const {
    for (; name != NoIndex; name = chunks[name].next)
        to = std::copy_n(chunks[name].units, CountUsed(chunks[name]), to);
}

Mu::ConstSubstring NameTable::GetStart(unsigned int name) const {
    return {chunks[name].units, CountUsed(chunks[name])};
}

} // namespace IO
