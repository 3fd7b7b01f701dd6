#pragma once

#include <Kestrel/Root/Memory/AtomicCounter.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Memory/SharedPtr.h>

#include <cstddef>
#include <functional>
#include <new>
#include <type_traits>
#include <utility>

namespace Mu {

/// The common part of the counted pointers: the object, and the count that belongs to it. Stores a
/// plain pointer; the owners decide when to count.
template <typename Counter>
class CountedPtrImpl {
public:
    CountedPtrImpl() noexcept = default;
    /// Takes ownership of the object, and deletes it if the counter cannot be allocated, which
    /// throws OutOfMemoryException. Null makes an empty one.
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

/// A counted shared reference to any object that can be deleted; the count is outside the object.
///
/// Memory:  one small block per object for the count.
/// Threads: with AtomicCounter, copies may be used and destroyed in any thread; one Ref is used by
///          one thread at a time.
/// Failure: OutOfMemoryException from the constructor, which then has deleted the object;
///          NullReferenceException if an empty one is dereferenced.
template <typename T, typename Counter = AtomicCounter>
class Ref {
public:
    Ref() noexcept = default;
    Ref(std::nullptr_t) noexcept {}
    /// Takes ownership of the object.
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

} // namespace Mu
