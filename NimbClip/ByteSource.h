// The bytes of a clip's file, through the caller's callback.
#pragma once

#include "Nimb/NimbInterfaces.h"
#include "NimbClip/nimb_clip.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Nimb {
namespace Clip {

using Bytes = std::vector<BYTE>;

class ByteSource {
public:
    explicit ByteSource(const nimb_clip_source& source) : m_Source(source) {}

    std::uint64_t Size() const { return m_Source.size; }

    /// Replaces `bytes` by these of the file. Throws ClipFault: READ_FAILED, or DAMAGED when the file ends before.
    /// Memory grows with what is delivered, whatever `size` claims.
    void Read(std::uint64_t offset, std::uint64_t size, Bytes& bytes) const;

private:
    nimb_clip_source m_Source;
};

}  // namespace Clip
}  // namespace Nimb
