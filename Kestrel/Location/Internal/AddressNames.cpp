#include <Kestrel/Location/Internal/AddressNames.h>

#include <Kestrel/Location/Address.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <algorithm>

namespace IO {

namespace {

void GetNameOrThrow(Address const & names, unsigned int index, Name * name) {
    if (names.GetName(index, name) != NoError)
        Mu::ThrowOutOfMemory();
}

} // namespace

unsigned int CountCommonNames(Address const & first, Address const & second) {
    unsigned int const most = std::min(first.GetLength(), second.GetLength());
    Name firstName;
    Name secondName;
    for (unsigned int i = 0; i < most; ++i) {
        GetNameOrThrow(first, i, &firstName);
        GetNameOrThrow(second, i, &secondName);
        if (firstName != secondName)
            return i;
    }
    return most;
}

void PrintNames(Mu::OChannel & channel, Address const & names, MuCharCode code) {
    Name name;
    for (unsigned int i = 0, count = names.GetLength(); i < count; ++i) {
        GetNameOrThrow(names, i, &name);
        if (i != 0)
            channel << '/';
        channel << static_cast<char const *>(name.ToString().ToCStr(0, Mu::NotFound, code));
    }
}

} // namespace IO
