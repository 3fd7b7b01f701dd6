#pragma once

#include <Kestrel/Root/Memory/Memory.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace IO::IPC {

/// A queue of plain values that reuses its memory: space freed at the front is used again at the
/// end, so that a steady flow allocates nothing.
///
/// Memory:  one block of the root, allocated by the first value and freed by the destructor.
/// Failure: Mu::OutOfMemoryException from operations that add; the queue is unchanged then.
template <typename T>
class FrontQueue {
public:
    bool IsEmpty() const { return head == items.size(); }
    std::size_t GetSize() const { return items.size() - head; }
    T & operator[](std::size_t index) { return items[head + index]; }
    T const & operator[](std::size_t index) const { return items[head + index]; }
    T & GetFront() { return items[head]; }
    T const & GetFront() const { return items[head]; }
    T & GetBack() { return items.back(); }
    T const & GetBack() const { return items.back(); }

    void PushBack(T value) { items.push_back(std::move(value)); }
    /// Inserts in front of the value at `index`; at the end if it equals the size.
    void Insert(std::size_t index, T value) {
        if (index == 0 && head != 0)
            items[--head] = std::move(value);
        else
            items.insert(items.begin() + static_cast<std::ptrdiff_t>(head + index),
                         std::move(value));
    }
    /// After that the next PushBack cannot fail.
    void ReserveOne() {
        if (items.size() == items.capacity())
            items.reserve(items.empty() ? 8 : items.size() * 2);
    }
    void PopFront() {
        ++head;
        if (head == items.size())
            Clear();
        else if (head >= 32 && head * 2 >= items.size()) {
            items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(head));
            head = 0;
        }
    }
    void PopBack() {
        items.pop_back();
        if (head == items.size())
            Clear();
    }
    void Clear() {
        items.clear();
        head = 0;
    }

private:
    std::vector<T, Mu::StdAllocator<T>> items;
    std::size_t head = 0; // number of values removed at the front
};

} // namespace IO::IPC
