#include "Authoring/Source/FileSequence.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/TextScan.h"

#include <glob.h>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string_view>

namespace Nimb::Authoring {
namespace {

namespace fs = std::filesystem;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// A name, cut into runs of digits and the text between them.
std::vector<std::string_view> RunsOf(std::string_view name) {
    std::vector<std::string_view> runs;
    for (std::size_t begin = 0; begin < name.size();) {
        std::size_t end = begin + 1;
        while (end < name.size() && IsDigit(name[end]) == IsDigit(name[begin])) {
            ++end;
        }
        runs.push_back(name.substr(begin, end - begin));
        begin = end;
    }
    return runs;
}

std::string_view WithoutZeros(std::string_view digits) {
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

/// Runs of digits by their value, the rest by its characters.
bool NaturallyLess(const std::string& a, const std::string& b) {
    const std::vector<std::string_view> runsA = RunsOf(a), runsB = RunsOf(b);
    for (std::size_t i = 0; i < std::min(runsA.size(), runsB.size()); ++i) {
        std::string_view runA = runsA[i], runB = runsB[i];
        if (IsDigit(runA.front()) && IsDigit(runB.front())) {
            runA = WithoutZeros(runA);
            runB = WithoutZeros(runB);
            if (runA.size() != runB.size()) {
                return runA.size() < runB.size();
            }
        }
        if (runA != runB) {
            return runA < runB;
        }
    }
    return runsA.size() != runsB.size() ? runsA.size() < runsB.size() : a < b;
}

/// "name_%04d.obj": what is before the number, after it, and how many digits it has at least.
struct Pattern {
    fs::path folder;
    std::string prefix;
    std::string suffix;
    std::size_t width = 0;

    std::string NameOf(std::size_t number) const {
        const std::string digits = std::to_string(number);
        return prefix + std::string(width - std::min(width, digits.size()), '0') + digits + suffix;
    }

    std::optional<std::size_t> NumberOf(const std::string& name) const {
        std::size_t number = 0;
        if (name.size() <= prefix.size() + suffix.size() ||
            !ParseNumber(std::string_view(name).substr(prefix.size(), name.size() - prefix.size() - suffix.size()),
                         number) ||
            NameOf(number) != name) {
            return std::nullopt;
        }
        return number;
    }
};

std::optional<Pattern> ParsePattern(const std::string& input) {
    const fs::path path(input);
    const std::string name = path.filename().string();
    const std::size_t percent = name.find('%');
    if (percent == std::string::npos) {
        return std::nullopt;
    }
    std::size_t end = percent + 1;
    while (end < name.size() && IsDigit(name[end])) {
        ++end;
    }
    const std::string_view width = std::string_view(name).substr(percent + 1, end - percent - 1);
    Pattern pattern{path.parent_path(), name.substr(0, percent), "", 0};
    if (end == name.size() || name[end] != 'd' || (!width.empty() && !ParseNumber(width, pattern.width)) ||
        pattern.width > 18 || (pattern.width > 0 && width.front() != '0')) {
        throw InputError(input + ": a pattern needs a number in the file name, such as %d or %04d");
    }
    pattern.suffix = name.substr(end + 1);
    return pattern;
}

std::vector<fs::path> FilesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code error;
    fs::directory_iterator entries(folder.empty() ? fs::path(".") : folder, error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        std::error_code ignored;
        if (entries->is_regular_file(ignored)) {
            files.push_back(folder / entries->path().filename());
        }
    }
    if (error) {
        throw InputError(folder.string() + ": the folder cannot be read: " + error.message());
    }
    return files;
}

FileSequence FilesOfPattern(const std::string& input, const Pattern& pattern) {
    std::map<std::size_t, std::string> files;
    for (const fs::path& file : FilesIn(pattern.folder)) {
        if (const std::optional<std::size_t> number = pattern.NumberOf(file.filename().string())) {
            files[*number] = file.string();
        }
    }
    if (files.empty()) {
        throw InputError(input + ": no such files");
    }
    FileSequence sequence;
    for (const auto& [number, path] : files) {
        sequence.numbers.push_back(number);
        sequence.paths.push_back(path);
    }
    return sequence;
}

std::vector<std::string> FilesOfGlob(const std::string& input) {
    glob_t found{};
    std::vector<std::string> files;
    if (::glob(input.c_str(), 0, nullptr, &found) == 0) {
        for (std::size_t i = 0; i < found.gl_pathc; ++i) {
            std::error_code ignored;
            if (fs::is_regular_file(found.gl_pathv[i], ignored)) {
                files.emplace_back(found.gl_pathv[i]);
            }
        }
    }
    ::globfree(&found);
    return files;
}

std::size_t KindOf(const std::string& path, const FileKinds& kinds) {
    const std::string extension = ExtensionOf(path);
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
        if (std::find(kinds[kind].begin(), kinds[kind].end(), extension) != kinds[kind].end()) {
            return kind;
        }
    }
    return kinds.size();
}

void CheckKinds(const std::vector<std::string>& paths, const FileKinds& kinds, const std::string& input,
                const std::string& what) {
    for (const std::string& path : paths) {
        const std::size_t kind = KindOf(path, kinds);
        if (kind == kinds.size()) {
            std::string names;
            for (const auto& extensions : kinds) {
                names += (names.empty() ? "" : ", ") + extensions.front();
            }
            throw InputError(path + ": its name is not that of a " + what + " (" + names + ")");
        }
        if (kind != KindOf(paths.front(), kinds)) {
            throw InputError(input + ": there are files of two formats, such as " + paths.front() + " and " + path +
                             "; choose one of them with a pattern");
        }
    }
}

/// For each name, the one number in which the names differ; none when they differ in anything else.
std::optional<std::vector<std::size_t>> NumbersIn(const std::vector<std::string>& paths) {
    std::vector<std::vector<std::string_view>> runs;
    std::optional<std::size_t> differing;
    for (const std::string& path : paths) {
        runs.push_back(RunsOf(path));
        if (runs.back().size() != runs.front().size()) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < runs.back().size(); ++i) {
            if (runs.back()[i] != runs.front()[i]) {
                if (differing.value_or(i) != i || !IsDigit(runs.back()[i].front())) {
                    return std::nullopt;
                }
                differing = i;
            }
        }
    }
    if (!differing) {
        return std::nullopt;
    }
    std::vector<std::size_t> numbers;
    for (const auto& name : runs) {
        std::size_t number = 0;
        if (!ParseNumber(name[*differing], number)) {
            return std::nullopt;
        }
        numbers.push_back(number);
    }
    return numbers;
}

