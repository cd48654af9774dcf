#ifndef ORVEL_PLATFORM_ADO_CLASS_FACTORY_H
#define ORVEL_PLATFORM_ADO_CLASS_FACTORY_H

#include <functional>

#include "platform/ado/Command.h"
#include "platform/ado/Connection.h"
#include "platform/ado/Ref.h"

// Where objects come from. The implementation that is linked in makes them, unless another maker is
// registered.

namespace orvel::platform::ado {

template <class Class>
using Maker = std::function<Ref<Class>()>;

/// A new object of a class that can be created: Connection or Command.
/// @throws ComError  REGDB_E_CLASSNOTREG when a registered maker is empty; what the maker raises
template <class Class>
Ref<Class> createObject();

/// Makes objects of a class come from `maker` while it lives; the one before comes back when it goes. For one
/// thread: nobody else may create objects of the class meanwhile.
template <class Class>
class Registration {
public:
    explicit Registration(Maker<Class> maker);
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration();

private:
    Maker<Class> maker;
    Maker<Class>* previous;
};

/// What the linked implementation offers.
Ref<Connection> makeConnection();
Ref<Command> makeCommand();

} // namespace orvel::platform::ado

#endif
