// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

/// The program's exit codes.
enum ExitCode {
    kDone = 0,
    kUnusable = 1,
    kSystemException = 2,
    kUserException = 3,
    kUsage = 64,
    kInterrupted = 130
};

/// Ends the program with one line for the user; with none if the text is empty.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode exit_code, const std::string& line) : std::runtime_error(line), code(exit_code) {}
    const ExitCode code;
};

/// Prints the one line that a run ends with on standard error. What other programs put into it, line ends and
/// bytes that could steer a terminal among it, is shown as dots.
void tell(const std::string& line);

[[noreturn]] inline void wrong_usage(const std::string& line) {
    throw Failure(kUsage, line);
}
