// Which parts of a line get which colour. This goes by how the listings look, so that no listing has to know about it.
#include "host/Paint.h"

#include "host/Text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace {

constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kFaint = "\x1b[2m";
constexpr std::string_view kYellow = "\x1b[33m";
constexpr std::string_view kCyan = "\x1b[36m";
constexpr std::string_view kPlain = "\x1b[m";

bool IsWordLetter(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

struct Mark {
    std::size_t length = 0; ///< 0: the place has none
    std::string_view color;
};

Mark MarkAt(std::string_view line, std::size_t at)
{
    const std::string_view rest = line.substr(at);
    if (at != 0 && IsWordLetter(line[at - 1])) {
        return {};
    }
    if (rest.substr(0, 2) == "0x") {
        const auto end = std::find_if_not(rest.begin() + 2, rest.end(), IsWordLetter);
        return {static_cast<std::size_t>(end - rest.begin()), kCyan};
    }
    for (const std::string_view gap : {"<hole>", "<padding>", "<virtual bases>", "<rest of array, or hole>"}) {
        if (rest.substr(0, gap.size()) == gap) {
            return {gap.size(), kYellow};
        }
    }
    return rest == "??" || rest.substr(0, 3) == "?? " ? Mark{2, kFaint} : Mark{};
}

/// Above the members of each type in a listing.
constexpr std::string_view kMembersHead = "offset    size  bits    type";

/// How many characters at the line's begin are a head: all of a title, the first column of what has more.
std::size_t HeadLength(std::string_view line)
{
    const std::size_t text = std::min(line.find_first_not_of(' '), line.size());
    if (line.substr(text, kMembersHead.size()) == kMembersHead) {
        return line.size();
    }
    const bool head = !line.empty() && line[0] != ' ' && line[0] != '\t' && !IsDigit(line[0]) && line[0] != '?';
    return head ? std::min(line.find("  "), line.size()) : 0;
}

void AppendPainted(std::string& out, std::string_view line)
{
    if (!line.empty() && line[0] == '{') {
        out += line;
        return;
    }
    std::size_t at = HeadLength(line);
    if (at != 0) {
        out.append(kBold).append(line.substr(0, at)).append(kPlain);
    }
    while (at < line.size()) {
        const Mark mark = MarkAt(line, at);
        if (mark.length == 0) {
            out += line[at++];
            continue;
        }
        out.append(mark.color).append(line.substr(at, mark.length)).append(kPlain);
        at += mark.length;
    }
}

} // namespace

std::string Painted(std::string_view text)
{
    std::string out;
    out.reserve(text.size() + text.size() / 2);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        AppendPainted(out, text.substr(0, end));
        if (end < text.size()) {
            out += '\n';
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return out;
}

std::string PaintedHead(std::string_view head)
{
    if (head.substr(0, 1) == "{") {
        return std::string(head); // of JSON
    }
    std::string out;
    while (!head.empty()) {
        const std::string_view line = head.substr(0, head.find('\n'));
        if (!line.empty()) {
            out.append(kBold).append(line).append(kPlain);
        }
        out += line.size() < head.size() ? "\n" : "";
        head.remove_prefix(std::min(line.size() + 1, head.size()));
    }
    return out;
}

bool IsPainted(ColorMode mode, bool terminal)
{
    if (mode != ColorMode::Auto) {
        return mode == ColorMode::Always;
    }
    const char* no = std::getenv("NO_COLOR");
    const char* kind = std::getenv("TERM");
    return terminal && (no == nullptr || *no == 0) && kind != nullptr && std::string_view(kind) != "dumb";
}
