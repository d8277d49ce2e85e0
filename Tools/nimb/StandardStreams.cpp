#include "Tools/nimb/StandardStreams.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <initializer_list>

namespace Nimb::Tool {

void OpenStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1) {
            // Takes the lowest free number, which is this stream's. It is opened for the other direction, so its use
            // fails.
            static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

void FlushRemarks() {
    if (std::fflush(stdout) != 0) {
        __fpurge(stdout);
    }
    std::clearerr(stdout);
}

}  // namespace Nimb::Tool
