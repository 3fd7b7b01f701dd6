#pragma once

#include <Kestrel/Root/Containers/Array.h>

#include <cstddef>

namespace Mu {

/// An array in pages: it grows without moving its elements, so pointers to them remain valid.
/// Indices are not checked, nor is the last element of an empty array.
///
/// Memory:  pages of about 512 bytes, at least 8 elements each, and an array of pointers to them.
/// Threads: one at a time.
/// Failure: OutOfMemoryException; the array is unchanged then.
template <typename T>
class PagedArray {
    static_assert(alignof(T) <= alignof(std::max_align_t));
    static constexpr unsigned int CountPerPage() {
        unsigned int count = 8;
        while (count * 2 * sizeof(T) <= 512)
            count *= 2;
        return count;
    }

    template <typename Array, typename Element>
    class BasicIterator {
    public:
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        BasicIterator() = default;
        BasicIterator(Array & givenArray, unsigned int givenIndex)
            : array(&givenArray), index(givenIndex) {}
        Element & operator*() const { return (*array)[index]; }
        Element * operator->() const { return &(*array)[index]; }
        BasicIterator & operator++() {
            ++index;
            return *this;
        }
        BasicIterator operator++(int) { return BasicIterator(*array, index++); }
        friend bool operator==(BasicIterator const &, BasicIterator const &) = default;

    private:
        Array * array = nullptr;
        unsigned int index = 0;
    };

public:
    static constexpr unsigned int PageSize = CountPerPage();
    using value_type = T;
    using Iterator = BasicIterator<PagedArray, T>;
    using ConstIterator = BasicIterator<PagedArray const, T const>;

    PagedArray() noexcept = default;
    PagedArray(PagedArray const & other) : PagedArray() {
        for (T const & value : other)
            Push(value);
    }
    PagedArray(PagedArray && other) noexcept { Swap(other); }
    PagedArray & operator=(PagedArray const & other) { return *this = PagedArray(other); }
    PagedArray & operator=(PagedArray && other) noexcept {
        PagedArray taken(std::move(other));
        Swap(taken);
        return *this;
    }
    ~PagedArray() { Clear(); }

    unsigned int GetSize() const { return size; }
    bool IsEmpty() const { return size == 0; }

    T & operator[](unsigned int index) { return pages[index / PageSize][index % PageSize]; }
    T const & operator[](unsigned int index) const {
        return pages[index / PageSize][index % PageSize];
    }
    T & GetLast() { return (*this)[size - 1]; }
    T const & GetLast() const { return (*this)[size - 1]; }

    /// The value may be an element of this array.
    T & Push(T const & value) { return Emplace(value); }
    T & Push(T && value) { return Emplace(std::move(value)); }

    template <typename... Arguments>
    T & Emplace(Arguments &&... arguments) {
        if (size == static_cast<unsigned long long>(pages.GetSize()) * PageSize)
            AddPage();
        T * const place = &(*this)[size];
        ::new (static_cast<void *>(place)) T(std::forward<Arguments>(arguments)...);
        ++size;
        return *place;
    }

    void DeleteLast() { (*this)[--size].~T(); }
    void Clear() {
        while (size > 0)
            DeleteLast();
        for (T * page : pages)
            DeleteArrayOperator(page);
        pages.Clear();
    }
    void Swap(PagedArray & other) noexcept {
        std::swap(pages, other.pages);
        std::swap(size, other.size);
    }
    /// Swaps two elements.
    void Swap(unsigned int a, unsigned int b) { std::swap((*this)[a], (*this)[b]); }

    Iterator begin() { return {*this, 0}; }
    Iterator end() { return {*this, size}; }
    ConstIterator begin() const { return {*this, 0}; }
    ConstIterator end() const { return {*this, size}; }

private:
    void AddPage() {
        if (size > NotFound - PageSize)
            ThrowOutOfMemory();
        pages.Push(nullptr);
        pages.GetLast() = static_cast<T *>(NewArrayOperator(PageSize * sizeof(T)));
        if (pages.GetLast() == nullptr) {
            pages.DeleteLast();
            ThrowOutOfMemory();
        }
    }

    Array<T *> pages;
    unsigned int size = 0;
};

} // namespace Mu
