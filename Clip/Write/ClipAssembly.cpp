#include "Clip/Write/ClipAssembly.h"

#include "Clip/Write/AudioEncoder.h"
#include "Clip/Write/ClipWork.h"
#include "Clip/Write/FrameRate.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

namespace Nimb::Authoring {

ClipAssembly::ClipAssembly(const std::string& path, const EncodeOptions& options, ClipExamination clip,
                           SoundSource* audio)
    : m_Audio(audio),
      m_Writer(path, PictureOptions(options, clip.atlas, ExactFrameRate(clip.frameRate)),
               audio != nullptr ? std::optional(options.audio) : std::nullopt) {
    const Box& box = clip.box;
    m_Attributes.bboxMin = {box.min.x, box.min.y, box.min.z};
    m_Attributes.bboxMax = {box.max.x, box.max.y, box.max.z};
    m_Attributes.hasVertexNormals = options.normals ? 1u : 0u;
    m_Report.clip = std::move(clip);
    if (options.track) {
        m_Report.track.emplace();
    }
}

void ClipAssembly::Add(const EncodedSegment& segment) {
    for (std::size_t i = 0; i < segment.samples.size(); ++i) {
        m_Writer.AddSample(segment.samples[i].bytes, segment.samples[i].isKeyPicture);
        Note(segment.frames[i]);
        AddSound();
    }
}

void ClipAssembly::Note(const FrameNote& frame) {
    m_Attributes.maxVertexCount = std::max(m_Attributes.maxVertexCount, frame.vertices);
    m_Attributes.maxIndexCount = std::max(m_Attributes.maxIndexCount, frame.indices);
    if (frame.surfaceError > m_Report.maxError) {
        m_Report.maxError = frame.surfaceError;
        m_Report.maxErrorFrame = m_Attributes.frameCount;
    }
    if (frame.keyReason) {
        m_Report.keyFrames.push_back({m_Attributes.frameCount, *frame.keyReason});
    }
    if (frame.track && m_Report.track) {
        m_Report.track->push_back(*frame.track);
    }
    ++m_Attributes.frameCount;
}

/// Sound up to the end of the frames so far.
void ClipAssembly::AddSound() {
    if (m_Audio == nullptr) {
        return;
    }
    const auto end = static_cast<std::size_t>(
        std::llround(static_cast<double>(m_Attributes.frameCount) / m_Report.clip.frameRate * c_ClipSampleRate));
    const std::size_t count = end - m_SoundWritten;
    std::vector<float> samples(count * c_ClipChannels);  // stays silent where the sound has ended
    m_Audio->Read(samples.data(), count);
    m_Writer.AddAudio(samples.data(), count);
    m_SoundWritten = end;
}

EncodeReport ClipAssembly::Finish() {
    m_Writer.Finish(m_Attributes);
    m_Report.damagedAudioPackets = m_Audio != nullptr ? m_Audio->DamagedPackets() : 0;
    return m_Report;
}

}  // namespace Nimb::Authoring