/// Names in a folder may count in steps, of which the smallest is taken.
void CheckGaps(const FileSequence& sequence, const std::string& input, FileRange range) {
    const std::vector<std::string> paths(sequence.paths.begin() + static_cast<std::ptrdiff_t>(range.begin),
                                         sequence.paths.begin() + static_cast<std::ptrdiff_t>(range.end));
    const std::optional<std::vector<std::size_t>> numbers = NumbersIn(paths);
    if (!numbers) {
        return;
    }
    std::size_t step = SIZE_MAX;
    for (std::size_t i = 1; i < numbers->size(); ++i) {
        if ((*numbers)[i] == (*numbers)[i - 1]) {
            throw InputError(input + ": " + paths[i - 1] + " and " + paths[i] + " have the same number");
        }
        step = std::min(step, (*numbers)[i] - (*numbers)[i - 1]);
    }
    for (std::size_t i = 1; i < numbers->size(); ++i) {
        if ((*numbers)[i] - (*numbers)[i - 1] != step) {
            throw InputError(input + ": frame " + std::to_string((*numbers)[i - 1] + step) +
                             " is missing: " + paths[i - 1] + " is followed by " + paths[i]);
        }
    }
}

void CheckGaps(const FileSequence& sequence, const Pattern& pattern, FileRange range) {
    for (std::size_t i = range.begin + 1; i < range.end; ++i) {
        if (sequence.numbers[i] != sequence.numbers[i - 1] + 1) {
            throw InputError((pattern.folder / pattern.NameOf(sequence.numbers[i - 1] + 1)).string() +
                             ": missing in the sequence: " + sequence.paths[i - 1] + " is followed by " +
                             sequence.paths[i]);
        }
    }
}

