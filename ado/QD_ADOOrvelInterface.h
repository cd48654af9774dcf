#ifndef QD_ADOORVEL_INTERFACE_H
#define QD_ADOORVEL_INTERFACE_H

// What the ADO provider adds to the common interface: for applications that derive from its classes or want
// its exceptions by type. Connections come from QD_OrvelConnection::create.

#include "QD_ADOOrvelCommand.h"
#include "QD_ADOOrvelConnection.h"
#include "QD_ADOOrvelException.h"
#include "QD_ADOOrvelQuery.h"

#endif
