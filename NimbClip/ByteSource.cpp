#include "NimbClip/ByteSource.h"

#include "NimbClip/ClipFault.h"

#include <algorithm>
#include <string>

namespace Nimb {
namespace Clip {

void ByteSource::Read(std::uint64_t offset, std::uint64_t size, Bytes& bytes) const {
    constexpr std::uint64_t piece = std::uint64_t(4) << 20;
    bytes.clear();
    if (offset > m_Source.size || size > m_Source.size - offset) {
        throw ClipFault(NIMB_CLIP_DAMAGED, "the file ends before byte " + std::to_string(offset) + " + " +
                                               std::to_string(size) + ": it has " + std::to_string(m_Source.size));
    }
    while (bytes.size() < size) {
        const std::size_t begin = bytes.size();
        const std::size_t count = static_cast<std::size_t>(std::min(piece, size - begin));
        bytes.resize(begin + count);
        const std::int64_t got = m_Source.read(m_Source.user, offset + begin, bytes.data() + begin, count);
        if (got != static_cast<std::int64_t>(count)) {
            throw ClipFault(NIMB_CLIP_READ_FAILED,
                            "reading " + std::to_string(count) + " bytes at byte " + std::to_string(offset + begin) +
                                (got < 0 ? " failed" : " gave " + std::to_string(got) + " of them"));
        }
    }
}

}  // namespace Clip
}  // namespace Nimb
