#pragma once

#include <Kestrel/Location/Address.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Text/UniString.h>

#include <functional>
#include <iosfwd>

namespace IO {

class LocationResolver;

/// A path without a starting point: names to be appended to a Location.
///
/// For a difference of two locations, or a path inside a virtual file system. A checked wrapper of
/// an Address; for a path that starts at a drive, a share or a machine, use Location.
///
/// "Healthy" below: the address is valid and the status is 0. A failed object remains failed, and
/// every checked operation returns the cause, until Clear, Set or Read.
///
/// Memory:  one index into the address tree; copies allocate nothing.
/// Threads: an object is used by one thread at a time; copies share nothing except the tree.
/// Failure: statuses, never exceptions. Checked operations test in this order: a null argument is
///          Error; an invalid address is ErrMemoryFull; a status is returned as it is; an index
///          past the end, or the last name of the empty path, is Error.
class KESTREL_API RelativeLocation : public Mu::Object {
public:
    static Mu::ClassInfo const & GetClassInfoStatic();

    Mu::ClassInfo const & GetClassInfo() const override;
    ~RelativeLocation() override;
    /// For a frame without content, which unhealthy objects write, returns NoError and makes this
    /// object unhealthy.
    MuErrCode Read(Mu::IChannel & channel) override;
    MuErrCode Write(Mu::OChannel & channel) const override;
    /// Writes the names, separated by "/".
    void Print(Mu::OChannel & channel) const override;

    /// Empty.
    RelativeLocation() = default;
    RelativeLocation(RelativeLocation const & other) = default;
    /// The other object is unhealthy afterwards, until something is assigned to it.
    RelativeLocation(RelativeLocation && other) noexcept = default;
    /// A path of one name.
    explicit RelativeLocation(Name const & name);
    RelativeLocation(RelativeLocation const & parent, Name const & name);
    /// Like Set, whose result becomes the status.
    explicit RelativeLocation(Mu::UniString const & text);
    explicit RelativeLocation(char const * text);
    explicit RelativeLocation(char16_t const * text);
    /// The same for a text of the standard library, whose bytes are UTF-8.
    template <Mu::ForeignText Text>
    explicit RelativeLocation(Text const & text) : RelativeLocation(Mu::UniString(text)) {}
    RelativeLocation & operator=(RelativeLocation const & other) = default;
    RelativeLocation & operator=(RelativeLocation && other) noexcept = default;

    /// ErrMemoryFull if the address is invalid, otherwise the status.
    MuErrCode GetStatus() const;
    /// Healthy and legal on this platform.
    bool IsValid() const;

    // The checked operations. Out-parameters are unchanged on failure.
    MuErrCode GetName(unsigned int index, Name * name) const;
    MuErrCode SetName(unsigned int index, Name const & name);
    MuErrCode DeleteName(unsigned int index);
    MuErrCode GetLastName(Name * name) const;
    MuErrCode SetLastName(Name const & name);
    MuErrCode DeleteLastName();
    /// Returns the last name and removes it.
    MuErrCode MoveLastName(Name * name);
    MuErrCode Append(Name const & name);
    MuErrCode Append(RelativeLocation const & other);

    /// Makes the path empty and healthy.
    void Clear();
    /// 0 and true for an unhealthy object.
    unsigned int GetLength() const;
    bool IsEmpty() const;

    /// From a relative URL, or from the platform's text of a path. An invalid text is logged and
    /// returns ErrIllegalRelativeLocation; the result is not stored as the status.
    MuErrCode Set(Mu::UniString const & text);
    MuErrCode Set(char const * text);
    MuErrCode Set(char16_t const * text);

    /// Whether a text has the form "rel:..." or "url:rel:...", in any case.
    static bool IsRelativeURL(Mu::UniString const & text);
    static bool IsRelativeURL(char const * text);
    /// "rel:///" and the names separated by "/", with "%" and "/" in names escaped.
    MuErrCode ToURL(Mu::UniString * url) const;

    /// For an unhealthy object or a null argument both return false.
    bool operator==(RelativeLocation const & other) const;
    bool operator!=(RelativeLocation const & other) const;
    /// Whether `other` starts with all of these names and has more.
    bool IsAncestorOf(RelativeLocation const & other) const;

    /// Asks the validator of this platform. An object whose text was invalid is checked as one
    /// without names. Also false without memory; CheckLegality distinguishes the two.
    bool IsLegal() const;
    /// The same with three results: NoError, ErrIllegalRelativeLocation, or ErrMemoryFull if the
    /// names could not be read. A failed status is returned as it is.
    [[nodiscard]] MuErrCode CheckLegality() const;
    /// Whether all names are legal on every known platform. Also false without memory.
    bool IsMultiplatform() const;
    /// The same with three results, like CheckLegality.
    [[nodiscard]] MuErrCode CheckMultiplatform() const;
    unsigned int GenerateHashValue() const;

private:
    friend class LocationResolver;
    friend class Location;

    void SetContent(unsigned short const * names);
    static bool IsURL(Mu::UniString const & text);
    bool ResolveURL(Mu::UniString const & text);
    bool Resolve(Mu::UniString const & text);
    MuErrCode Check(bool nullArgument) const;

    Address address;
    MuErrCode status = NoError; // why the object could not be constructed or read
};

/// The names in UTF-8, separated by "/".
template <typename Traits>
std::basic_ostream<char, Traits> & operator<<(std::basic_ostream<char, Traits> & out,
                                              RelativeLocation const & location) {
    Name name;
    for (unsigned int i = 0; location.GetName(i, &name) == NoError; ++i)
        out << (i == 0 ? "" : "/") << name;
    return out;
}

} // namespace IO

template <>
struct std::hash<IO::RelativeLocation> {
    std::size_t operator()(IO::RelativeLocation const & location) const {
        return location.GenerateHashValue();
    }
};
