// `.debug_pubnames` and `.debug_macinfo` over the example's units: look-ups of names, ahead of the loads
// or behind them, and the two dumps.
#include "fuzz/Example.h"
#include "fuzz/Pieces.h"

#include <sstream>

const std::size_t kPieceCount = 3;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    const Input input = SplitInput(data, size, kPieceCount);
    ExampleSections example = MakeExample(input.settings.Order());
    example.pubnames = input.pieces[0];
    example.macinfo = input.pieces[1];
    Session session(WrapSections(input.settings, example.List()), input.settings);
    std::istringstream names(input.pieces[2]);
    if (!input.settings.DumpsFirst()) {
        session.Export();
    } else {
        session.File().Add();
        session.File().LoadIndex();
    }
    session.Console("pubnames");
    session.Console("macinfo");
    for (std::string name; std::getline(names, name);) {
        session.LookUpName(name);
    }
    session.LookUp();
    session.Console("m_debug_pubnames");
    return 0;
}
