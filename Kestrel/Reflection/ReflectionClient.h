#pragma once

#include <Kestrel/Location/Name.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

class RelativeLocation;

/// Inspects another process that runs a ReflectionService.
///
///     IO::ReflectionClient client;
///     if (client.Connect("localhost", 37770) == IO::NoError &&
///         client.GetChildren(IO::RelativeLocation(), &folders, &files) == IO::NoError)
///         ...
///
/// The server is not trusted: from a foreign or hostile server a caller gets a failure status; it
/// uses memory in proportion to the bytes received, and each of its pauses is limited.
///
/// Memory:  that of one response, as it arrives.
/// Threads: one at a time; another one ends a wait by Mu::Thread::Cancel of the waiting one.
/// Failure: statuses; any failure closes the connection. EOI: it was closed before, or by the
///          server. InputFailure: the connection failed, or nothing arrived in time. Error: the
///          response is not one of a service. ErrMemoryFull. Out-parameters are empty then.
class KESTREL_API ReflectionClient : public Mu::Allocated {
public:
    using Attribute = Reflectable::Attribute;
    using AttributeValue = Reflectable::AttributeValue;
    static constexpr unsigned int DefaultTimeout = 5000; // milliseconds
    static constexpr unsigned int DefaultAnswerLimit = 64u << 20;

    ReflectionClient();
    /// Ends the dialogue and closes the connection.
    ~ReflectionClient();
    ReflectionClient(ReflectionClient const &) = delete;
    ReflectionClient & operator=(ReflectionClient const &) = delete;

    /// Connects to a port of a host, whose name is resolved first. The limit applies to the
    /// connection and to each later wait for the server; 0 for no limit. InputFailure: nothing
    /// listens there.
    MuErrCode Connect(char const * host, unsigned short port,
                      unsigned int milliseconds = DefaultTimeout);
    bool IsConnected() const { return connection != nullptr; }
    void Disconnect();
    /// A response with more bytes returns Error.
    void SetAnswerLimit(unsigned int size) { answerLimit = size; }

    MuErrCode GetIdent(Mu::UniString * ident);
    /// The sign of the service's byte order, "WIN" or "MAC".
    MuErrCode GetOS(Mu::UniString * sign);
    MuErrCode GetPid(unsigned int * process);

    // The queries of Reflectable. The service does not distinguish a location that does not exist
    // from an empty one.

    MuErrCode GetChildren(RelativeLocation const & location, Mu::Array<Name> * folders,
                          Mu::Array<Name> * files);
    MuErrCode GetAttributes(RelativeLocation const & location, Mu::Array<Attribute> * attributes);
    /// The values of things at the location, one list for each name.
    MuErrCode GetAttributeValues(RelativeLocation const & location, Mu::Array<Name> const & names,
                                 Mu::Array<Mu::Array<AttributeValue>> * values);
    MuErrCode GetContent(RelativeLocation const & location, Mu::UniString * content);

private:
    struct Connection;
    friend struct ReflectionClientStart;

    MuErrCode Fail(MuErrCode status);
    template <typename Take>
    MuErrCode Ask(char const * request, Take const & take);
    template <typename Take>
    MuErrCode AskAt(char const * request, RelativeLocation const & location,
                    Mu::Array<Name> const * names, Take const & take);

    Connection * connection = nullptr; // owned; null while it is not connected
    unsigned int answerLimit = DefaultAnswerLimit;
};

} // namespace IO
