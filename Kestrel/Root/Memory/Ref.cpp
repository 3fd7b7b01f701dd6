#include <Kestrel/Root/Memory/Ref.h>

#include <Kestrel/Root/Errors/Exceptions.h>

namespace Mu {

SharedObject::~SharedObject() = default;

void ThrowNullReference() {
    throw NullReferenceException("Null reference.");
}

} // namespace Mu
