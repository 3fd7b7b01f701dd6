#pragma once

#include <Kestrel/Location/Internal/NameText.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/NameEnumerator.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <array>
#include <string_view>

namespace IO {

/// Which of the first units a name of the portable form may contain.
inline constexpr auto portableUnits = [] {
    std::array<bool, 128> isPortable{};
    for (unsigned int unit = 32; unit < isPortable.size(); ++unit)
        isPortable[unit] =
            std::string_view("\"*/:<>?\\|").find(static_cast<char>(unit)) == std::string_view::npos;
    return isPortable;
}();

constexpr bool IsPortableUnit(unsigned short unit) {
    return unit >= portableUnits.size() || portableUnits[unit];
}

inline bool IsDriveName(Name const & name) {
    return name.GetLength() == 2 && IsPortableUnit(name[0]) && name[1] == ':';
}

// For validators: whether `check` returns true for each name of a healthy location, called up to
// the first false. A name that cannot be read for lack of memory is thrown as
// Mu::OutOfMemoryException, since "illegal" would be remembered.

template <typename Check>
bool AllNetworkNames(Location const & location, Check const & check) {
    Name name;
    for (unsigned int i = 0, count = location.GetNetworkLength(); i < count; ++i) {
        if (location.GetNetworkName(i, &name) != NoError)
            Mu::ThrowOutOfMemory();
        if (!check(name))
            return false;
    }
    return true;
}

/// `check` receives the index, too. In one pass, since a path may have thousands of names.
template <typename Check>
bool AllLocalNames(Location const & location, Check const & check) {
    struct Names : NameEnumerator {
        explicit Names(Check const & check) : check(check) {}
        void NameFound(Name const & stored) override {
            bool const isBare = stored.IsEmpty() || stored[0] != ':'; // has no attachment
            Name const & name =
                isBare ? stored : bare = Mu::UniString(WithoutAttachment(stored.ToString()));
            areLegal = areLegal && check(index++, name);
        }

        Check const & check;
        Name bare;
        unsigned int index = 0;
        bool areLegal = true;
    };
    Names names(check);
    if (location.GetLocalLength() != 0 && location.EnumerateLocalNames(&names) != NoError)
        Mu::ThrowOutOfMemory();
    return names.areLegal;
}

} // namespace IO
