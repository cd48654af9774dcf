#include "platform/ado/class_factory.h"

#include "platform/ado/status.h"

namespace {

using namespace orvel::platform::ado;

template <class Class>
Maker<Class>* registered = nullptr;

Ref<Connection> make(const Connection*) { return makeConnection(); }
Ref<Command> make(const Command*) { return makeCommand(); }

} // namespace

namespace orvel::platform::ado {

template <class Class>
Ref<Class> createObject() {
    if (registered<Class> == nullptr) {
        return make(static_cast<const Class*>(nullptr));
    }
    if (!*registered<Class>) {
        throw ComError(classNotRegistered, "Nothing makes objects of this class.");
    }
    return (*registered<Class>)();
}

template <class Class>
Registration<Class>::Registration(Maker<Class> newMaker)
    : maker(std::move(newMaker)), previous(std::exchange(registered<Class>, &maker)) {}

template <class Class>
Registration<Class>::~Registration() {
    registered<Class> = previous;
}

template Ref<Connection> createObject<Connection>();
template Ref<Command> createObject<Command>();
template class Registration<Connection>;
template class Registration<Command>;

} // namespace orvel::platform::ado
