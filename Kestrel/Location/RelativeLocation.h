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

/// A path with no start point: names to be appended to a Location.
///
/// A difference of two locations, or a path inside a virtual file system. A thin, checked shell
/// round an Address; for a path that starts at a drive, a share or a machine, use Location.
///
/// "Healthy" below: the address is valid and the status is 0. What failed once stays failed, and
/// every checked operation returns why, until Clear, Set or Read.
///
/// Memory:  one index into the address tree; copies take none.
/// Threads: an object belongs to one thread at a time; copies share nothing but the tree.
/// Failure: statuses, never exceptions. Checked operations test in this order: a null argument is
///          Error; an address that memory failed is ErrMemoryFull; a status is returned as it is;
///          an index behind the end, or the last name of nothing, is Error.
class KESTREL_API RelativeLocation : public Mu::Object {
public:
    static Mu::ClassInfo const & GetClassInfoStatic();

    Mu::ClassInfo const & GetClassInfo() const override;
    ~RelativeLocation() override;
    /// A frame without content makes the object unhealthy and returns NoError: it is what an
    /// unhealthy one writes.
    MuErrCode Read(Mu::IChannel & channel) override;
    MuErrCode Write(Mu::OChannel & channel) const override;
    /// The names with "/" between them.
    void Print(Mu::OChannel & channel) const override;

    /// Empty.
    RelativeLocation() = default;
    RelativeLocation(RelativeLocation const & other) = default;
    /// The other is unhealthy afterwards, until something is assigned to it.
    RelativeLocation(RelativeLocation && other) noexcept = default;
    /// One name.
    explicit RelativeLocation(Name const & name);
    RelativeLocation(RelativeLocation const & parent, Name const & name);
    /// As Set, whose result becomes the status.
    explicit RelativeLocation(Mu::UniString const & text);
    explicit RelativeLocation(char const * text);
    explicit RelativeLocation(char16_t const * text);
    /// The same from a text of the standard library, whose bytes are UTF-8.
    template <Mu::ForeignText Text>
    explicit RelativeLocation(Text const & text) : RelativeLocation(Mu::UniString(text)) {}
    RelativeLocation & operator=(RelativeLocation const & other) = default;
    RelativeLocation & operator=(RelativeLocation && other) noexcept = default;

    /// ErrMemoryFull when the address is invalid, else the status.
    MuErrCode GetStatus() const;
    /// Healthy and legal on this platform.
    bool IsValid() const;

    // The checked operations. Out-parameters are left alone on failure.
    MuErrCode GetName(unsigned int index, Name * name) const;
    MuErrCode SetName(unsigned int index, Name const & name);
    MuErrCode DeleteName(unsigned int index);
    MuErrCode GetLastName(Name * name) const;
    MuErrCode SetLastName(Name const & name);
    MuErrCode DeleteLastName();
    /// Hands out the last name and deletes it.
    MuErrCode MoveLastName(Name * name);
    MuErrCode Append(Name const & name);
    MuErrCode Append(RelativeLocation const & other);

    /// Empty and healthy.
    void Clear();
    /// 0 and true for an unhealthy object.
    unsigned int GetLength() const;
    bool IsEmpty() const;

    /// From a relative URL, or from the platform's text of a path. What cannot be understood is
    /// logged and returned as ErrIllegalRelativeLocation; the result is not kept as the status.
    MuErrCode Set(Mu::UniString const & text);
    MuErrCode Set(char const * text);
    MuErrCode Set(char16_t const * text);

    /// Whether a text has the form "rel:..." or "url:rel:...", in any case.
    static bool IsRelativeURL(Mu::UniString const & text);
    static bool IsRelativeURL(char const * text);
    /// "rel:///" and the names with "/" between them, "%" and "/" in a name escaped.
    MuErrCode ToURL(Mu::UniString * url) const;

    /// An unhealthy object, or a null argument, is neither equal nor different to anything.
    bool operator==(RelativeLocation const & other) const;
    bool operator!=(RelativeLocation const & other) const;
    /// Whether `other` begins with all of these names and goes on.
    bool IsAncestorOf(RelativeLocation const & other) const;

    /// Asks the validator of this platform. An object whose text could not be understood is asked
    /// about too, as one without names. False too when memory was short; CheckLegality tells that
    /// apart.
    bool IsLegal() const;
    /// The same with three results: NoError, ErrIllegalRelativeLocation, or ErrMemoryFull where the
    /// names could not be read. A status that cannot be asked about is returned as it is.
    [[nodiscard]] MuErrCode CheckLegality() const;
    /// Whether every known platform takes all the names. False too when memory was short.
    bool IsMultiplatform() const;
    /// The same with three results, as CheckLegality.
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
    MuErrCode status = NoError; // why the object could not be made or read
};

/// The names with "/" between them, in UTF-8.
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
