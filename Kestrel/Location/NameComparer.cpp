#include <Kestrel/Location/NameComparer.h>

#include <atomic>

namespace IO {

static constinit std::atomic<NameComparer *> registered = nullptr;

NameComparer::~NameComparer() = default;

bool NameComparer::IsToldApartByHash() const {
    return false;
}

void SetNameComparer(NameComparer * comparer) {
    registered.store(comparer, std::memory_order_release);
}

NameComparer * GetNameComparer() {
    return registered.load(std::memory_order_acquire);
}

} // namespace IO
