#include <Kestrel/Root/Objects/ClassInfo.h>

#include <Kestrel/Root/Platform/SystemCalls.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Threads/Lock.h>
#include <Kestrel/Root/Values/Guid.h>
#include <Kestrel/Root/Values/MD5.h>

#include <cstdint>
#include <cstring>

namespace Mu {

namespace {

// A list linked through the static objects themselves, in order of construction. It needs neither
// memory nor a constructor, since the objects are added while those of the program are constructed.
template <typename Item, Item * Item::*next>
class Register {
public:
    constexpr Register() = default;

    void Add(Item & item) {
        LockGuard guard(lock);
        *Find(nullptr) = &item;
    }

    // Waits until no other thread visits the item, since unloading a module frees its items. Does
    // not wait within a visit, for which another thread could be waiting in turn.
    void Remove(Item & item) {
        Unlink(item);
        std::uintptr_t const me = Platform::GetThreadToken();
        // Bounded: a thread that was ended with the process never leaves its item.
        constexpr unsigned int MostPauses = 1000000;
        for (unsigned int i = 0; i < MostPauses && IsVisited(item, me); ++i)
            Platform::YieldThread();
    }

    // The visitor runs without the lock, so that it may use the register. It may also remove the
    // current item.
    template <typename Visitor>
    void Walk(Visitor visit) const {
        Visit here(*this);
        while (Item * const item = here.Advance())
            if (!visit(*item))
                return;
    }

private:
    // The position of a walk.
    class Visit {
    public:
        explicit Visit(Register const & itsList)
            : list(itsList), thread(Platform::GetThreadToken()) {
            LockGuard guard(list.lock);
            after = list.visits;
            list.visits = this;
        }
        ~Visit() {
            LockGuard guard(list.lock);
            Visit ** place = &list.visits;
            while (*place != this)
                place = &(*place)->after;
            *place = after;
        }
        Visit(Visit const &) = delete;
        Visit & operator=(Visit const &) = delete;

        // Moves to the next item, which is held from then on. Null: there are no more.
        Item * Advance() {
            LockGuard guard(list.lock);
            if (at == nullptr)
                at = list.first;
            else
                at = isUnlinked ? rest : at->*next;
            isUnlinked = false;
            return at;
        }

    private:
        friend class Register;

        Register const & list;
        std::uintptr_t const thread;
        Item * at = nullptr;
        bool isUnlinked = false; // the current item, which was before `rest`
        Item * rest = nullptr;
        Visit * after = nullptr; // in the list
    };

    void Unlink(Item & item) {
        LockGuard guard(lock);
        Item ** const place = Find(&item);
        if (*place == nullptr)
            return;
        *place = item.*next;
        for (Visit * visit = visits; visit != nullptr; visit = visit->after)
            if (visit->at == &item) {
                visit->isUnlinked = true;
                visit->rest = item.*next;
            } else if (visit->isUnlinked && visit->rest == &item) {
                visit->rest = item.*next;
            }
    }

    // By a thread other than `me`. Always false while `me` is in a visit.
    bool IsVisited(Item const & item, std::uintptr_t me) const {
        LockGuard guard(lock);
        bool isHeld = false;
        for (Visit const * visit = visits; visit != nullptr; visit = visit->after) {
            if (visit->thread == me)
                return false;
            isHeld |= visit->at == &item;
        }
        return isHeld;
    }

    // The link to the item, or the empty last one.
    Item ** Find(Item const * item) {
        Item ** place = &first;
        while (*place != nullptr && *place != item)
            place = &((*place)->*next);
        return place;
    }

