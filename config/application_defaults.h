#ifndef ORVEL_APPLICATION_DEFAULTS_H
#define ORVEL_APPLICATION_DEFAULTS_H

#include <mutex>
#include <string>

#include "QD_OrvelConnection.h"

namespace orvel {

/// The library's one lock: for the application defaults, the cache of configuration files and the whole
/// loading of a file. It may be taken before any static constructor of an application has run and after its
/// static destructors, and by a thread that holds it already.
std::recursive_mutex& configLock();

/// The five slots, at their initial values until set. See QD_OrvelConfig for the rules.
void setApplicationDefault(QD_OrvelAppDefault kind, int value, const char* text);
void getApplicationDefault(QD_OrvelAppDefault kind, std::string* text, int* value);

/// The slot of the master file.
std::string masterConfigFile();

} // namespace orvel

#endif
