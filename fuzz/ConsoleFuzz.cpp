// Lines of text for the console of the example file, at any depth of loading, and for the line parser.
#include "fuzz/Example.h"
#include "fuzz/Pieces.h"
#include "interfaces/VFKStringParser.h"

#include <sstream>

namespace {

/// The first characters of a line say which reads it is taken apart by.
void Parse(const std::string& line)
{
    VFKStringParser parser(line);
    std::string text;
    std::string value;
    u32 number = 0;
    char c = 0;
    for (const char read : line.substr(0, 8)) {
        switch (read & 7) {
        case 0:
            parser.GetCToken(text, (read & 8) != 0, (read & 16) != 0);
            break;
        case 1:
            parser.GetString(text);
            break;
        case 2:
            parser.GetOption(text, value);
            break;
        case 3:
            parser.GetUInt32(number, read >> 3);
            break;
        case 4:
            parser.GetNonWhiteSpaceChar(c, ">\"");
            break;
        case 5:
            parser.GetUInt32(number, 0);
            break;
        case 6:
            parser.SkipSpaces();
            break;
        default:
            parser.PeekChar(static_cast<std::size_t>(read));
            break;
        }
    }
    parser.GetLine(text, true);
}

} // namespace

const std::size_t kPieceCount = 1;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    const Input input = SplitInput(data, size, kPieceCount);
    static const std::string little = WrapSections(Settings(0), MakeExample(ByteOrder::Little).List());
    static const std::string big = WrapSections(Settings(1), MakeExample(ByteOrder::Big).List());
    Session session(input.settings.Order() == ByteOrder::Little ? little : big, input.settings);
    session.File().Add();
    if (!input.settings.DumpsFirst()) {
        session.File().Load(input.settings.Own() ? LoadDepth::All : LoadDepth::Index);
    }
    std::istringstream lines(input.pieces[0]);
    std::string line;
    for (int count = 0; count < 16 && std::getline(lines, line); ++count) {
        Parse(line);
        session.Console(line);
    }
    return 0;
}
