#include "config/config_frame.h"

#include "core/diagnostics.h"

namespace orvel {

void replaceComError(const char* name, const platform::ComError& error, unsigned int line) {
    logCatch(CatchForm::replaced, name, line, error.message().c_str());
    throw QD_OrvelException(QD_ORVEL_ERR_CONFIG_FILE, name, 0, error.description().c_str(), error.hresult());
}

} // namespace orvel
