#include "QD_OrvelQuery.h"

QD_OrvelQuery::~QD_OrvelQuery() = default;
