#include <Kestrel/Location/LocationValidator.h>

#include <Kestrel/Location/Internal/LegalNames.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/MacLocationValidator.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Location/WinLocationValidator.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>

namespace IO {

namespace {

struct Entry {
    Mu::PlatformSign sign;
    LocationValidator const * validator;
};

class Table {
public:
    void Add(Entry entry) {
        if (!isMade)
            Make();
        if (count == capacity)
            Grow();
        entries[count++] = entry;
    }

    void Clear() {
        Mu::DeleteArrayOperator(entries);
        entries = nullptr;
        count = capacity = 0;
    }

    Entry const * begin() const { return entries; }
    Entry const * end() const { return entries + count; }

private:
    static constexpr unsigned int FirstCapacity = 4;
    static constexpr unsigned int CapacityFromNothing = 100;

    void Make() {
        isMade = true;
        entries = static_cast<Entry *>(Mu::NewArrayOperator(FirstCapacity * sizeof(Entry)));
        capacity = entries == nullptr ? 0 : FirstCapacity; // the first growth compensates
    }

    void Grow() {
        unsigned int const larger = capacity == 0 ? CapacityFromNothing : 2 * capacity;
        Entry * const moved = static_cast<Entry *>(Mu::NewOrThrow(larger * sizeof(Entry)));
        std::copy_n(entries, count, moved);
        Mu::DeleteArrayOperator(entries);
        entries = moved;
        capacity = larger;
    }

    Entry * entries = nullptr; // in order of registration; kept until the library's end
    unsigned int count = 0;
    unsigned int capacity = 0;
    bool isMade = false;
};

constinit Table table;

// Validators are used until the very end of the process, so those here are never destroyed.
template <typename Validator>
union Everlasting {
    explicit Everlasting(Mu::PlatformSign sign) : validator(sign) {}
    ~Everlasting() {}
    Validator validator;
};

Table const & GetTable() {
    StartValidators();
    return table;
}

} // namespace

void StartValidators() {
    static Everlasting<WinLocationValidator> windows(Mu::WindowsSign);
    static Everlasting<MacLocationValidator> mac(Mu::BigEndianMacSign);
    static Everlasting<MacLocationValidator> littleMac(Mu::LittleEndianMacSign);
    if constexpr (IsOnLinux)
        static Everlasting<LinuxLocationValidator> linuxRules(LinuxSign);
}

void EndValidators() {
    table.Clear();
}

LocationValidator const * GetValidator(Mu::PlatformSign sign) {
    for (Entry const & entry : GetTable())
        if (entry.sign == sign)
            return entry.validator;
    return nullptr;
}

unsigned int GetValidatorCount() {
    return static_cast<unsigned int>(GetTable().end() - GetTable().begin());
}

LocationValidator const * GetValidatorAt(unsigned int index) {
    return GetTable().begin()[index].validator;
}

LocationValidator::LocationValidator(Mu::PlatformSign sign) {
    table.Add({sign, this});
}

LocationValidator::~LocationValidator() = default;

LocationValidator const * LocationValidator::Find(Mu::PlatformSign sign) {
    return GetValidator(sign);
}

bool LocationValidator::IsLegal(RelativeLocation const & location) const {
    Name name;
    for (unsigned int i = 0, count = location.GetLength(); i < count; ++i) {
        if (location.GetName(i, &name) != NoError)
            Mu::ThrowOutOfMemory(); // "illegal" would be wrong
        if (!IsLegal(name))
            return false;
    }
    return true;
}

namespace {

bool IsModelFulfilled(Location const & location) {
    if (location.IsLocal())
        return true;
    switch (location.GetNetworkModel()) {
    case Location::FlatModel:
    case Location::HierarchicalModel:
    case Location::SmbModel: return location.GetNetworkLength() != 0;
    case Location::UnknownModel:
    case Location::SchemeModel: return true;
    case Location::NullModel: break;
    }
    return false;
}

} // namespace

bool LocationValidator::IsLegal(Location const & location) const {
    if (!IsModelFulfilled(location))
        return false;
    if (location.GetNetworkModel() == Location::SchemeModel && location.GetScheme().IsEmpty())
        return false;
    if (!location.GetPassword().IsEmpty() && location.GetUserName().IsEmpty())
        return false;
    return IsLegalContent(location);
}

bool LocationValidator::IsLegalContent(Location const & location) const {
    return AllNetworkNames(location, [this](Name const & name) { return IsLegal(name); }) &&
           AllLocalNames(location,
                         [this](unsigned int, Name const & name) { return IsLegal(name); });
}

} // namespace IO
