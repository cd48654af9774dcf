#include "platform/secret_text.h"

#include <cstring>

namespace orvel::platform {

void wipe(std::string& text) noexcept { explicit_bzero(text.data(), text.size()); }

} // namespace orvel::platform
