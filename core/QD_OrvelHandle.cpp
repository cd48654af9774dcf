#include "QD_OrvelHandle.h"

QD_OrvelHandableClass::~QD_OrvelHandableClass() = default;
