#ifndef QD_ADOORVEL_INTERFACE_H
#define QD_ADOORVEL_INTERFACE_H

// What the ADO provider adds to the common interface.

#include "QD_ADOOrvelException.h"

#endif