/// Puts the files in order and numbers them.
FileSequence Ordered(std::vector<std::string> paths, const FileKinds& kinds, const std::string& input,
                     const std::string& what) {
    std::sort(paths.begin(), paths.end(), NaturallyLess);
    CheckKinds(paths, kinds, input, what);
    FileSequence sequence;
    sequence.paths = std::move(paths);
    for (std::size_t i = 0; i < sequence.paths.size(); ++i) {
        sequence.numbers.push_back(i);
    }
    return sequence;
}

bool IsPattern(const std::string& input) {
    std::error_code ignored;
    return input.find('%') != std::string::npos && !fs::exists(input, ignored);
}

}  // namespace

std::string ExtensionOf(const std::string& path) {
    std::string extension = fs::path(path).extension().string();
    extension.erase(0, 1);
    for (char& c : extension) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return extension;
}

FileSequence FindFiles(const std::string& input, const FileKinds& kinds, const std::string& what) {
    std::error_code error;
    FileSequence sequence;
    if (IsPattern(input)) {
        const std::optional<Pattern> pattern = ParsePattern(input);
        if (!pattern) {
            throw InputError(input + ": a pattern's number must be in the file name");
        }
        sequence = FilesOfPattern(input, *pattern);
        CheckKinds(sequence.paths, kinds, input, what);
        return sequence;
    }
    if (fs::is_directory(input, error)) {
        for (const fs::path& file : FilesIn(input)) {
            const bool isHidden =
                file.filename().string().front() == '.';  // "._scan.obj" is how macOS keeps attributes
            if (!isHidden && KindOf(file.string(), kinds) != kinds.size()) {
                sequence.paths.push_back(file.string());
            }
        }
        if (sequence.paths.empty()) {
            throw InputError(input + ": no " + what + " in this folder");
        }
    } else if (fs::exists(input, error)) {
        sequence.paths.push_back(input);
    } else if (input.find_first_of("*?[") != std::string::npos) {
        sequence.paths = FilesOfGlob(input);
        if (sequence.paths.empty()) {
            throw InputError(input + ": no such files");
        }
    } else {
        throw InputError(input + ": no such file or folder");
    }
    return Ordered(std::move(sequence.paths), kinds, input, what);
}

FileSequence FindFiles(std::vector<std::string> paths, const FileKinds& kinds, const std::string& what) {
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_regular_file(path, error)) {
            throw InputError(path + (fs::exists(path, error) ? ": not a file; with several inputs, each must be one"
                                                             : ": no such file"));
        }
    }
    return Ordered(std::move(paths), kinds, "the files given", what);
}

bool IsOfKind(const std::string& path, const FileKinds& kinds) {
    return KindOf(path, kinds) != kinds.size();
}

std::optional<std::vector<std::size_t>> NumbersInNames(const FileSequence& sequence, const std::string& input) {
    return IsPattern(input) ? sequence.numbers : NumbersIn(sequence.paths);
}

FileRange RangeOf(const FileSequence& sequence, const std::string& input, std::optional<std::size_t> first,
                  std::optional<std::size_t> last) {
    const std::vector<std::size_t>& numbers = sequence.numbers;
    const auto find = [&](std::size_t number) {
        const auto found = std::find(numbers.begin(), numbers.end(), number);
        if (found == numbers.end()) {
            throw std::invalid_argument(input + ": there is no frame " + std::to_string(number) + "; frames are " +
                                        std::to_string(numbers.front()) + " to " + std::to_string(numbers.back()));
        }
        return static_cast<std::size_t>(found - numbers.begin());
    };
    const FileRange range{first ? find(*first) : 0, last ? find(*last) + 1 : numbers.size()};
    if (range.begin >= range.end) {
        throw std::invalid_argument(input + ": the last frame asked for is before the first");
    }
    if (IsPattern(input)) {
        CheckGaps(sequence, *ParsePattern(input), range);
    } else {
        CheckGaps(sequence, input, range);
    }
    return range;
}

}  // namespace Nimb::Authoring
