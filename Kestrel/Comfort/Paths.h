#pragma once

#include <Kestrel/Comfort/Result.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/RelativeLocation.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

namespace IO {

/// The entry `name` in the folder at `parent`; as Location(parent, name).
inline Location operator/(Location const & parent, Name const & name) {
    return Location(parent, name);
}

/// A failure remains in the location, as everywhere.
inline Location & operator/=(Location & location, Name const & name) {
    return location = location / name;
}

/// The location of `relative` from `base`. An invalid one makes the result invalid.
inline Location operator/(Location base, RelativeLocation const & relative) {
    if (base.AppendToLocal(relative) != NoError)
        base = Location("://"); // which is not a location
    return base;
}

/// The folder of the location. Error: a root has none; for a location that is not healthy, its
/// status.
inline Result<Location> GetParent(Location location) {
    MuErrCode const status = location.DeleteLastLocalName();
    return status == NoError ? Result<Location>(std::move(location))
                             : Result<Location>::Failure(status);
}

/// Error: a root has no name.
inline Result<Name> GetLastName(Location const & location) {
    return Result<Name>::From([&](Name * name) { return location.GetLastLocalName(name); });
}

/// The portable path in UTF-8, as in `C:\a\b` on both platforms.
inline Result<std::string> GetPath(Location const & location) {
    Mu::UniString path;
    MuErrCode const status = location.ToPath(&path);
    return status == NoError ? Result<std::string>(ToUtf8(path))
                             : Result<std::string>::Failure(status);
}

/// The names of a path from the drive or share down:
///
///     for (IO::Name const & name : IO::Names(location))
///
/// The location must outlive the range unchanged. If it is not healthy, there are no names.
class Names {
public:
    explicit Names(Location const & ofLocation) : location(&ofLocation) {}

    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Name;
        using difference_type = std::ptrdiff_t;
        using pointer = Name const *;
        using reference = Name;

        iterator() = default;
        iterator(Location const * ofLocation, unsigned int at) : location(ofLocation), index(at) {}
        Name operator*() const {
            Name name;
            (void)location->GetLocalName(index, &name); // below the length
            return name;
        }
        iterator & operator++() {
            ++index;
            return *this;
        }
        iterator operator++(int) {
            iterator const before = *this;
            ++index;
            return before;
        }
        bool operator==(iterator const & other) const { return index == other.index; }

    private:
        Location const * location = nullptr;
        unsigned int index = 0;
    };

    iterator begin() const { return iterator(location, 0); }
    iterator end() const { return iterator(location, location->GetLocalLength()); }

private:
    Location const * location;
};

} // namespace IO
