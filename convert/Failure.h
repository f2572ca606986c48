// Why a file is not converted.
#pragma once

#include <stdexcept>
#include <string>

namespace convert {

/// One line for a person, without the file's path. Thrown where going on makes no sense; nothing has been written.
class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string& text)
        : std::runtime_error(text)
    {
    }
};

} // namespace convert
