#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::Socket {

/// The address of a network card, of any length; 6 bytes for Ethernet. An empty address means that
/// there is none. Two addresses are equal if their lengths and bytes are.
///
/// Memory:  one block of the root for the bytes.
/// Threads: any number may read, one may change.
/// Failure: Mu::OutOfMemoryException; a failed assignment changes nothing.
class KESTREL_API HardwareAddress {
public:
    HardwareAddress() noexcept = default;
    /// Copies the bytes; a length of 0 makes the empty address. Throws Mu::IllegalArgumentException
    /// for null with another length.
    HardwareAddress(char const * data, unsigned int length);
    HardwareAddress(HardwareAddress const & other);
    HardwareAddress(HardwareAddress && other) noexcept;
    HardwareAddress & operator=(HardwareAddress const & other);
    HardwareAddress & operator=(HardwareAddress && other) noexcept;
    ~HardwareAddress();

    /// Null if the length is 0; valid until the address changes.
    char const * GetAddressData() const { return data; }
    unsigned int GetAddressLength() const { return length; }

    /// Two upper-case hexadecimal digits for each byte, with the separator in between unless it is
    /// 0.
    Mu::UniString ToString(unsigned char separator) const;
    /// With '-': "00-11-22".
    Mu::UniString ToString() const { return ToString('-'); }

    /// Parses pairs of digits that are all separated by '-', all by ':', or not at all. Returns
    /// false for any other text and leaves `target` unchanged.
    ///
    /// Only texts with the digits 0 to 9 read back what ToString wrote: 'A' to 'F' read as 0 to 5,
    /// and 'a' to 'f' as 0x61 each. Throws Mu::IllegalArgumentException for an empty text.
    static bool Parse(Mu::UniString const & literal, HardwareAddress & target);
    /// The same, but throws Mu::ConversionErrorException where the other overload returns false.
    static HardwareAddress Parse(Mu::UniString const & literal);

private:
    void Set(char const * bytes, unsigned int count);

    unsigned int length = 0;
    char * data = nullptr; // of the root's array operator; null exactly when the length is 0
};

KESTREL_API bool operator==(HardwareAddress const & a, HardwareAddress const & b);

} // namespace IO::Socket
