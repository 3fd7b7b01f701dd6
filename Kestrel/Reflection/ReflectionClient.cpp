#include <Kestrel/Reflection/ReflectionClient.h>

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/ReflectionConnection.h>
#include <Kestrel/Reflection/Internal/Wire.h>
#include <Kestrel/Reflection/ReflectionStreams.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Socket/SocketImplFactory.h>

#include <algorithm>
#include <utility>

namespace IO {

// Hosts built without optimisation take the addresses.
constexpr unsigned int ReflectionClient::DefaultTimeout;
constexpr unsigned int ReflectionClient::DefaultAnswerLimit;

namespace {

// Texts about the service itself: its name and its system.
constexpr unsigned int MostOfAText = 65536;

[[noreturn]] void ThrowNoService() {
    throw Mu::UniString("No answer of a reflection service");
}

// The number of items that follow, each of at least that many bytes.
unsigned int ReadCount(BlockIChannel & answer, unsigned int leastSize) {
    unsigned int count = 0;
    Read(answer, &count);
    if (count > answer.GetAvailable() / leastSize)
        ThrowNoService();
    return count;
}

// Names need many times their bytes, so the list grows as they are read.
void ReadNames(BlockIChannel & answer, Mu::Array<Name> * names) {
    Mu::UniString text;
    for (unsigned int count = ReadCount(answer, 1); count > 0; --count) {
        ReadText(answer, &text);
        names->Emplace(text);
    }
}

Reflectable::Attribute::Type ToType(Mu::UniString const & text) {
    using Attribute = Reflectable::Attribute;
    Attribute attribute;
    for (unsigned int type = 0; type < Attribute::Undefined; ++type) {
        attribute.type = static_cast<Attribute::Type>(type);
        if (text == attribute.GetTypeString())
            return attribute.type;
    }
    return Attribute::Undefined;
}

// A location as a text: as a URL if a name contains separators, else plainly.
bool ToText(RelativeLocation const & location, Mu::UniString * text) {
    Name name;
    for (unsigned int i = 0; i < location.GetLength(); ++i) {
        if (location.GetName(i, &name) != NoError)
            return false;
        Mu::UniString const & part = name.ToString();
        bool const isPlain = !part.Contains('/') && !part.Contains('\\') && !part.Contains(':');
        if (!isPlain || part.IsEmpty())
            return location.ToURL(text) == NoError;
        if (i > 0)
            text->Append("/");
        text->Append(part);
    }
    return location.GetStatus() == NoError;
}

MuErrCode ToStatus(Mu::MuException const & exception) {
    int const id = exception.GetID();
    return id == ErrMemoryFull || id == EOI ? id : InputFailure;
}

} // namespace

ReflectionClient::ReflectionClient() = default;

ReflectionClient::~ReflectionClient() {
    Disconnect();
}

MuErrCode ReflectionClient::Connect(char const * host, unsigned short port,
                                    unsigned int milliseconds) {
    struct OverTCP : Connection {
        explicit OverTCP(Socket::SocketImpl::Reference const & socket) : socket(socket) {}
        Mu::IBinaryChannel & GetInput() override { return socket->GetInputChannel(); }
        Mu::OBinaryChannel & GetOutput() override { return socket->GetOutputChannel(); }
        void Close() override { socket->Close(); }
        Socket::SocketImpl::Reference socket;
    };
    Disconnect();
    if (host == nullptr)
        return Error;
    try {
        Socket::SocketImpl::Reference const socket =
            Socket::TCPIPSocketImplFactory::Get().Create(milliseconds);
        socket->Create(true);
        socket->Connect(Mu::String(host), port);
        socket->SetBoolOption(Socket::SocketImpl::TCPNoDelay, true);
        connection = new OverTCP(socket);
        return NoError;
    } catch (Mu::MuException const & exception) {
        return ToStatus(exception);
    }
}

void ReflectionClient::Disconnect() {
    if (connection == nullptr)
        return;
    try {
        AnswerBlock request;
        Write(request, Mu::UniString("Disconnect"));
        request.Send(connection->GetOutput(), false);
        connection->Close();
    } catch (Mu::MuException const &) { // it is closed either way
    }
    delete std::exchange(connection, nullptr);
}

MuErrCode ReflectionClient::Fail(MuErrCode status) {
    delete std::exchange(connection, nullptr); // which closes it
    return status;
}

// Sends a request that has no body, and whose answer has no size.
template <typename Take>
MuErrCode ReflectionClient::Ask(char const * request, Take const & take) {
    if (connection == nullptr)
        return EOI;
    try {
        AnswerBlock sent;
        Write(sent, Mu::UniString(request));
        sent.Send(connection->GetOutput(), false);
        take(connection->GetInput());
        return NoError;
    } catch (Mu::UniString const &) {
        return Fail(Error);
    } catch (Mu::MuException const & exception) {
        return Fail(ToStatus(exception));
    }
}

template <typename Take>
MuErrCode ReflectionClient::AskAt(char const * request, RelativeLocation const & location,
                                  Mu::Array<Name> const * names, Take const & take) {
    if (connection == nullptr)
        return EOI;
    try {
        Mu::UniString text;
        if (!ToText(location, &text))
            return Error; // the location has no text to send
        AnswerBlock body;
        Write(body, text);
        if (names != nullptr) {
            Write(body, names->GetSize());
            for (Name const & name : *names)
                Write(body, name.ToString());
        }
        AnswerBlock sent;
        Write(sent, Mu::UniString(request));
        body.AppendTo(sent);
        sent.Send(connection->GetOutput(), false);
        unsigned int size = 0;
        Read(connection->GetInput(), &size);
        ArrivedBlock bytes;
        if (size > answerLimit)
            ThrowNoService();
        if (!bytes.ReadFrom(connection->GetInput(), size))
            return Fail(ErrMemoryFull);
        BlockIChannel answer(bytes.GetBytes(), size);
        try {
            take(answer);
        } catch (Mu::IOException const &) { // it is too short
            ThrowNoService();
        }
        if (answer.GetAvailable() > 0)
            ThrowNoService();
        return NoError;
    } catch (Mu::UniString const &) {
        return Fail(Error);
    } catch (Mu::MuException const & exception) {
        return Fail(ToStatus(exception));
    }
}

MuErrCode ReflectionClient::GetIdent(Mu::UniString * ident) {
    if (ident == nullptr)
        return Error;
    MuErrCode const status =
        Ask("Ident", [&](Mu::IBinaryChannel & input) { ReadText(input, ident, MostOfAText); });
    if (status != NoError)
        ident->Clear();
    return status;
}

MuErrCode ReflectionClient::GetOS(Mu::UniString * sign) {
    if (sign == nullptr)
        return Error;
    MuErrCode const status =
        Ask("GetOS", [&](Mu::IBinaryChannel & input) { ReadText(input, sign, MostOfAText); });
    if (status != NoError)
        sign->Clear();
    return status;
}

MuErrCode ReflectionClient::GetPid(unsigned int * process) {
    if (process == nullptr)
        return Error;
    *process = 0;
    return Ask("GetPid", [&](Mu::IBinaryChannel & input) { Read(input, process); });
}

MuErrCode ReflectionClient::GetChildren(RelativeLocation const & location,
                                        Mu::Array<Name> * folders, Mu::Array<Name> * files) {
    if (Mu::IsNull(location) || folders == nullptr || files == nullptr)
        return Error;
    folders->Clear();
    files->Clear();
    MuErrCode const status = AskAt("Get children", location, nullptr, [&](BlockIChannel & answer) {
        ReadNames(answer, folders);
        ReadNames(answer, files);
    });
    if (status != NoError) {
        folders->Clear();
        files->Clear();
    }
    return status;
}

MuErrCode ReflectionClient::GetAttributes(RelativeLocation const & location,
                                          Mu::Array<Attribute> * attributes) {
    if (Mu::IsNull(location) || attributes == nullptr)
        return Error;
    attributes->Clear();
    MuErrCode const status =
        AskAt("Get attributes", location, nullptr, [&](BlockIChannel & answer) {
            Mu::UniString name;
            Mu::UniString type;
            for (unsigned int count = ReadCount(answer, 2); count > 0; --count) {
                ReadText(answer, &name);
                ReadText(answer, &type);
                attributes->Emplace(name, ToType(type));
            }
        });
    if (status != NoError)
        attributes->Clear();
    return status;
}

MuErrCode ReflectionClient::GetAttributeValues(RelativeLocation const & location,
                                               Mu::Array<Name> const & names,
                                               Mu::Array<Mu::Array<AttributeValue>> * values) {
    if (Mu::IsNull(location) || Mu::IsNull(names) || values == nullptr)
        return Error;
    values->Clear();
    MuErrCode const status =
        AskAt("Get attribute values", location, &names, [&](BlockIChannel & answer) {
            for (unsigned int i = 0; i < names.GetSize(); ++i) {
                Mu::Array<AttributeValue> & row = values->Emplace();
                for (unsigned int count = ReadCount(answer, 1); count > 0; --count)
                    ReadValue(answer, &row.Emplace(), answer.GetAvailable());
            }
        });
    if (status != NoError)
        values->Clear();
    return status;
}

MuErrCode ReflectionClient::GetContent(RelativeLocation const & location, Mu::UniString * content) {
    if (Mu::IsNull(location) || content == nullptr)
        return Error;
    MuErrCode const status = AskAt("Get content", location, nullptr,
                                   [&](BlockIChannel & answer) { ReadText(answer, content); });
    if (status != NoError)
        content->Clear();
    return status;
}

} // namespace IO
