#pragma once

#include <Kestrel/Root/Containers/ContainerStreams.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace Mu {

/// The capacity that an array of `capacity` elements grows to when it must hold `needed`: at least
/// doubled. Throws OutOfMemoryException when the elements cannot be counted or addressed.
KESTREL_API unsigned int GrowCapacity(unsigned int capacity, unsigned long long needed,
                                      std::size_t elementSize);

/// What Array and ArrayFB share: everything but where their first elements lie. For functions that
/// take either. Indices are not checked, and an empty one has no last element to ask for.
template <typename T>
class ArrayBase {
    static_assert(alignof(T) <= alignof(std::max_align_t));

public:
    using value_type = T;

    ArrayBase(ArrayBase const &) = delete;
    ArrayBase & operator=(ArrayBase const &) = delete;

    unsigned int GetSize() const { return size; }
    bool IsEmpty() const { return size == 0; }
    unsigned int GetCapacity() const { return capacity; }

    T & operator[](unsigned int index) { return data[index]; }
    T const & operator[](unsigned int index) const { return data[index]; }
    T & GetLast() { return data[size - 1]; }
    T const & GetLast() const { return data[size - 1]; }
    T * GetData() { return data; }
    T const * GetData() const { return data; }

    T * begin() { return data; }
    T * end() { return data + size; }
    T const * begin() const { return data; }
    T const * end() const { return data + size; }
    operator std::span<T const>() const { return {data, size}; }

    /// At the end. The value may be an element of this array.
    T & Push(T const & value) { return Emplace(value); }
    T & Push(T && value) { return Emplace(std::move(value)); }

    template <typename... Arguments>
    T & Emplace(Arguments &&... arguments) {
        if (size == capacity) {
            // Made before the growth, which would move what the arguments may refer to.
            T value(std::forward<Arguments>(arguments)...);
            Reserve(static_cast<unsigned long long>(size) + 1);
            ::new (static_cast<void *>(data + size)) T(std::move(value));
        } else {
            ::new (static_cast<void *>(data + size)) T(std::forward<Arguments>(arguments)...);
        }
        return data[size++];
    }

    /// Copies of `count` elements that lie outside this array.
    void Append(T const * source, unsigned int count) {
        Reserve(static_cast<unsigned long long>(size) + count);
        unsigned int const before = size;
        try {
            for (unsigned int i = 0; i < count; ++i, ++size)
                ::new (static_cast<void *>(data + size)) T(source[i]);
        } catch (...) {
            Truncate(before);
            throw;
        }
    }

    /// In front of the element at `index`, which is at most the size; those behind it move up.
    T & Insert(unsigned int index, T value) {
        Emplace(std::move(value));
        std::rotate(data + index, data + size - 1, data + size);
        return data[index];
    }

    /// Those behind it move down.
    void Delete(unsigned int index) {
        std::move(data + index + 1, data + size, data + index);
        Truncate(size - 1);
    }
    void DeleteLast() { Truncate(size - 1); }
    /// The last element, which leaves the array.
    T Pop() {
        T value(std::move(data[size - 1]));
        Truncate(size - 1);
        return value;
    }

    /// Keeps the first `count` elements, which is at most the size.
    void Truncate(unsigned int count) {
        while (size > count)
            data[--size].~T();
    }

    /// Cuts, or adds default values at the end.
    void SetSize(unsigned int count) {
        Reserve(count);
        unsigned int const before = size;
        Truncate(std::min<unsigned int>(size, count)); // a macro min does not fit this
        try {
            for (; size < count; ++size)
                ::new (static_cast<void *>(data + size)) T();
        } catch (...) {
            Truncate(before);
            throw;
        }
    }

    /// Room for at least `count` elements without growing.
    void SetCapacity(unsigned int count) {
        if (count > capacity)
            MoveTo(count);
    }

