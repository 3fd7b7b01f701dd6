#include <Kestrel/Root/Ref.h>

#include <Kestrel/Root/Exceptions.h>

namespace Mu {

SharedObject::~SharedObject() = default;

void ThrowNullReference() {
    throw NullReferenceException("Null reference.");
}

} // namespace Mu