    mutable SpinLock lock;
    Item * first = nullptr;
    mutable Visit * visits = nullptr;
};

unsigned int HashName(char const * name) {
    unsigned int hash = 2166136261u;
    for (; *name != 0; ++name)
        hash = (hash ^ static_cast<unsigned char>(*name)) * 16777619u;
    return hash;
}

} // namespace

// A struct, so that both classes can give it access to their links.
struct ClassRegisters {
    static constinit inline Register<ClassInfo, &ClassInfo::next> records;
    static constinit inline Register<CustomClassProperty, &CustomClassProperty::next> properties;
};

MuErrCode ClassVersion::Read(IChannel & channel) {
    unsigned char readMain = 0;
    unsigned char readSub = 0;
    if (MuErrCode const status = channel.Read(readMain); status != NoError)
        return status;
    if (MuErrCode const status = channel.Read(readSub); status != NoError)
        return IChannel::ConvertObjectReadError(status);
    *this = ClassVersion(readMain, readSub);
    return NoError;
}

MuErrCode ClassVersion::Write(OChannel & channel) const {
    MuErrCode const status = channel.Write(main);
    return status == NoError ? channel.Write(sub) : status;
}

ClassInfo::ClassInfo(char const * name, ClassProperty first, ClassProperty second,
                     ClassProperty third, ClassProperty fourth, ClassProperty fifth,
                     ClassProperty sixth, ClassProperty seventh, ClassProperty eighth,
                     ClassProperty ninth, ClassProperty tenth)
    : name(name), nameHash(HashName(name)), properties{first, second,  third,  fourth, fifth,
                                                       sixth, seventh, eighth, ninth,  tenth} {
    ClassRegisters::records.Add(*this);
}

ClassInfo::~ClassInfo() {
    ClassRegisters::records.Remove(*this);
}

ClassProperty const * ClassInfo::FindProperty(ClassProperty::Kind kind) const {
    for (ClassProperty const & property : properties)
        if (property.kind == kind)
            return &property;
    return nullptr;
}

Guid ClassInfo::GetId() const {
    MD5::Generator generator;
    MD5::FingerPrint digest;
    generator.Update(name, static_cast<unsigned int>(std::strlen(name)));
    generator.Finish(digest);
    Guid id;
    for (unsigned int i = 0; i < 4; ++i)
        id.data1 = id.data1 << 8 | digest.bytes[i];
    id.data2 = static_cast<unsigned short>(digest.bytes[4] << 8 | digest.bytes[5]);
    id.data3 = static_cast<unsigned short>(digest.bytes[6] << 8 | digest.bytes[7]);
    std::memcpy(id.data4, digest.bytes + 8, sizeof(id.data4));
    return id;
}

ClassType ClassInfo::GetType() const {
    return {GetId().data1, nameHash};
}

ClassVersion ClassInfo::GetVersion() const {
    ClassProperty const * const property = FindProperty(ClassProperty::Kind::Version);
    return property == nullptr ? ClassVersion() : property->version;
}

ClassVersion ClassInfo::GetOldVersion() const {
    ClassProperty const * const property = FindProperty(ClassProperty::Kind::OldVersion);
    return property == nullptr ? ClassVersion() : property->version;
}

void ClassInfo::EnumerateBaseClasses(BaseClassEnumerator * enumerator) const {
    if (enumerator == nullptr)
        return;
    for (ClassProperty const & property : properties)
        if (property.kind == ClassProperty::Kind::Base &&
            !enumerator->ClassInfoFound(*property.base))
            return;
}

bool ClassInfo::HasConstructor() const {
    return FindProperty(ClassProperty::Kind::Constructor) != nullptr;
}

Object * ClassInfo::Construct() const {
    ClassProperty const * const property = FindProperty(ClassProperty::Kind::Constructor);
    return property == nullptr ? nullptr : property->make();
}

ObjectDefaults ClassInfo::GetObjectDefaults() const {
    ClassProperty const * const property = FindProperty(ClassProperty::Kind::Defaults);
    return property == nullptr ? ObjectDefaults() : property->defaults;
}

CustomClassPropertyValue
ClassInfo::GetCustomPropertyValue(CustomClassProperty const & property) const {
    for (ClassProperty const & candidate : properties)
        if (candidate.custom == &property)
            return candidate.customValue;
    return CustomClassPropertyValue();
}

void ClassManager::EnumerateClassInfos(ClassInfoEnumerator * enumerator) const {
    if (enumerator != nullptr)
        ClassRegisters::records.Walk(
            [&](ClassInfo const & info) { return enumerator->ClassInfoFound(info); });
}

CustomClassProperty::CustomClassProperty(char const * name, unsigned int valueType)
    : name(name), valueType(valueType) {
    ClassRegisters::properties.Add(*this);
}

CustomClassProperty::~CustomClassProperty() {
    ClassRegisters::properties.Remove(*this);
}

void CustomClassProperty::EnumerateInstances(InstanceEnumerator * enumerator) {
    if (enumerator != nullptr)
        ClassRegisters::properties.Walk([&](CustomClassProperty const & property) {
            return enumerator->InstanceFound(property);
        });
}

char const * CustomClassProperty::GetValueName(unsigned int) const {
    return nullptr;
}

} // namespace Mu
