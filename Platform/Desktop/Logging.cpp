// The log: one line on standard error for each message that NIMB_LOG_LEVEL (error, warning, info, none; warning unless
// it says otherwise) lets through.
#include <ml_logging.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

constexpr int c_Silent = -1;
constexpr size_t c_MaxLine = 4096;  // PIPE_BUF: up to here a line is written whole even into a pipe

int ReadMaxLevel() {
    const char* const name = std::getenv("NIMB_LOG_LEVEL");
    const struct {
        const char* name;
        int level;
    } levels[] = {
        {"none", c_Silent}, {"error", MLLogLevel_Error}, {"warning", MLLogLevel_Warning}, {"info", MLLogLevel_Info}};
    for (const auto& level : levels) {
        if (name != nullptr && std::strcmp(name, level.name) == 0) {
            return level.level;
        }
    }
    return MLLogLevel_Warning;
}

int MaxLevel() {
    static const int level = ReadMaxLevel();
    return level;
}

const char* LevelName(MLLogLevel level) {
    const char* const names[] = {"fatal", "error", "warning", "info", "debug", "verbose"};
    const auto index = static_cast<size_t>(level);
    return index < std::size(names) ? names[index] : "log";
}

// How much of `capacity` snprintf filled.
size_t Written(int result, size_t capacity) {
    return result < 0 ? 0 : std::min(static_cast<size_t>(result), capacity - 1);
}

void WriteAll(const char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = write(STDERR_FILENO, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
}

}  // namespace

bool MLLoggingLogLevelIsEnabled(MLLogLevel level) {
    return static_cast<int>(level) <= MaxLevel();
}

void MLLoggingLogVargs(MLLogLevel level, const char* tag, const char* fmt, ...) {
    if (!MLLoggingLogLevelIsEnabled(level) || fmt == nullptr) {
        return;
    }
    const int savedErrno = errno;
    char line[c_MaxLine];
    size_t size = Written(std::snprintf(line, sizeof line, "[%s] %s: ", LevelName(level), tag != nullptr ? tag : ""),
                          sizeof line);
    const size_t head = size;
    va_list arguments;
    va_start(arguments, fmt);
    size += Written(std::vsnprintf(line + size, sizeof line - size, fmt, arguments), sizeof line - size);
    va_end(arguments);

    while (size > head && line[size - 1] == '\n') {
        --size;
    }
    std::replace_if(
        line, line + size, [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\t'; }, ' ');
    line[size++] = '\n';
    WriteAll(line, size);
    errno = savedErrno;
}
