#include "QD_OrvelConnection.h"

QD_OrvelConnection::~QD_OrvelConnection() = default;
