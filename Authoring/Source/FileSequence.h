// Which files a pattern, a glob, a folder or a single path means.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

struct FileSequence {
    std::vector<std::string> paths;    ///< never empty
    std::vector<std::size_t> numbers;  ///< ascending: those in the names for a "%d" pattern, otherwise from 0
};

/// Kinds of files by their extensions; the first of a kind's extensions names it.
using FileKinds = std::vector<std::vector<std::string>>;

/// The files that `input` means, in order. From folders only those of a kind of `kinds`, and none that are hidden
/// (named
/// ".*"); all must be of one kind.
/// `what` names in messages what is looked for, as in "mesh". Throws InputError.
FileSequence FindFiles(const std::string& input, const FileKinds& kinds, const std::string& what);

/// The same for files that are named one by one, in any order.
FileSequence FindFiles(std::vector<std::string> paths, const FileKinds& kinds, const std::string& what);

/// Whether the path ends as that of a file of any of the kinds.
bool IsOfKind(const std::string& path, const FileKinds& kinds);

/// Positions of the first file and behind the last that the range asks for. Throws InputError for a range that the
/// sequence does not have, and for a gap inside it, naming the missing file.
struct FileRange {
    std::size_t begin;
    std::size_t end;
};
FileRange RangeOf(const FileSequence& sequence, const std::string& input, std::optional<std::size_t> first,
                  std::optional<std::size_t> last);

/// The numbers that tell the files' names apart, for each file of what FindFiles(`input`) found; none when names differ
/// in anything else.
std::optional<std::vector<std::size_t>> NumbersInNames(const FileSequence& sequence, const std::string& input);

/// Lower-case extension without its dot.
std::string ExtensionOf(const std::string& path);

}  // namespace Nimb::Authoring
