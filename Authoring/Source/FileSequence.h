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

/// The files that `input` means, in order. From a folder, only those of one of the `kinds`, and no hidden ones (".*");
/// all must be of one kind. `what` says in messages what is being looked for, as in "mesh file". Throws InputError.
FileSequence FindFiles(const std::string& input, const FileKinds& kinds, const std::string& what);

/// The same for files given one by one, in any order.
FileSequence FindFiles(std::vector<std::string> paths, const FileKinds& kinds, const std::string& what);

/// Whether the path has an extension of any of the kinds.
bool IsOfKind(const std::string& path, const FileKinds& kinds);

/// Positions of the first file of the range, and of the one after its last. Throws InputError for a range that the
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
