#ifndef QD_SQORVEL_INTERFACE_H
#define QD_SQORVEL_INTERFACE_H

// What the SQLite provider adds to the common interface: for applications that want an SQLite connection
// whatever the configuration says, and for those that derive from its classes.

#include "QD_SQOrvelCommand.h"
#include "QD_SQOrvelConnection.h"
#include "QD_SQOrvelException.h"
#include "QD_SQOrvelQuery.h"

#endif
