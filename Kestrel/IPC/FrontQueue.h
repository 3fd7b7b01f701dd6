#pragma once

#include <Kestrel/Root/Memory/Memory.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace IO::IPC {

/// A queue of plain values that keeps its memory: what is taken at the front makes room again for
/// what comes at the end, so that a steady flow allocates nothing.
///
/// Memory:  one block of the root, taken by the first value, kept until the end.
/// Failure: Mu::OutOfMemoryException from what adds; nothing is changed then.
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
    /// In front of the value at `index`; at the end for the size.
    void Insert(std::size_t index, T value) {
        if (index == 0 && head != 0)
            items[--head] = std::move(value);
        else
            items.insert(items.begin() + static_cast<std::ptrdiff_t>(head + index),
                         std::move(value));
    }
    /// The next PushBack cannot fail.
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
    std::size_t head = 0; // how many in front were taken
};

} // namespace IO::IPC
