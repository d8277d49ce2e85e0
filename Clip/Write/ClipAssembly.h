// The file of a clip, put together from its segments in order, and its sound.
#pragma once

#include "Clip/Write/ClipEncoder.h"
#include "Clip/Write/ClipSegment.h"
#include "Clip/Write/Mp4Writer.h"

#include <string>

namespace Nimb::Authoring {

/// Belongs to one thread. Methods throw ClipError, InputError for what is wrong with the sound.
class ClipAssembly {
public:
    /// `audio` may be null. See Mp4Writer for `path`.
    ClipAssembly(const std::string& path, const EncodeOptions& options, ClipExamination clip, SoundSource* audio);

    /// The next segment.
    void Add(const EncodedSegment& segment);

    /// Completes the file and gives it its name.
    EncodeReport Finish();

private:
    void Note(const FrameNote& frame);
    void AddSound();

    SoundSource* const m_Audio;
    Mp4Writer m_Writer;
    std::size_t m_SoundWritten = 0;  // samples
    FileAttributes m_Attributes;
    EncodeReport m_Report;
};

}  // namespace Nimb::Authoring
