#include "Values.h"

#include "Arguments.h"

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Text/String.h>

#include <charconv>
#include <cmath>

namespace Tool {

namespace {

Mu::String ToNarrow(std::string const & text) {
    return Mu::String(text.data(), static_cast<unsigned int>(text.size()));
}

// Parses the whole text.
template <typename Number>
bool Parse(std::string const & text, Number * number) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return error == std::errc() && end == text.data() + text.size();
}
bool Parse(std::string const & text, bool * value) {
    *value = text == "true";
    return *value || text == "false";
}
bool Parse(std::string const & text, char * value) {
    if (text.size() == 1)
        *value = text[0];
    return text.size() == 1;
}

template <typename Value>
bool WriteParsed(Mu::OChannel & channel, std::string const & text) {
    Value value{};
    return Parse(text, &value) && channel.Write(value) == IO::NoError;
}
template <typename Value>
bool ReadPlain(Mu::IChannel & channel, Json * json) {
    Value value{};
    if (channel.Read(value) != IO::NoError)
        return false;
    if constexpr (std::is_same_v<Value, char>)
        *json = std::string(1, value);
    else
        *json = value;
    return true;
}

// Lists, separated by commas.

bool Parse(std::string const & text, Mu::UniString * value) {
    *value = FromUtf8(text);
    return true;
}
Json ToElement(Mu::UniString const & text) {
    return ToUtf8(text);
}
Json ToElement(double number) {
    return number;
}

template <typename Value>
bool WriteList(Mu::OChannel & channel, std::string const & list) {
    Mu::Array<Value> values;
    for (std::size_t at = 0; !list.empty() && at <= list.size();) {
        std::size_t const comma = std::min(list.find(',', at), list.size());
        Value value{};
        if (!Parse(list.substr(at, comma - at), &value))
            return false;
        values.Push(value);
        at = comma + 1;
    }
    return values.Write(channel) == IO::NoError;
}
template <typename Value>
bool ReadList(Mu::IChannel & channel, Json * json) {
    Mu::Array<Value> values;
    if (values.Read(channel) != IO::NoError)
        return false;
    *json = Json::array();
    for (Value const & value : values)
        json->push_back(ToElement(value));
    return true;
}

bool WriteLocation(Mu::OChannel & channel, std::string const & text) {
    return channel.Write(ToLocation(text)) == IO::NoError;
}
bool ReadLocation(Mu::IChannel & channel, Json * json) {
    IO::Location location;
    if (channel.Read(location) != IO::NoError)
        return false;
    *json = ToText(location);
    return true;
}

bool WriteHex(Mu::OChannel & channel, std::string const & digits) {
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        unsigned char byte = 0;
        char const * const at = digits.data() + i;
        auto const [end, error] =
            std::from_chars(at, at + std::min<std::size_t>(2, digits.size() - i), byte, 16);
        if (error != std::errc() || end != at + 2)
            return false;
        bytes += static_cast<char>(byte);
    }
    return channel.WriteBin(bytes.data(), static_cast<unsigned int>(bytes.size()), nullptr) ==
           IO::NoError;
}
// The remaining bytes.
bool ReadHex(Mu::IChannel & channel, Json * json) {
    std::string text;
    char byte = 0;
    unsigned int read = 0;
    while (channel.ReadBin(&byte, 1, &read) == IO::NoError && read == 1) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned char>(byte));
        text += digits;
    }
    *json = text;
    return true;
}

struct Type {
    char const * name;
    bool (*write)(Mu::OChannel &, std::string const &);
    bool (*read)(Mu::IChannel &, Json *);
};

template <typename Value>
constexpr Type Plain(char const * name) {
    return {name, WriteParsed<Value>, ReadPlain<Value>};
}

constexpr Type types[] = {
    Plain<bool>("bool"),
    Plain<char>("char"),
    Plain<short>("short"),
    Plain<unsigned short>("ushort"),
    Plain<int>("int"),
    Plain<unsigned int>("uint"),
    Plain<long long>("int64"),
    Plain<unsigned long long>("uint64"),
    Plain<float>("float"),
    Plain<double>("double"),
    {"string",
     [](Mu::OChannel & channel, std::string const & text) {
         return channel.Write(ToNarrow(text)) == IO::NoError;
     },
     [](Mu::IChannel & channel, Json * json) {
         Mu::String text;
         bool const isRead = channel.Read(text) == IO::NoError;
         *json = std::string(std::string_view(text));
         return isRead;
     }},
    {"text",
     [](Mu::OChannel & channel, std::string const & text) {
         return channel.Write(FromUtf8(text)) == IO::NoError;
     },
     [](Mu::IChannel & channel, Json * json) {
         Mu::UniString text;
         bool const isRead = channel.Read(text) == IO::NoError;
         *json = ToUtf8(text);
         return isRead;
     }},
    {"texts", WriteList<Mu::UniString>, ReadList<Mu::UniString>},
    {"doubles", WriteList<double>, ReadList<double>},
    {"location", WriteLocation, ReadLocation},
    {"hex", WriteHex, ReadHex},
};

Type const * FindType(std::string const & name) {
    for (Type const & type : types)
        if (name == type.name)
            return &type;
    return nullptr;
}

} // namespace

bool IsType(std::string const & name) {
    return FindType(name) != nullptr;
}

bool WriteValue(Mu::OChannel & channel, std::string const & argument) {
    std::size_t const colon = argument.find(':');
    Type const * const type = FindType(argument.substr(0, colon));
    return type != nullptr && colon != argument.npos &&
           type->write(channel, argument.substr(colon + 1));
}

bool ReadValue(Mu::IChannel & channel, std::string const & type, Json * value) {
    Type const * const found = FindType(type);
    return found != nullptr && found->read(channel, value);
}

} // namespace Tool
