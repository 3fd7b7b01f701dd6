#pragma once

#include <Kestrel/Root/BinaryChannel.h>
#include <Kestrel/Root/UniString.h>

namespace IO {

/// The server's end of the dialogue with one inspector.
///
/// Memory:  that of the request's body, as its bytes arrive, and that of the answer, both up to their
///          limits.
/// Threads: one at a time.
/// Failure: exceptions, after which the connection is of no use.
class ReflectionDialogue {
public:
    ReflectionDialogue(Mu::IBinaryChannel & input, Mu::OBinaryChannel & output,
                       Mu::UniString const & ident, unsigned int bodyLimit,
                       unsigned int answerLimit)
        : input(input), output(output), ident(ident), bodyLimit(bodyLimit),
          answerLimit(answerLimit) {}

    /// Reads a request and answers it. False: the inspector says goodbye.
    bool ServeRequest();

private:
    Mu::IBinaryChannel & input;
    Mu::OBinaryChannel & output;
    Mu::UniString const & ident;
    unsigned int bodyLimit;
    unsigned int answerLimit;
};

} // namespace IO
