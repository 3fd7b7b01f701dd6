#pragma once

#include <Kestrel/Location/Name.h>
#include <Kestrel/Reflection/Internal/Wire.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

/// The server's end of the dialogue with one inspector.
///
/// Memory:  the body of the request, as its bytes arrive, and the answer, both up to their limits.
///          Up to 256 KiB of each, and room for 16,384 names, are kept for the next request:
///          freeing large blocks makes the system coalesce all the small ones of the names.
/// Threads: one at a time.
/// Failure: exceptions, after which the connection cannot be used.
class ReflectionDialogue {
public:
    ReflectionDialogue(Mu::IBinaryChannel & input, Mu::OBinaryChannel & output,
                       Mu::UniString const & ident, unsigned int bodyLimit,
                       unsigned int answerLimit)
        : input(input), output(output), ident(ident), bodyLimit(bodyLimit), answer(answerLimit) {}

    /// Reads a request and answers it. False: the inspector ends the dialogue.
    bool ServeRequest();

    struct NameLists {
        Mu::Array<Name> folders;
        Mu::Array<Name> files;
    };

private:
    bool Serve();
    void TidyUp();

    Mu::IBinaryChannel & input;
    Mu::OBinaryChannel & output;
    Mu::UniString const & ident;
    unsigned int bodyLimit;
    ArrivedBlock bytes;
    AnswerBlock answer;
    NameLists lists;
};

} // namespace IO
