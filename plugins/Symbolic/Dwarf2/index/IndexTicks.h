// The clock of the compile-unit index.
#pragma once

#include "interfaces/Types.h"

/// While the index is built, the tick count at the start; afterwards the ticks that it took. One for the whole module.
extern u32 g_indexTicks;
