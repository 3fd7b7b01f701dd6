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

/// The new capacity of an array of `capacity` elements that must hold `needed`: at least doubled.
/// Throws OutOfMemoryException if the elements cannot be counted or addressed.
KESTREL_API unsigned int GrowCapacity(unsigned int capacity, unsigned long long needed,
                                      std::size_t elementSize);

/// The common base of Array and ArrayFB: everything except the storage of the first elements. For
/// functions that accept either. Indices are not checked, nor is the last element of an empty
/// array.
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

    /// Appends the value, which may be an element of this array.
    T & Push(T const & value) { return Emplace(value); }
    T & Push(T && value) { return Emplace(std::move(value)); }

    template <typename... Arguments>
    T & Emplace(Arguments &&... arguments) {
        if (size == capacity) {
            // Constructed before the growth, which would move the objects that the arguments may
            // refer to.
            T value(std::forward<Arguments>(arguments)...);
            Reserve(static_cast<unsigned long long>(size) + 1);
            ::new (static_cast<void *>(data + size)) T(std::move(value));
        } else {
            ::new (static_cast<void *>(data + size)) T(std::forward<Arguments>(arguments)...);
        }
        return data[size++];
    }

    /// Appends copies of `count` elements that are not in this array.
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

    /// Inserts in front of the element at `index`, which is at most the size; later elements move
    /// up.
    T & Insert(unsigned int index, T value) {
        Emplace(std::move(value));
        std::rotate(data + index, data + size - 1, data + size);
        return data[index];
    }

    /// Removes an element; later ones move down.
    void Delete(unsigned int index) {
        std::move(data + index + 1, data + size, data + index);
        Truncate(size - 1);
    }
    void DeleteLast() { Truncate(size - 1); }
    /// Removes and returns the last element.
    T Pop() {
        T value(std::move(data[size - 1]));
        Truncate(size - 1);
        return value;
    }

    /// Keeps the first `count` elements; `count` is at most the size.
    void Truncate(unsigned int count) {
        while (size > count)
            data[--size].~T();
    }

    /// Truncates, or appends default values.
    void SetSize(unsigned int count) {
        Reserve(count);
        unsigned int const before = size;
        Truncate(std::min<unsigned int>(size, count)); // keeps a macro min from being expanded
        try {
            for (; size < count; ++size)
                ::new (static_cast<void *>(data + size)) T();
        } catch (...) {
            Truncate(before);
            throw;
        }
    }

    /// Reserves capacity for at least `count` elements.
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

    /// The format of objects: a frame with the number of elements and each of them.
    MuErrCode Write(OChannel & channel) const {
        return ArrayPrivate::WriteElements(channel, *this);
    }
    MuErrCode Read(IChannel & channel) { return ArrayPrivate::ReadElements(channel, *this); }

protected:
    ArrayBase() noexcept = default;
    /// With inline storage, which must outlive it.
    ArrayBase(T * inlineData, unsigned int inlineCapacity) noexcept
        : data(inlineData), capacity(inlineCapacity), ownsBlock(0) {}
    ~ArrayBase() { Release(); }

    bool OwnsBlock() const { return ownsBlock; }

    /// Takes the block of the other array, which owns one or has none. If that uses its inline
    /// storage, its elements are moved and it becomes empty. That allocates memory, and a shortage
    /// terminates the process if the move is declared noexcept.
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

    /// Destroys the elements and frees the block; the inline storage remains.
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
        GrowCapacity(0, newCapacity, sizeof(T)); // throws for what cannot be addressed
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

    // Copies if moving could throw halfway, so that the old elements remain intact.
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
    unsigned int ownsBlock : 1 = 1; // 0 while data is the inline storage of an ArrayFB
};

} // namespace Mu
