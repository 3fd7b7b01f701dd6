#include <Kestrel/Reflection/ReflectionManager.h>

#include <Kestrel/Reflection/Internal/ReflectableUse.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Threads/Condition.h>

#include <algorithm>
#include <typeinfo>

namespace IO {

namespace {

// A lock for objects that register before any constructor of this file could have run.
class TableLock final : public Mu::Lockable {
public:
    constexpr TableLock() = default;
    void Enter() override { Mu::CoreGuard::Enter(core); }
    bool TryEnter() override { return core.TryEnter(); }
    void Leave() override { core.Leave(); }

private:
    Mu::LockCore core;
};

bool Covers(RelativeLocation const & registered, RelativeLocation const & location) {
    return registered == location || registered.IsAncestorOf(location);
}

MuErrCode CopyRest(RelativeLocation const & location, unsigned int from, RelativeLocation * rest) {
    rest->Clear();
    Name name;
    for (unsigned int i = from; i < location.GetLength(); ++i) {
        MuErrCode status = location.GetName(i, &name);
        if (status == NoError)
            status = rest->Append(name);
        if (status != NoError)
            return status;
    }
    return NoError;
}

} // namespace

// The rows, and the uses of objects. Exists for the lifetime of the process and is never destroyed;
// it allocates memory only while there are rows, so that nothing is left after the last objects.
class ReflectionTable {
public:
    static bool Add(RelativeLocation const & location, Reflectable * reflectable, bool check,
                    std::type_info const * treeWalker) {
        Mu::LockGuard guard(lock);
        if (check && std::any_of(rows.array.begin(), rows.array.end(), [&](Row const & row) {
                return Covers(row.location, location) || location.IsAncestorOf(row.location);
            }))
            return false;
        try {
            rows.array.Push(Row{{location, reflectable}, ++lastNumber, treeWalker});
        } catch (Mu::OutOfMemoryException const &) {
            return false;
        }
        return true;
    }

    static void Remove(Reflectable * reflectable) {
        Mu::LockGuard guard(lock);
        // The row that replaces a removed one is not checked.
        for (unsigned int i = 0; i < rows.array.GetSize(); ++i)
            if (rows.array[i].reflectable == reflectable)
                rows.array.Delete(i);
        if (rows.array.IsEmpty())
            rows.array.Clear();
        WaitUntilUnused(reflectable);
    }

    static void WaitForUses(Reflectable const * reflectable) {
        Mu::LockGuard guard(lock);
        WaitUntilUnused(reflectable);
    }

    // Chains the use, if there is an object.
    static void Find(RelativeLocation const & location, ReflectableUse & use) {
        Mu::LockGuard guard(lock);
        for (unsigned int i = 0; i < rows.array.GetSize(); ++i) {
            Row const & row = rows.array[i];
            if (!Covers(row.location, location))
                continue;
            if (CopyRest(location, row.location.GetLength(), &use.rest) == NoError)
                Chain(use, row);
            return;
        }
    }

    // The object of the next row after that number, with its location.
    static bool FindNext(unsigned long long * number, ReflectableUse & use) {
        Mu::LockGuard guard(lock);
        for (unsigned int i = 0; i < rows.array.GetSize(); ++i) {
            if (rows.array[i].number <= *number)
                continue;
            *number = rows.array[i].number;
            use.rest = rows.array[i].location;
            Chain(use, rows.array[i]);
            return true;
        }
        return false;
    }

    static void End(ReflectableUse & use) {
        Mu::LockGuard guard(lock);
        ReflectableUse ** place = &uses;
        while (*place != &use)
            place = &(*place)->next;
        *place = use.next;
        for (Waiter * waiter = waiters; waiter != nullptr; waiter = waiter->next)
            waiter->ended.NotifyAll();
    }

