// The clock of the compile-unit index.
#pragma once

#include "interfaces/Types.h"

/// During a build the tick count at its start; afterwards the ticks that it took. One for the whole
/// module.
extern u32 g_indexTicks;
