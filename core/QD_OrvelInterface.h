#ifndef QD_ORVEL_INTERFACE_H
#define QD_ORVEL_INTERFACE_H

// The one header an application includes.
//
// Connections come from QD_OrvelConnection::create; everything else comes from a connection. Objects are held
// through handles and go with the last of them. A connection and what was made from it belong to one thread
// at a time. Every failure is a QD_OrvelException.

#include "QD_OrvelCommand.h"
#include "QD_OrvelConnection.h"
#include "QD_OrvelDebugOutput.h"
#include "QD_OrvelError.h"
#include "QD_OrvelException.h"
#include "QD_OrvelHandle.h"
#include "QD_OrvelQuery.h"
#include "QD_OrvelTools.h"
#include "QD_OrvelTransaction.h"

#endif
