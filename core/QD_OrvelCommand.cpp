#include "QD_OrvelCommand.h"

QD_OrvelCommand::~QD_OrvelCommand() = default;
