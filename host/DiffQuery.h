// What `symhost diff` prints.
#pragma once

#include "host/Answer.h"

class Loader;

/// @return the exit status: 0 if they are the same, 1 if they differ.
int ShowDiff(Loader& older, Loader& newer, Answer answer);
