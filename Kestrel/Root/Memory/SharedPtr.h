#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/AtomicCounter.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace Mu {

/// The base of objects that contain their own count. It starts at 0: the first SharedPtr owns the
/// object.
///
/// Memory:  from the root.
/// Threads: counting is safe from any thread.
class KESTREL_API SharedObject : public Allocated {
public:
    SharedObject() noexcept = default;
    /// The count is not copied.
    SharedObject(SharedObject const &) noexcept {}
    SharedObject & operator=(SharedObject const &) noexcept { return *this; }
    virtual ~SharedObject();

    void AddReference() const { AtomicIncrement(&count); }
    /// Deletes the object with the last reference.
    void ReleaseReference() const {
        if (AtomicDecrement(&count) == 0)
            delete this;
    }
    int GetReferenceCount() const { return AtomicGet(&count); }

private:
    mutable int count = 0;
};

/// A counted reference to a SharedObject. Allocates nothing; further ones may be made from a plain
/// pointer to the object at any time.
///
/// Threads: copies may be used and destroyed in any thread; one SharedPtr is used by one thread at
///          a time.
/// Failure: NullReferenceException if an empty one is dereferenced.
template <typename T>
class SharedPtr {
public:
    SharedPtr() noexcept = default;
    SharedPtr(std::nullptr_t) noexcept {}
    SharedPtr(T * object) noexcept : pointer(object) {
        if (pointer != nullptr)
            pointer->AddReference();
    }
    SharedPtr(SharedPtr const & other) noexcept : SharedPtr(other.pointer) {}
    template <typename U>
    requires std::is_convertible_v<U *, T *> SharedPtr(SharedPtr<U> const & other)
    noexcept : SharedPtr(other.Get()) {}
    SharedPtr(SharedPtr && other) noexcept : pointer(std::exchange(other.pointer, nullptr)) {}
    SharedPtr & operator=(SharedPtr other) noexcept {
        std::swap(pointer, other.pointer);
        return *this;
    }
    ~SharedPtr() {
        if (pointer != nullptr)
            pointer->ReleaseReference();
    }

    T & operator*() const { return *operator->(); }
    T * operator->() const {
        if (pointer == nullptr)
            ThrowNullReference();
        return pointer;
    }
    T * Get() const noexcept { return pointer; }
    bool IsNull() const noexcept { return pointer == nullptr; }
    explicit operator bool() const noexcept { return pointer != nullptr; }
    void Clear() noexcept { *this = SharedPtr(); }

    friend bool operator==(SharedPtr const & a, SharedPtr const & b) {
        return a.pointer == b.pointer;
    }
    friend bool operator==(SharedPtr const & a, std::nullptr_t) { return a.pointer == nullptr; }
    unsigned int GenerateHashValue() const {
        return static_cast<unsigned int>(std::hash<T *>()(pointer) >> 4);
    }

private:
    T * pointer = nullptr;
};

} // namespace Mu
