// Which files an input consists of, and whether they are still what they were.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Nimb::Authoring {

struct InputFile {
    std::string path;
    std::uint64_t size = 0;
    std::int64_t changed = 0;  ///< nanoseconds, as the file system counts
    std::string hash;          ///< see ContentHash
};

/// Throws InputError when there is no such file.
InputFile LookAt(const std::string& path);

/// Throws InputError, naming the file, when its content is another. A file that looks untouched is not read.
void CheckUnchanged(const InputFile& known);

/// Sees every file that ReadFileBytes reads while it exists. At most one at a time; made before the threads that read.
class InputWatch {
public:
    /// Notes the files.
    InputWatch();
    /// Reading a file that is not one of these, or not any more what it was, throws InputError.
    explicit InputWatch(const std::vector<InputFile>& known);
    ~InputWatch();
    InputWatch(const InputWatch&) = delete;
    InputWatch& operator=(const InputWatch&) = delete;

    /// A file that is read elsewhere, or not decoded yet.
    void Note(const std::string& path);

    /// Those noted so far, by their paths.
    std::vector<InputFile> Files() const;

    /// For ReadFileBytes.
    static void See(const std::string& path, const std::vector<BYTE>& bytes);

private:
    const bool m_IsChecking;
    mutable std::mutex m_Mutex;
    std::map<std::string, InputFile> m_Files;
};

}  // namespace Nimb::Authoring
