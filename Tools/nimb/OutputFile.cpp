#include "Tools/nimb/OutputFile.h"

#include "Authoring/Source/FileIdentity.h"
#include "Tools/nimb/ExitStatus.h"

#include <unistd.h>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace Nimb::Tool {

namespace {

/// What each kind is called, and the extensions of such files.
struct Format {
    OutputKind kind;
    const char* what;
    const char* ending;  // in lower case
};

constexpr Format c_Formats[] = {
    {OutputKind::Clip, "a clip", ".mp4"},
    {OutputKind::Video, "a recording", ".mp4"},
    {OutputKind::Picture, "a picture", ".png"},
    {OutputKind::Page, "a page", ".html"},
};

/// Players and viewers go by a file's name, so it must say what is in there.
void CheckEnding(const std::string& path, OutputKind kind) {
    const Format& format = *std::find_if(std::begin(c_Formats), std::end(c_Formats),
                                         [kind](const Format& candidate) { return candidate.kind == kind; });
    if (path == "-") {
        throw UsageError(std::string("-: ") + format.what + " cannot go to standard output; name a file that ends in " +
                         format.ending);
    }
    std::string ending = fs::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending != format.ending) {
        throw UsageError(path + ": the name of " + format.what + " must end in " + format.ending);
    }
}

}  // namespace

void CheckOutput(const std::string& path, OutputKind kind, bool overwrite, const std::vector<std::string>& inputs) {
    CheckEnding(path, kind);
    CheckReplaceable(path, overwrite, inputs);
}

void CheckReplaceable(const std::string& path, bool overwrite, const std::vector<std::string>& inputs) {
    std::error_code error;
    if (fs::is_directory(path, error)) {
        throw OutputError(path + ": is a folder");
    }
    const std::optional<Authoring::FileIdentity> own = Authoring::IdentityOf(path);
    for (const std::string& input : inputs) {
        if (own && own == Authoring::IdentityOf(input)) {
            throw UsageError(path + ": is also an input" + (input == path ? "" : " (" + input + ")") +
                             ", which it would replace");
        }
    }
    // The finished file replaces whatever has its name. A device would be gone.
    if (fs::exists(path, error) && !fs::is_regular_file(path, error)) {
        throw OutputError(path + ": cannot be replaced, since it is not a regular file");
    }
    if (!overwrite && fs::exists(path, error)) {
        throw UsageError(path + ": exists already; use -y to overwrite it");
    }
    const fs::path folder = fs::absolute(path).parent_path();
    if (!fs::is_directory(folder, error)) {
        throw OutputError(path + ": the folder " + folder.string() + " does not exist");
    }
}

OutputFile::OutputFile(std::string path, bool overwrite) : m_Path(std::move(path)) {
    CheckReplaceable(m_Path, overwrite, {});
    // The extension stays last, for libraries that go by it. Names have 255 bytes at most.
    const fs::path own(m_Path);
    const std::string tail = ".part" + std::to_string(getpid()) + own.extension().string();
    const std::string stem = own.stem().string().substr(0, 254 - std::min<std::size_t>(tail.size(), 254));
    m_TemporaryPath = (own.parent_path() / ("." + stem + tail)).string();
}

OutputFile::~OutputFile() {
    if (!m_Committed) {
        std::error_code ignored;
        fs::remove(m_TemporaryPath, ignored);
    }
}

void OutputFile::Commit() {
    std::error_code error;
    fs::rename(m_TemporaryPath, m_Path, error);
    if (error) {
        throw OutputError(m_Path + ": " + error.message());
    }
    m_Committed = true;
}

}  // namespace Nimb::Tool
