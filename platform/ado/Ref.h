#ifndef ORVEL_PLATFORM_ADO_REF_H
#define ORVEL_PLATFORM_ADO_REF_H

#include <memory>
#include <utility>

#include "platform/hresult.h"

namespace orvel::platform::ado {

/// A shared reference to an object of the model. A call through an empty one is an error like any other of
/// the model's: ComError with E_POINTER.
///
/// The count is safe to share between threads; the objects are not: a connection and all that was made from
/// it belong to one thread at a time.
template <class Object>
class Ref {
public:
    Ref() = default;
    Ref(std::nullptr_t) {} // NOLINT(google-explicit-constructor): an empty reference is written nullptr
    template <class Derived>
        requires std::convertible_to<Derived*, Object*>
    Ref(std::shared_ptr<Derived> object) : target(std::move(object)) {}
    template <class Derived>
        requires std::convertible_to<Derived*, Object*>
    Ref(const Ref<Derived>& other) : target(other.shared()) {}

    Object* operator->() const {
        if (target == nullptr) {
            failNullPointer();
        }
        return target.get();
    }

    Object* get() const noexcept { return target.get(); }
    const std::shared_ptr<Object>& shared() const noexcept { return target; }
    void reset() noexcept { target.reset(); }
    explicit operator bool() const noexcept { return target != nullptr; }

private:
    std::shared_ptr<Object> target;
};

} // namespace orvel::platform::ado

#endif
