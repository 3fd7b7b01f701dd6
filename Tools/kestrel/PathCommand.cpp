#include "Arguments.h"
#include "Commands.h"
#include "Console.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Location/LocationValidator.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <cstdio>

namespace Tool {

namespace {

void Row(char const * title, std::string const & value) {
    Out() << PadRight(title, 16) << value << "\n";
}

template <typename Length, typename Get>
void ShowNames(char const * title, IO::Location const & location, Length length, Get get) {
    Out() << PadRight(title, 16) << ((location.*length)() == 0 ? "(none)" : "");
    IO::Name name;
    for (unsigned int i = 0; i < (location.*length)(); ++i) {
        if ((location.*get)(i, &name) != IO::NoError)
            Mu::ThrowOutOfMemory();
        Out() << (i == 0 ? "" : ", ")
              << (Out().IsTerminal() ? Quote(ToUtf8(name)) : '"' + ToUtf8(name) + '"').c_str();
    }
    Out() << "\n";
}

std::string GetModelText(IO::Location const & location) {
    if (location.GetNetworkModel() == IO::Location::SchemeModel)
        return "5 (" + ToUtf8(location.GetScheme()) + ")";
    return std::to_string(location.GetNetworkModel()) + " (" +
           ToUtf8(IO::Location::ConvertNetworkModelToString(location.GetNetworkModel())) + ")";
}

void ShowLegality(IO::Location const & location) {
    static constexpr struct {
        char const * title;
        Mu::PlatformSign sign;
    } platforms[] = {{"legal, Windows", Mu::WindowsSign}, {"legal, Mac", Mu::BigEndianMacSign}};
    for (auto const & platform : platforms) {
        IO::LocationValidator const * const validator = IO::LocationValidator::Find(platform.sign);
        Row(platform.title, validator != nullptr && validator->IsLegal(location) ? "yes" : "no");
    }
    Row("legal here", location.IsLegal() ? "yes" : "no");
}

void ShowTexts(IO::Location const & location) {
    Mu::UniString path;
    Mu::UniString url;
    bool const hasPath = location.ToPath(&path) == IO::NoError;
    Row("path", hasPath ? ToUtf8(path) : "(none)");
    bool const hasNative = hasPath && !IO::ToNativePath(path).empty();
    Row("native path", hasNative ? ToText(location) : "(none)");
    Row("URL", location.ToURL(&url) == IO::NoError ? ToUtf8(url) : "(none)");
}

void ShowBytes(char const * bytes, unsigned int count) {
    char digits[4];
    for (unsigned int i = 0; i < count; ++i) {
        std::snprintf(digits, sizeof digits, "%02x ", static_cast<unsigned char>(bytes[i]));
        Out() << (i % 16 != 0 ? "" : i == 0 ? "                " : "\n                ") << digits;
    }
    Out() << "\n";
}

MuErrCode ShowPersisted(IO::Location const & location) {
    IO::MemoryOChannel out;
    if (MuErrCode const written = out.Write(location); written != IO::NoError)
        return written;
    char const * const bytes = out.GetDestination(IO::MemoryOChannel::LeaveWithCaller);
    unsigned int const count = out.GetDataSize();
    Row("persisted", std::to_string(count) + " bytes");
    ShowBytes(bytes, count);
    IO::MemoryIChannel in(bytes, count, IO::MemoryIChannel::LeaveWithCaller);
    IO::Location back;
    MuErrCode const read = in.Read(back);
    Row("read back", read == IO::NoError && back == location ? "equal" : "different");
    return read;
}

} // namespace

int ShowPath(Options const & options, Console & console) {
    IO::Location const location = ToLocation(options.source);
    if (location.GetStatus() != IO::NoError)
        return console.Finish(location.GetStatus(), options.source);
    using IO::Location;
    ShowNames("network names", location, &Location::GetNetworkLength, &Location::GetNetworkName);
    ShowNames("local names", location, &Location::GetLocalLength, &Location::GetLocalName);
    Row("model", GetModelText(location));
    if (!location.GetUserName().IsEmpty())
        Row("user", ToUtf8(location.GetUserName()));
    if (location.GetPort() != 0)
        Row("port", std::to_string(location.GetPort()));
    ShowLegality(location);
    ShowTexts(location);
    char hash[16];
    std::snprintf(hash, sizeof hash, "%08x", location.GenerateHashValue());
    Row("hash", hash);
    return console.Finish(ShowPersisted(location), options.source);
}

} // namespace Tool
