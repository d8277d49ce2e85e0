// Which file a path leads to, and which file no input may be read from.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace Nimb::Authoring {

/// A file as the system knows it: the same through links and however its path is written.
struct FileIdentity {
    dev_t device = 0;
    ino_t number = 0;
    std::string name;  ///< of a file that does not exist yet: then the numbers are its folder's

    bool operator==(const FileIdentity& other) const {
        return device == other.device && number == other.number && name == other.name;
    }
};

/// None when neither the file nor its folder exists.
std::optional<FileIdentity> IdentityOf(const std::string& path);

/// While one exists, reading the file as a mesh, a material or a picture throws std::invalid_argument: it is about to
/// be replaced. At most one at a time; made before the threads that read.
class OutputGuard {
public:
    explicit OutputGuard(const std::string& output);
    ~OutputGuard();
    OutputGuard(const OutputGuard&) = delete;
    OutputGuard& operator=(const OutputGuard&) = delete;

    /// `file`: of an input that has been opened, `path` its name for the message.
    static void CheckInput(int file, const std::string& path);
};

}  // namespace Nimb::Authoring
