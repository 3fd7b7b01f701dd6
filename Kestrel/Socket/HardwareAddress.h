#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::Socket {

/// The address of a network card, of any length; 6 bytes for Ethernet. The empty address stands for
/// none. Two are equal when length and bytes are.
///
/// Memory:  one block of the root for the bytes.
/// Threads: any number may read, one may change.
/// Failure: Mu::OutOfMemoryException; an assignment has then changed nothing.
class KESTREL_API HardwareAddress {
public:
    HardwareAddress() noexcept = default;
    /// Copies the bytes; no bytes make the empty address. Throws Mu::IllegalArgumentException for
    /// null with a length.
    HardwareAddress(char const * data, unsigned int length);
    HardwareAddress(HardwareAddress const & other);
    HardwareAddress(HardwareAddress && other) noexcept;
    HardwareAddress & operator=(HardwareAddress const & other);
    HardwareAddress & operator=(HardwareAddress && other) noexcept;
    ~HardwareAddress();

    /// Null when the length is 0; good until the address is changed.
    char const * GetAddressData() const { return data; }
    unsigned int GetAddressLength() const { return length; }

    /// Two upper-case hexadecimal digits a byte, and the separator between two bytes unless it is 0.
    Mu::UniString ToString(unsigned char separator) const;
    /// With '-': "00-11-22".
    Mu::UniString ToString() const { return ToString('-'); }

    /// Reads pairs of digits, either all of them with '-' or all with ':' between, or none with
    /// anything. False, and `target` is unchanged, for any other text.
    ///
    /// Only the digits 0 to 9 give what ToString wrote: 'A' to 'F' read as 0 to 5, and each of 'a' to
    /// 'f' as 0x61. Throws Mu::IllegalArgumentException for an empty text.
    static bool Parse(Mu::UniString const & literal, HardwareAddress & target);
    /// Throws Mu::ConversionErrorException for what the other one calls false.
    static HardwareAddress Parse(Mu::UniString const & literal);

private:
    void Set(char const * bytes, unsigned int count);

    unsigned int length = 0;
    char * data = nullptr; // of the root's array operator; null exactly when the length is 0
};

KESTREL_API bool operator==(HardwareAddress const & a, HardwareAddress const & b);

} // namespace IO::Socket
