// The layout of an input that stands for several sections: one byte of settings, then the pieces. Each
// piece has its length in front (16 bits, little-endian) but the last, which takes what is left.
#pragma once

#include "fuzz/Driver.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <string>
#include <vector>

struct Input {
    Settings settings;
    std::vector<std::string> pieces;
};

/// How many pieces the target's inputs have. Each target with pieces defines it.
extern const std::size_t kPieceCount;

/// Takes any bytes: a piece is cut where they end.
Input SplitInput(const u8* data, std::size_t size, std::size_t count);
/// A piece that is too long for its length is cut.
std::string JoinInput(const Input& input);
