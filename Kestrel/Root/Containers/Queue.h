#pragma once

#include <Kestrel/Root/Containers/Array.h>

namespace Mu {

/// A first-in, first-out queue.
///
/// Memory:  one block that doubles; Clear frees it.
/// Threads: one at a time.
/// Failure: OutOfMemoryException; the queue is unchanged then.
template <typename T>
class Queue {
    static_assert(alignof(T) <= alignof(std::max_align_t));
    static_assert(std::is_nothrow_move_constructible_v<T>, "growing moves the elements");

public:
    Queue() noexcept = default;
    Queue(Queue const & other) : Queue() {
        for (unsigned int i = 0; i < other.size; ++i)
            Push(other[i]);
    }
    Queue(Queue && other) noexcept { Swap(other); }
    Queue & operator=(Queue const & other) { return *this = Queue(other); }
    Queue & operator=(Queue && other) noexcept {
        Queue taken(std::move(other));
        Swap(taken);
        return *this;
    }
    ~Queue() { Clear(); }

    unsigned int GetSize() const { return size; }
    bool IsEmpty() const { return size == 0; }

    /// 0 is the oldest.
    T & operator[](unsigned int index) { return data[PlaceOf(index)]; }
    T const & operator[](unsigned int index) const { return data[PlaceOf(index)]; }
    T & GetFirst() { return data[first]; }
    T const & GetFirst() const { return data[first]; }

    void Push(T value) {
        if (size == capacity)
            Grow();
        ::new (static_cast<void *>(data + PlaceOf(size))) T(std::move(value));
        ++size;
    }

    /// Removes and returns the oldest element; the queue must not be empty.
    T Pop() {
        T value(std::move(data[first]));
        data[first].~T();
        first = PlaceOf(1);
        --size;
        return value;
    }

    void Clear() {
        for (unsigned int i = 0; i < size; ++i)
            (*this)[i].~T();
        DeleteArrayOperator(data);
        data = nullptr;
        first = size = capacity = 0;
    }

    void Swap(Queue & other) noexcept {
        std::swap(data, other.data);
        std::swap(first, other.first);
        std::swap(size, other.size);
        std::swap(capacity, other.capacity);
    }

private:
    // The capacity is a power of two.
    unsigned int PlaceOf(unsigned int index) const { return (first + index) & (capacity - 1); }

    void Grow() {
        unsigned int const newCapacity = capacity == 0 ? 8 : capacity * 2;
        if (newCapacity <= capacity || newCapacity > NotFound / sizeof(T))
            ThrowOutOfMemory();
        T * const block = static_cast<T *>(NewArrayOperator(newCapacity * sizeof(T)));
        if (block == nullptr)
            ThrowOutOfMemory();
        for (unsigned int i = 0; i < size; ++i) {
            ::new (static_cast<void *>(block + i)) T(std::move((*this)[i]));
            (*this)[i].~T();
        }
        DeleteArrayOperator(std::exchange(data, block));
        first = 0;
        capacity = newCapacity;
    }

    T * data = nullptr;
    unsigned int first = 0; // place of the oldest
    unsigned int size = 0;
    unsigned int capacity = 0;
};

} // namespace Mu
