// Files of a web page on their way to the disk: nothing has its name before all of it is written.
#pragma once

#include "Tools/nimb/OutputFile.h"

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Nimb::Tool {

/// Written piece by piece. Commit gives it its name; without it, nothing stays.
class PageFile {
public:
    /// OutputError as from all of its functions.
    PageFile(const std::string& path, bool overwrite);
    ~PageFile();
    PageFile(const PageFile&) = delete;
    PageFile& operator=(const PageFile&) = delete;

    void Write(std::string_view bytes);
    /// No more is written.
    void Close();
    void Commit() { m_Output.Commit(); }

    std::uint64_t Size() const noexcept { return m_Size; }

private:
    [[noreturn]] void Fail() const;

    std::string m_Path;
    OutputFile m_Output;
    std::FILE* m_File;
    std::uint64_t m_Size = 0;
};

/// A folder for outputs. Those that had to be made go again, with their parents, unless Keep is called.
class PageFolder {
public:
    /// OutputError when it cannot be made or is something else.
    explicit PageFolder(const std::string& path);
    ~PageFolder();
    PageFolder(const PageFolder&) = delete;
    PageFolder& operator=(const PageFolder&) = delete;

    void Keep() noexcept { m_Made.clear(); }

private:
    std::vector<std::string> m_Made;  // parents first
};

/// Hands out a file in pieces of `size` bytes; the last may be shorter. Looks at interrupts. Throws
/// Authoring::InputError when the file cannot be read.
void ReadInPieces(const std::string& path, std::size_t size, const std::function<void(std::string_view)>& take);

}  // namespace Nimb::Tool
