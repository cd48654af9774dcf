#ifndef ORVEL_PLATFORM_ADO_ERROR_H
#define ORVEL_PLATFORM_ADO_ERROR_H

#include <cstdint>
#include <string>

#include "platform/ado/Ref.h"

namespace orvel::platform::ado {

/// One thing that an engine had to say about a failure.
class Error {
public:
    virtual ~Error() = default;

    /// Whole, in UTF-8, as the engine wrote it.
    virtual std::string description() const = 0;
    /// The engine's own code.
    virtual std::int32_t nativeError() const = 0;
    /// The five characters that classify it.
    virtual std::string sqlState() const = 0;
};

/// What the engine said about the last call on a connection or on anything made from it. Empty after a call
/// that succeeded, whatever notices came with it, and after one that failed before it reached the engine.
class Errors {
public:
    virtual ~Errors() = default;

    virtual std::int32_t count() const = 0;
    /// @throws ComError  3265 when there is no entry at `index` (from 0)
    virtual Ref<Error> item(std::int32_t index) const = 0;
};

} // namespace orvel::platform::ado

#endif
