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

/// Looks into another process that runs a ReflectionService.
///
///     IO::ReflectionClient client;
///     if (client.Connect("localhost", 37770) == IO::NoError &&
///         client.GetChildren(IO::RelativeLocation(), &folders, &files) == IO::NoError)
///         ...
///
/// The server is not trusted: a foreign or hostile server costs a status, memory in proportion to
/// the bytes that it sends, and no more time than the limit for each of its pauses.
///
/// Memory:  that of one answer, as it arrives.
/// Threads: one at a time; another one ends a wait by Mu::Thread::Cancel of the waiting one.
/// Failure: statuses; after any of them the connection is closed. EOI: it is closed already, or the
///          server closed it. InputFailure: the connection failed, or nothing came in time. Error:
///          the answer is not that of a service. ErrMemoryFull. Out-parameters are empty then.
class KESTREL_API ReflectionClient : public Mu::Allocated {
public:
    using Attribute = Reflectable::Attribute;
    using AttributeValue = Reflectable::AttributeValue;
    static constexpr unsigned int DefaultTimeout = 5000; // milliseconds
    static constexpr unsigned int DefaultAnswerLimit = 64u << 20;

    ReflectionClient();
    /// Says goodbye.
    ~ReflectionClient();
    ReflectionClient(ReflectionClient const &) = delete;
    ReflectionClient & operator=(ReflectionClient const &) = delete;

    /// To a port of a host, which is looked up first. The limit holds for the connection and for
    /// each wait for the server from then on; 0 is none. InputFailure: nothing listens there.
    MuErrCode Connect(char const * host, unsigned short port,
                      unsigned int milliseconds = DefaultTimeout);
    bool IsConnected() const { return connection != nullptr; }
    void Disconnect();
    /// An answer beyond so many bytes is Error.
    void SetAnswerLimit(unsigned int size) { answerLimit = size; }

    MuErrCode GetIdent(Mu::UniString * ident);
    /// The sign of the byte order that the service speaks, "WIN" or "MAC".
    MuErrCode GetOS(Mu::UniString * sign);
    MuErrCode GetPid(unsigned int * process);

    // As those of Reflectable. The service does not distinguish a place that is not there from one
    // that is empty.

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

    Connection * connection = nullptr; // owned; null while not connected
    unsigned int answerLimit = DefaultAnswerLimit;
};

} // namespace IO
