#pragma once

#include <Kestrel/Root/Containers/ArrayBase.h>

#include <initializer_list>
#include <type_traits>
#include <utility>

namespace Mu {

/// A growable array in one block; pointers to elements are valid until it grows.
///
/// Memory:  none until the first element, then one block that doubles. Trivially copyable elements
///          are moved by copying their bytes.
/// Threads: one at a time.
/// Failure: OutOfMemoryException, and exceptions of the elements' copy constructors; the array is
///          unchanged then. Indices are not checked.
template <typename T>
class Array : public ArrayBase<T> {
public:
    Array() noexcept = default;
    Array(std::initializer_list<T> values) {
        for (T const & value : values)
            this->Push(value);
    }
    Array(ArrayBase<T> const & other) { this->Append(other.GetData(), other.GetSize()); }
    Array(Array const & other) : Array(static_cast<ArrayBase<T> const &>(other)) {}
    Array(Array && other) noexcept { this->Steal(other); }

    Array & operator=(Array const & other) {
        Array copy(other);
        this->Steal(copy);
        return *this;
    }
    Array & operator=(Array && other) noexcept {
        if (this != &other)
            this->Steal(other);
        return *this;
    }

    void Clear(bool keepCapacity = false) {
        if (keepCapacity)
            this->Truncate(0);
        else
            this->Release();
    }

protected:
    /// For an ArrayFB, which provides the storage.
    Array(T * inlineData, unsigned int inlineCapacity) noexcept
        : ArrayBase<T>(inlineData, inlineCapacity) {}
};

/// An Array with inline storage for `n` elements, for arrays that are mostly small; usable wherever
/// an Array is. Once it has outgrown the inline storage it uses a block until it is cleared.
template <typename T, unsigned int n>
class ArrayFB : public Array<T> {
public:
    ArrayFB() noexcept : Array<T>(Inline(), n) {}
    ArrayFB(ArrayBase<T> const & other) : ArrayFB() {
        this->Append(other.GetData(), other.GetSize());
    }
    ArrayFB(ArrayFB const & other) : ArrayFB(static_cast<ArrayBase<T> const &>(other)) {}
    ArrayFB(ArrayFB && other) noexcept(std::is_nothrow_move_constructible_v<T>) : ArrayFB() {
        Take(other);
    }

    ArrayFB & operator=(ArrayFB const & other) {
        ArrayFB copy(other);
        Clear();
        Take(copy);
        return *this;
    }
    ArrayFB & operator=(ArrayFB && other) noexcept(std::is_nothrow_move_constructible_v<T>) {
        if (this != &other) {
            Clear();
            Take(other);
        }
        return *this;
    }

    /// Drops the capacity and returns to the inline storage.
    void Clear(bool keepCapacity = false) {
        if (keepCapacity)
            this->Truncate(0);
        else
            this->UseInline(Inline(), n);
    }

private:
    T * Inline() { return reinterpret_cast<T *>(room); }

    // This array is empty with its inline storage, so that nothing needs to be allocated.
    void Take(ArrayFB & other) {
        if (other.OwnsBlock())
            this->Steal(other);
        else
            for (T & value : other)
                this->Emplace(std::move(value));
        other.Clear();
    }

    alignas(T) unsigned char room[n * sizeof(T)];
};

} // namespace Mu