    unsigned int FindFirst(T const & value) const {
        T const * const found = std::find(begin(), end(), value);
        return found == end() ? NotFound : static_cast<unsigned int>(found - data);
    }
    bool Contains(T const & value) const { return FindFirst(value) != NotFound; }

    friend bool operator==(ArrayBase const & a, ArrayBase const & b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

    /// The object form: a frame with the number of elements and each of them.
    MuErrCode Write(OChannel & channel) const {
        return ArrayPrivate::WriteElements(channel, *this);
    }
    MuErrCode Read(IChannel & channel) { return ArrayPrivate::ReadElements(channel, *this); }

protected:
    ArrayBase() noexcept = default;
    /// With room of its own inside, which must outlive it.
    ArrayBase(T * inlineData, unsigned int inlineCapacity) noexcept
        : data(inlineData), capacity(inlineCapacity), ownsBlock(0) {}
    ~ArrayBase() { Release(); }

    bool OwnsBlock() const { return ownsBlock; }

    /// Takes the block of the other, which owns one or has none, and leaves it without any. The room
    /// inside another one cannot be taken: its elements move out of it, and it stays empty. That
    /// takes memory, so that a shortage there ends the process where moving promises not to throw.
    void Steal(ArrayBase & other) noexcept {
        Release();
        if (!other.ownsBlock) {
            for (T & value : other)
                Emplace(std::move(value));
            other.Truncate(0);
            return;
        }
        data = std::exchange(other.data, nullptr);
        size = std::exchange(other.size, 0);
        capacity = other.capacity;
        other.capacity = 0;
        ownsBlock = 1;
    }

    /// An empty array returns to the inline storage.
    void UseInline(T * inlineData, unsigned int inlineCapacity) noexcept {
        Release();
        data = inlineData;
        capacity = inlineCapacity;
        ownsBlock = 0;
    }

    /// Destroys the elements and frees the block; the room inside stays.
    void Release() noexcept {
        Truncate(0);
        if (!ownsBlock)
            return;
        DeleteArrayOperator(data);
        data = nullptr;
        capacity = 0;
    }

private:
    void Reserve(unsigned long long needed) {
        if (needed > capacity)
            MoveTo(GrowCapacity(capacity, needed, sizeof(T)));
    }

    void MoveTo(unsigned int newCapacity) {
        GrowCapacity(0, newCapacity, sizeof(T)); // refuses what cannot be addressed
        std::size_t const bytes = static_cast<std::size_t>(newCapacity) * sizeof(T);
        if constexpr (std::is_trivially_copyable_v<T>) {
            T * const block = static_cast<T *>(ownsBlock ? ReallocateOperator(data, bytes)
                                                         : NewArrayOperator(bytes));
            if (block == nullptr)
                ThrowOutOfMemory();
            if (!ownsBlock && size > 0)
                std::memcpy(static_cast<void *>(block), data, size * sizeof(T));
            data = block;
        } else {
            T * const block = static_cast<T *>(NewArrayOperator(bytes));
            if (block == nullptr)
                ThrowOutOfMemory();
            MoveElements(block);
            if (ownsBlock)
                DeleteArrayOperator(data);
            data = block;
        }
        capacity = newCapacity;
        ownsBlock = 1;
    }

    // Copies where moving could throw halfway, so that the old elements stay whole.
    void MoveElements(T * block) {
        unsigned int made = 0;
        try {
            for (; made < size; ++made)
                ::new (static_cast<void *>(block + made)) T(std::move_if_noexcept(data[made]));
        } catch (...) {
            while (made > 0)
                block[--made].~T();
            DeleteArrayOperator(block);
            throw;
        }
        for (unsigned int i = 0; i < size; ++i)
            data[i].~T();
    }

    T * data = nullptr;
    unsigned int size = 0;
    unsigned int capacity : 31 = 0;
    unsigned int ownsBlock : 1 = 1; // clear while data is the inline room of an ArrayFB
};

} // namespace Mu
