// The process in which a conversion runs, and the time that it may take.
#pragma once

#include "host/Conversion.h"
#include "interfaces/Types.h"

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

/// Whether this is a build with AddressSanitizer, which reserves address space freely. Its reports go to
/// standard error, where tests see them.
#if defined(__SANITIZE_ADDRESS__)
#define CONVERSION_IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define CONVERSION_IS_SANITIZED 1
#endif
#endif
#ifdef CONVERSION_IS_SANITIZED
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

/// Closes it at its end.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1)
        : m_descriptor(descriptor)
    {
    }
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return m_descriptor; }
    void Set(int descriptor)
    {
        Close();
        m_descriptor = descriptor;
    }
    void Close();

private:
    int m_descriptor;
};

struct Pipe {
    Descriptor reader;
    Descriptor writer;

    /// @return false, with errno set, if there can be none.
    bool Open();
};

/// Measures the time that a child takes, without the time that the machine slept or this process was stopped (Ctrl-Z).
class Patience {
public:
    explicit Patience(std::chrono::milliseconds limit)
        : m_left(limit)
    {
    }

    bool IsOver() const { return m_left <= std::chrono::nanoseconds(0); }

    /// Waits until the descriptor (or none: -1) has something, at most for a step.
    /// @return whether it has.
    bool Wait(int descriptor, std::chrono::milliseconds step);

private:
    std::chrono::nanoseconds m_left;
};

/// All that the child needs, prepared before fork: between fork and exec it may take neither memory nor locks.
class ConverterProcess {
public:
    ConverterProcess(const std::string& program, const std::string& file, int output, const ConversionLimits& limits);
    ~ConverterProcess() { Kill(); }
    ConverterProcess(const ConverterProcess&) = delete;
    ConverterProcess& operator=(const ConverterProcess&) = delete;

    /// @return 0, or the errno for which it doesn't run.
    int Start();
    int Reader() const { return m_answer.reader.Get(); }

    /// Waits for its end.
    /// @return false if it doesn't end in time.
    bool Ends(Patience& patience, int& status);
    void Kill();

private:
    [[noreturn]] void Run(pid_t parent);

    std::string m_program;
    std::string m_file;
    std::string m_outputNumber;
    int m_output;
    ConversionLimits m_limits;
    std::vector<char*> m_arguments;
    std::vector<char*> m_environment;
    Descriptor m_null;
    Pipe m_answer;
    Pipe m_trouble; ///< brings the errno of an exec that fails
    pid_t m_process = -1;
};
