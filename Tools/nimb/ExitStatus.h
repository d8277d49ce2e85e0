// What `nimb` reports to the shell, and the exceptions that lead there.
#pragma once

#include <stdexcept>

namespace Nimb::Tool {

enum ExitStatus {
    c_ExitOk = 0,
    c_ExitProblem = 1,  ///< the command ran and found something wrong with the clip
    c_ExitUsage = 2,    ///< invalid options
    c_ExitInput = 3,    ///< an input that is missing, unreadable or broken
    c_ExitOutput = 4,   ///< an output that cannot be written
};

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Nimb::Tool
