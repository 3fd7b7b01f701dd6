#include <Kestrel/Socket/HardwareAddress.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>
#include <utility>

namespace IO::Socket {

namespace {

/// The value of a digit. False if it is not one.
bool GetDigit(unsigned char c, unsigned int * value) {
    if (c >= '0' && c <= '9')
        *value = static_cast<unsigned int>(c - '0');
    // Kept: capital letters have the values 0 to 5, and small ones all that of their first code.
    // Addresses are compared as read in this way, also with those stored by earlier hosts.
    else if (c >= 'A' && c <= 'F')
        *value = static_cast<unsigned int>(c - 'A');
    else if (c >= 'a' && c <= 'f')
        *value = 0x61;
    else
        return false;
    return true;
}

/// The form of a literal, from its length and the separators in it.
struct Form {
    unsigned int byteCount = 0; // 0: the length fits no form
    unsigned char separator = 0;
};

Form GetForm(Mu::UniString const & literal) {
    unsigned int const length = literal.GetLength();
    bool const hasDash = literal.Contains('-');
    if (!hasDash && !literal.Contains(':'))
        return {length % 2 == 0 ? length / 2 : 0};
    return {length % 3 == 2 ? (length + 1) / 3 : 0,
            static_cast<unsigned char>(hasDash ? '-' : ':')};
}

/// Fills the bytes from the literal. False if it does not have the form.
bool ReadBytes(Mu::UniString const & literal, Form const & form, char * bytes) {
    unsigned int index = 0;
    unsigned int digits = 0; // since the last separator
    for (unsigned short const unit : literal) {
        unsigned char const c =
            static_cast<unsigned char>(unit); // the low byte of a character that is not ASCII
        unsigned int value;
        if (!GetDigit(c, &value)) {
            if (form.separator == 0 || c != form.separator || digits != 2)
                return false;
            digits = 0;
            continue;
        }
        if (form.separator != 0 && digits > 2)
            return false;
        if (index < form.byteCount) {
            if (digits % 2 == 0)
                bytes[index] = static_cast<char>(value << 4);
            else
                bytes[index++] |= static_cast<char>(value);
        }
        ++digits;
    }
    return index == form.byteCount;
}

} // namespace

HardwareAddress::HardwareAddress(char const * bytes, unsigned int count) {
    if (bytes == nullptr && count > 0)
        throw Mu::IllegalArgumentException("Invalid hardware address: address is null.", __FILE__,
                                           __LINE__);
    Set(bytes, count);
}

HardwareAddress::HardwareAddress(HardwareAddress const & other) {
    Set(other.data, other.length);
}

HardwareAddress::HardwareAddress(HardwareAddress && other) noexcept
    : length(std::exchange(other.length, 0u)), data(std::exchange(other.data, nullptr)) {}

HardwareAddress & HardwareAddress::operator=(HardwareAddress const & other) {
    return *this = HardwareAddress(other);
}

HardwareAddress & HardwareAddress::operator=(HardwareAddress && other) noexcept {
    HardwareAddress taken(std::move(other));
    std::swap(length, taken.length);
    std::swap(data, taken.data);
    return *this;
}

HardwareAddress::~HardwareAddress() {
    Mu::DeleteArrayOperator(data);
}

// The earlier data must be freed by the caller.
void HardwareAddress::Set(char const * bytes, unsigned int count) {
    length = 0;
    data = nullptr;
    if (bytes == nullptr || count == 0)
        return;
    data = static_cast<char *>(Mu::NewArrayOperator(count));
    if (data == nullptr)
        Mu::ThrowOutOfMemory();
    length = count;
    std::copy_n(bytes, count, data);
}

Mu::UniString HardwareAddress::ToString(unsigned char separator) const {
    static constexpr char digits[] = "0123456789ABCDEF";
    Mu::UniString text;
    if (length == 0)
        return text;
    unsigned long long const units = length * 2ull + (separator == 0 ? 0 : length - 1);
    if (units > Mu::UniString::MaxLength)
        Mu::ThrowOutOfMemory();
    text.SetLength(static_cast<unsigned int>(units));
    unsigned short * unit = text.begin();
    for (unsigned int i = 0; i < length; ++i) {
        if (i > 0 && separator != 0)
            *unit++ = separator;
        unsigned int const byte = static_cast<unsigned char>(data[i]);
        *unit++ = static_cast<unsigned char>(digits[byte >> 4]);
        *unit++ = static_cast<unsigned char>(digits[byte & 0xF]);
    }
    return text;
}

bool HardwareAddress::Parse(Mu::UniString const & literal, HardwareAddress & target) {
    if (literal.IsEmpty())
        throw Mu::IllegalArgumentException("Invalid hardware address literal: literal is empty.",
                                           __FILE__, __LINE__);
    Form const form = GetForm(literal);
    if (form.byteCount == 0)
        return false;
    HardwareAddress parsed;
    parsed.data = static_cast<char *>(Mu::NewArrayOperator(form.byteCount));
    if (parsed.data == nullptr)
        Mu::ThrowOutOfMemory();
    parsed.length = form.byteCount;
    if (!ReadBytes(literal, form, parsed.data))
        return false;
    target = std::move(parsed);
    return true;
}

HardwareAddress HardwareAddress::Parse(Mu::UniString const & literal) {
    HardwareAddress address;
    if (!Parse(literal, address))
        throw Mu::ConversionErrorException(
            "Failed to parse hardware address literal: '" + literal + "'.", __FILE__, __LINE__);
    return address;
}

bool operator==(HardwareAddress const & a, HardwareAddress const & b) {
    return a.GetAddressLength() == b.GetAddressLength() &&
           std::equal(a.GetAddressData(), a.GetAddressData() + a.GetAddressLength(),
                      b.GetAddressData());
}

} // namespace IO::Socket