    static bool Enumerate(ReflectionManager::Enumerator & enumerator) {
        for (unsigned long long number = 0;;) {
            ReflectableUse use;
            if (!FindNext(&number, use))
                return true;
            if (!enumerator.Visit(use.GetRest(), use.Get()))
                return false;
        }
    }

private:
    struct Row : ReflectionEntry {
        unsigned long long number;         // increasing with the rows
        std::type_info const * treeWalker; // a class that leaves its values to Reflectable, or null
    };
    union Rows {
        constexpr Rows() : array() {}
        ~Rows() {}

        Mu::Array<Row> array;
    };
    struct Waiter {
        Mu::Condition ended;
        Waiter * next;
    };

    static void Chain(ReflectableUse & use, Row const & row) {
        use.reflectable = row.reflectable;
        use.treeWalker = row.treeWalker;
        use.thread = Mu::Platform::GetThreadToken();
        use.number = ++lastNumber;
        use.next = uses;
        uses = &use;
    }

    template <typename Test>
    static bool HasUse(Test test) {
        for (ReflectableUse const * use = uses; use != nullptr; use = use->next)
            if (test(*use))
                return true;
        return false;
    }

    static void WaitUntilUnused(Reflectable const * reflectable) {
        std::uintptr_t const me = Mu::Platform::GetThreadToken();
        if (HasUse([&](ReflectableUse const & use) { return use.thread == me; }))
            return; // within a hook
        Waiter waiter{Mu::Condition(lock), waiters};
        waiters = &waiter;
        unsigned long long const last = lastNumber;
        while (HasUse([&](ReflectableUse const & use) {
            return use.reflectable == reflectable && use.number <= last;
        }))
            waiter.ended.Wait();
        Waiter ** place = &waiters;
        while (*place != &waiter)
            place = &(*place)->next;
        *place = waiter.next;
    }

    // The innermost lock, except for that of the address tree.
    static constinit TableLock lock;
    static constinit Rows rows; // under the lock, like the following ones
    static constinit unsigned long long lastNumber;
    static constinit ReflectableUse * uses;
    static constinit Waiter * waiters;
};

constinit TableLock ReflectionTable::lock;
constinit ReflectionTable::Rows ReflectionTable::rows;
constinit unsigned long long ReflectionTable::lastNumber = 0;
constinit ReflectableUse * ReflectionTable::uses = nullptr;
constinit ReflectionTable::Waiter * ReflectionTable::waiters = nullptr;

ReflectableUse::ReflectableUse(RelativeLocation const & location) {
    ReflectionTable::Find(location, *this);
}

void ReflectableUse::WaitForEnd(Reflectable const * reflectable) {
    ReflectionTable::WaitForUses(reflectable);
}

ReflectableUse::~ReflectableUse() {
    if (reflectable != nullptr)
        ReflectionTable::End(*this);
}

ReflectionManager::Enumerator::~Enumerator() = default;

bool ReflectionManager::Enumerator::Visit(RelativeLocation const &, Reflectable *) {
    return true;
}

bool ReflectableUse::WalksTree() const {
    return treeWalker != nullptr && typeid(*reflectable) == *treeWalker;
}

bool ReflectionManager::Register(RelativeLocation const & location, Reflectable * reflectable,
                                 bool check) {
    return Add(location, reflectable, check, nullptr);
}

bool ReflectionManager::Add(RelativeLocation const & location, Reflectable * reflectable,
                            bool check, std::type_info const * treeWalker) {
    if (Mu::IsNull(location) || reflectable == nullptr || location.GetStatus() != NoError)
        return false;
    return ReflectionTable::Add(location, reflectable, check, treeWalker);
}

void ReflectionManager::Unregister(Reflectable * reflectable) {
    if (reflectable != nullptr)
        ReflectionTable::Remove(reflectable);
}

Reflectable * ReflectionManager::Find(RelativeLocation const & location,
                                      RelativeLocation * relative) {
    if (Mu::IsNull(location))
        return nullptr;
    ReflectableUse const use(location);
    if (use.Get() != nullptr && relative != nullptr)
        *relative = use.GetRest();
    return use.Get();
}

bool ReflectionManager::Enumerate(Enumerator * enumerator) {
    return enumerator != nullptr && ReflectionTable::Enumerate(*enumerator);
}

} // namespace IO
