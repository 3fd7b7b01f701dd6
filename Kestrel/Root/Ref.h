#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <new>
#include <type_traits>
#include <utility>

namespace Mu {

/// Both answer the new value. Safe from any thread.
inline int AtomicIncrement(int volatile * value) {
    return std::atomic_ref<int>(*const_cast<int *>(value)).fetch_add(1) + 1;
}
inline int AtomicDecrement(int volatile * value) {
    return std::atomic_ref<int>(*const_cast<int *>(value)).fetch_sub(1) - 1;
}

/// Throws NullReferenceException, "Null reference.".
[[noreturn]] KESTREL_API void ThrowNullReference();

/// Counts by atomic steps, for references that cross threads.
class AtomicCounter {
public:
    void Increment() { AtomicIncrement(&value); }
    /// True when it was the last.
    bool Decrement() { return AtomicDecrement(&value) == 0; }
    int GetValue() const { return value; }

private:
    int volatile value = 1;
};

/// Counts by plain steps, for references that stay in one thread.
class PlainCounter {
public:
    void Increment() { ++value; }
    bool Decrement() { return --value == 0; }
    int GetValue() const { return value; }

private:
    int value = 1;
};

/// The machinery behind the counted pointers: which object, and the count that belongs to it.
/// Holds a plain pointer; the owners decide when to count.
template <typename Counter>
class CountedPtrImpl {
public:
    CountedPtrImpl() noexcept = default;
    /// Takes the object over, and deletes it should the counter not be had; that is thrown as
    /// OutOfMemoryException. Null makes an empty one.
    template <typename T>
    explicit CountedPtrImpl(T * object) {
        if (object == nullptr)
            return;
        void * const block = NewOperator(sizeof(Shared));
        if (block == nullptr) {
            delete object;
            ThrowOutOfMemory();
        }
        shared =
            ::new (block) Shared{{}, object, [](void * held) { delete static_cast<T *>(held); }};
    }
    CountedPtrImpl(CountedPtrImpl const & other) noexcept : shared(other.shared) {
        if (shared != nullptr)
            shared->counter.Increment();
    }
    CountedPtrImpl(CountedPtrImpl && other) noexcept
        : shared(std::exchange(other.shared, nullptr)) {}
    CountedPtrImpl & operator=(CountedPtrImpl other) noexcept {
        std::swap(shared, other.shared);
        return *this;
    }
    ~CountedPtrImpl() {
        if (shared == nullptr || !shared->counter.Decrement())
            return;
        shared->destroy(shared->object);
        DeleteOperator(shared);
    }

    int GetCount() const { return shared == nullptr ? 0 : shared->counter.GetValue(); }

private:
    struct Shared {
        Counter counter;
        void * object;
        void (*destroy)(void * object);
    };

    Shared * shared = nullptr;
};

/// A counted shared reference to any object that `delete` ends; the count lies beside the object.
///
/// Memory:  one small block per object for the count.
/// Threads: with AtomicCounter, copies may be used and dropped in any thread; one Ref belongs to
///          one thread at a time.
/// Failure: OutOfMemoryException from the constructor, which then has deleted the object;
///          NullReferenceException when an empty one is dereferenced.
template <typename T, typename Counter = AtomicCounter>
class Ref {
public:
    Ref() noexcept = default;
    Ref(std::nullptr_t) noexcept {}
    /// Takes the object over.
    explicit Ref(T * object) : pointer(object), counted(object) {}
    template <typename U>
    requires std::is_convertible_v<U *, T *>
    explicit Ref(U * object) : pointer(object), counted(object) {}
    template <typename U>
    requires std::is_convertible_v<U *, T *> Ref(Ref<U, Counter> const & other)
    noexcept : pointer(other.pointer), counted(other.counted) {}

    Ref(Ref const &) noexcept = default;
    Ref(Ref && other) noexcept
        : pointer(std::exchange(other.pointer, nullptr)), counted(std::move(other.counted)) {}
    Ref & operator=(Ref other) noexcept {
        std::swap(pointer, other.pointer);
        counted = std::move(other.counted);
        return *this;
    }

    T & operator*() const { return *operator->(); }
    T * operator->() const {
        if (pointer == nullptr)
            ThrowNullReference();
        return pointer;
    }
    /// Null for an empty one.
    T * Get() const noexcept { return pointer; }
    bool IsNull() const noexcept { return pointer == nullptr; }
    explicit operator bool() const noexcept { return pointer != nullptr; }
    void Clear() noexcept { *this = Ref(); }
    int GetCount() const { return counted.GetCount(); }

    friend bool operator==(Ref const & a, Ref const & b) { return a.pointer == b.pointer; }
    friend bool operator==(Ref const & a, std::nullptr_t) { return a.pointer == nullptr; }
    unsigned int GenerateHashValue() const {
        return static_cast<unsigned int>(std::hash<T *>()(pointer) >> 4);
    }

private:
    template <typename U, typename C>
    friend class Ref;

    T * pointer = nullptr;
    CountedPtrImpl<Counter> counted;
};

/// The base of objects that carry their own count. Made with a count of 0: the first SharedPtr
/// owns it.
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
    int GetReferenceCount() const { return count; }

private:
    mutable int volatile count = 0;
};

/// A counted reference to a SharedObject. Takes no memory; a plain pointer to the same object may
/// be made into a further one at any time.
///
/// Failure: NullReferenceException when an empty one is dereferenced.
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
