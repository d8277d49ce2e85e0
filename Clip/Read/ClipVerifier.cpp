#include "Clip/Read/ClipVerifier.h"

#include "Clip/Read/ClipAttributes.h"
#include "Clip/Read/ClipMeshes.h"
#include "Clip/Read/ClipPictures.h"
#include "Clip/Read/MeshChecks.h"
#include "Clip/Read/MeshFrameScanner.h"

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

namespace Nimb::Authoring {
namespace {

using Nimb::Clip::SampleMesh;

// What the player expects of the file's tracks.
constexpr std::size_t c_VideoTrack = 0;
constexpr std::size_t c_AudioTrack = 1;
constexpr int c_SampleRate = 48000;
constexpr int c_Channels = 2;

std::string SizeText(int width, int height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

class Verifier {
public:
    Verifier(const std::string& path, const std::function<void(const ClipProblem&)>& onProblem)
        : m_Reader(path), m_Attributes(ReadClipAttributes(path)), m_Meshes(m_Reader), m_OnProblem(onProblem) {
        const std::optional<std::size_t> video = m_Reader.VideoTrack();
        if (!video) {
            throw InputError(path + ": has no video track, so it has no frames");
        }
        m_Video = *video;
    }

    VerifyResult Run(const std::function<void(std::size_t)>& onProgress) {
        CheckBoxes();
        CheckTracks();
        CheckAttributes();
        OpenDecoders();
        ClipSample sample;
        while (m_Reader.Read(sample)) {
            if (sample.track == m_Video) {
                CheckFrame(sample);
                onProgress(++m_Result.frames);
            } else if (sample.track < m_Sounds.size() && m_Sounds[sample.track] != nullptr) {
                CheckSound(sample);
            }
            ++m_SamplesRead[sample.track];
        }
        EndPictures();
        EndUndefinedRun();
        CheckEnd();
        return m_Result;
    }

private:
    void Report(const std::string& kind, std::optional<std::size_t> frame, std::optional<UINT64> offset,
                const std::string& text) {
        ++m_Result.problems;
        m_OnProblem({kind, frame, offset, text});
    }

    void CheckBoxes();
    void CheckTracks();
    void CheckAttributes();
    void OpenDecoders();
    void CheckFrame(const ClipSample& sample);
    void CheckTimes(const ClipSample& sample);
    void CheckMeshUnit(const ClipSample& sample, const SampleMesh& mesh);
    void CheckMeshFrame(const ClipSample& sample, const SampleMesh& mesh);
    void FollowDamage(std::size_t frame, UINT64 offset, const MeshFrameLayout& layout, bool isDamaged);
    void EndUndefinedRun();
    void CheckFrameId(std::size_t frame, UINT64 offset, const MeshFrameLayout& layout);
    void CheckPicture(const ClipSample& sample);
    void TakePicture(const ClipPicture& picture);
    void EndPictures();
    void CheckSound(const ClipSample& sample);
    void CheckEnd();

    ClipReader m_Reader;
    const ClipAttributes m_Attributes;
    ClipMeshes m_Meshes;
    const std::function<void(const ClipProblem&)>& m_OnProblem;
    std::size_t m_Video = 0;
    VerifyResult m_Result;
    std::map<std::size_t, std::size_t> m_SamplesRead;  // by track

    MeshFrameScanner m_Scanner;
    std::unique_ptr<ClipPictures> m_Pictures;          // null: there is no decoder
    std::vector<std::unique_ptr<ClipSound>> m_Sounds;  // by track

    std::map<std::size_t, UINT64> m_PicturesDue;  // samples in the decoder, with their offsets
    std::optional<std::int64_t> m_LastTime;
    std::optional<std::size_t> m_FirstOutOfOrder;
    UINT64 m_FirstOutOfOrderOffset = 0;
    std::size_t m_OutOfOrder = 0;

    std::optional<std::size_t> m_DamagedFrame;  // that the frames from here on build on
    std::size_t m_UndefinedFrames = 0;          // that decoded since
    std::size_t m_FirstUndefined = 0;
    UINT64 m_FirstUndefinedOffset = 0;

    std::optional<UINT32> m_LastFrameId;
    bool m_StoresNormals = false;
};

void Verifier::CheckBoxes() {
    const Media::FileBoxes& boxes = m_Reader.Boxes();
    for (const Media::FileBox& box : boxes.boxes) {
        if (box.type.empty()) {
            Report("file-damaged", {}, box.offset,
                   "the last " + std::to_string(box.size) + " bytes of the file do not form a box");
        } else if (boxes.IsCut(box)) {
            Report("file-damaged", {}, box.offset,
                   "the box '" + box.type + "' has " + std::to_string(box.size) + " bytes, but the file holds only " +
                       std::to_string(boxes.fileSize - box.offset) + " of them");
        }
    }
}

void Verifier::CheckTracks() {
    std::size_t videoTracks = 0;
    std::size_t audioTracks = 0;
    for (std::size_t i = 0; i < m_Reader.Tracks().size(); ++i) {
        const ClipTrack& track = m_Reader.Tracks()[i];
        const std::string name = "track " + std::to_string(i);
        if (track.kind == ClipTrack::Kind::Video) {
            if (++videoTracks > 1) {
                Report("track-layout", {}, {}, name + " is another video track; players stall at its samples");
            } else if (i != c_VideoTrack) {
                Report("track-layout", {}, {}, "the video is track " + std::to_string(i) + "; players take track 0");
            }
            if (track.codec != "h264") {
                Report("video-codec", {}, {}, name + " is " + track.codec + ", not H.264");
            }
        } else if (track.kind == ClipTrack::Kind::Audio) {
            if (++audioTracks > 1) {
                Report("track-layout", {}, {}, name + " is another audio track; players stall at its samples");
            } else if (i != c_AudioTrack) {
                Report("track-layout", {}, {}, "the audio is track " + std::to_string(i) + "; players take track 1");
            }
            if (track.codec != "aac") {
                Report("audio-format", {}, {}, name + " is " + track.codec + ", not AAC");
            }
            if (track.sampleRate != c_SampleRate || track.channels != c_Channels) {
                Report("audio-format", {}, {},
                       name + " has " + std::to_string(track.sampleRate) + " samples a second and " +
                           std::to_string(track.channels) + " channels; players expect 48000 and 2");
            }
        }
    }
}

void Verifier::CheckAttributes() {
    if (!m_Attributes.values) {
        Report("attributes-missing", {}, m_Attributes.offset,
               m_Attributes.problem + " (`nimb remux` writes the attributes anew)");
        return;
    }
    const FileAttributes& values = *m_Attributes.values;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        // The negation catches NaN.
        if (!(values.bboxMin[axis] <= values.bboxMax[axis])) {
            Report("box-invalid", {}, m_Attributes.offset,
                   std::string("the attribute atom's bounding box is turned inside out: ") + "xyz"[axis] + " from " +
                       std::to_string(values.bboxMin[axis]) + " to " + std::to_string(values.bboxMax[axis]));
        }
    }
    if (values.hasVertexNormals.value_or(0) > 1) {
        Report("attributes-normals", {}, m_Attributes.offset,
               "the attribute atom's flag for normals is " + std::to_string(*values.hasVertexNormals) + ", not 0 or 1");
    }
}

void Verifier::OpenDecoders() {
    try {
        m_Pictures = std::make_unique<ClipPictures>(m_Reader, m_Video, false);
    } catch (const InputError& error) {
        Report("picture-damaged", {}, {}, error.what());
    }
    m_Sounds.resize(m_Reader.Tracks().size());
    for (std::size_t i = 0; i < m_Sounds.size(); ++i) {
        if (m_Reader.Tracks()[i].kind == ClipTrack::Kind::Audio) {
            try {
                m_Sounds[i] = std::make_unique<ClipSound>(m_Reader, i);
            } catch (const InputError& error) {
                Report("audio-damaged", {}, {}, error.what());
            }
        }
    }
}

void Verifier::CheckFrame(const ClipSample& sample) {
    CheckTimes(sample);
    if (sample.isCut) {
        Report("sample-damaged", sample.number, sample.offset, "the file ends inside the sample");
    } else if (!sample.damage.empty()) {
        Report("sample-damaged", sample.number, sample.offset, "the sample cannot be played: " + sample.damage);
    }
    const SampleMesh& mesh = m_Meshes.Find(sample);
    if (sample.damage.empty()) {
        CheckMeshUnit(sample, mesh);
    }
    if (mesh.isFound) {
        CheckMeshFrame(sample, mesh);
    }
    CheckPicture(sample);
}

/// Players match pictures and meshes by their order, so pictures must come out in the order of the file.
void Verifier::CheckTimes(const ClipSample& sample) {
    const bool isReordered =
        sample.presentationTime && sample.decodeTime && m_LastTime && *sample.presentationTime <= *m_LastTime;
    if (isReordered && m_OutOfOrder++ == 0) {
        m_FirstOutOfOrder = sample.number;
        m_FirstOutOfOrderOffset = sample.offset;
    }
    if (sample.presentationTime) {
        m_LastTime = m_LastTime ? std::max(*m_LastTime, *sample.presentationTime) : *sample.presentationTime;
    }
}

void Verifier::CheckMeshUnit(const ClipSample& sample, const SampleMesh& mesh) {
    const auto report = [&](const std::string& kind, const std::string& text) {
        Report(kind, sample.number, sample.offset + mesh.offset, text);
    };
    if (!mesh.isFound) {
        if (mesh.unitCount == 0) {
            report("mesh-missing", "the sample has no mesh");
        } else {
            report("mesh-damaged", "the mesh unit cannot be read: it says that its payload has " +
                                       std::to_string(static_cast<INT32>(mesh.payloadBytes)) + " bytes");
        }
        return;
    }
    if (mesh.unitCount != 0 && !mesh.isPayloadInUnit) {
        report("mesh-damaged", "the mesh unit says that its payload has " + std::to_string(mesh.payloadBytes) +
                                   " bytes, which reach beyond the unit");
    }
    if (mesh.unitCount > 1) {
        report("mesh-position", "the sample has " + std::to_string(mesh.unitCount) + " meshes; players take the first");
    }
    if (mesh.isBehindSlice) {
        report("mesh-position", "the mesh unit comes after a slice of the picture; it belongs before the first");
    }
}

void Verifier::CheckMeshFrame(const ClipSample& sample, const SampleMesh& mesh) {
    const UINT64 offset = sample.offset + mesh.offset;
    const ReportProblem report = [&](const std::string& kind, const std::string& text) {
        Report(kind, sample.number, offset, text);
    };
    const MeshFrameLayout layout = m_Scanner.Scan(mesh.frame);
    const DecodedMesh decoded = m_Meshes.Decode(sample.number);
    const bool lacksKeyFrame = std::any_of(layout.subFrames.begin(), layout.subFrames.end(),
                                           [](const SubFrameLayout& sub) { return !sub.hasKeyFrame; });
    std::string damage;
    if (!decoded.error.empty()) {
        damage = decoded.error + (layout.problem.empty() ? "" : " (" + layout.problem + ")");
    } else if (decoded.missingBytes != 0) {
        damage = "the mesh ends " + std::to_string(decoded.missingBytes) + " bytes too early" +
                 (layout.problem.empty() ? "" : " (" + layout.problem + ")");
    } else if (decoded.unusedBytes != 0) {
        report("mesh-damaged", std::to_string(decoded.unusedBytes) + " bytes are left over after the mesh");
    }
    if (!damage.empty()) {
        report(lacksKeyFrame ? "mesh-key-missing" : "mesh-damaged", damage);
    }
    FollowDamage(sample.number, offset, layout, !damage.empty());
    if (!damage.empty()) {
        return;
    }
    m_StoresNormals = m_StoresNormals || layout.HasNormals();
    CheckHeaders(layout, m_Attributes.values, report);
    CheckMesh(decoded, layout, report);
    CheckFrameId(sample.number, offset, layout);
}

/// What a damaged frame leaves in the decoder is undefined until the next key frame.
void Verifier::FollowDamage(std::size_t frame, UINT64 offset, const MeshFrameLayout& layout, bool isDamaged) {
    if (isDamaged) {
        if (!m_DamagedFrame) {
            m_DamagedFrame = frame;
        }
    } else if (layout.IsKeyFrame()) {
        EndUndefinedRun();
    } else if (m_DamagedFrame && m_UndefinedFrames++ == 0) {
        m_FirstUndefined = frame;
        m_FirstUndefinedOffset = offset;
    }
}

void Verifier::EndUndefinedRun() {
    if (m_UndefinedFrames != 0) {
        Report("mesh-undefined", m_FirstUndefined, m_FirstUndefinedOffset,
               "from here, " + std::to_string(m_UndefinedFrames) + " delta frames build on the damaged frame " +
                   std::to_string(*m_DamagedFrame));
    }
    m_DamagedFrame.reset();
    m_UndefinedFrames = 0;
}

/// Only ids that frames store; for a frame without one, players compute it.
void Verifier::CheckFrameId(std::size_t frame, UINT64 offset, const MeshFrameLayout& layout) {
    const UINT32 id = layout.header.m_FrameId;
    if (m_LastFrameId && id == 0) {
        Report("frame-id", frame, offset, "the frame has no frame id, unlike earlier ones");
    } else if (m_LastFrameId && id <= *m_LastFrameId) {
        Report("frame-id", frame, offset,
               "frame id " + std::to_string(id) + " follows frame id " + std::to_string(*m_LastFrameId));
    }
    for (const SubFrameLayout& sub : layout.subFrames) {
        if (layout.isTemporal && sub.header.m_FrameId != 0 && sub.header.m_FrameId != id) {
            Report("frame-id", frame, offset,
                   "sub-mesh " + std::to_string(sub.header.m_SubMeshId) + " has frame id " +
                       std::to_string(sub.header.m_FrameId) + ", the frame has " + std::to_string(id));
        }
    }
    if (id != 0) {
        m_LastFrameId = id;
    }
}

void Verifier::CheckPicture(const ClipSample& sample) {
    if (m_Pictures == nullptr || sample.byteStream.empty()) {
        return;
    }
    m_PicturesDue[sample.number] = sample.offset;
    const std::string problem = m_Pictures->Decode(sample, [this](ClipPicture&& picture) { TakePicture(picture); });
    if (!problem.empty()) {
        Report("picture-damaged", sample.number, sample.offset, "the picture cannot be decoded: " + problem);
        m_PicturesDue.erase(sample.number);
    }
}

void Verifier::TakePicture(const ClipPicture& picture) {
    const auto due = m_PicturesDue.find(picture.number);
    if (due == m_PicturesDue.end()) {
        return;  // was reported already
    }
    const UINT64 offset = due->second;
    m_PicturesDue.erase(due);
    if (picture.isDamaged) {
        Report("picture-damaged", picture.number, offset, "the picture is damaged; the decoder made up some of it");
    }
    const ClipTrack& track = m_Reader.Tracks()[m_Video];
    if (picture.width != track.width || picture.height != track.height) {
        Report("picture-damaged", picture.number, offset,
               "the picture is " + SizeText(picture.width, picture.height) + ", the track says " +
                   SizeText(track.width, track.height));
    }
}

void Verifier::EndPictures() {
    if (m_Pictures == nullptr) {
        return;
    }
    m_Pictures->Finish([this](ClipPicture&& picture) { TakePicture(picture); });
    for (const auto& [number, offset] : m_PicturesDue) {
        Report("picture-damaged", number, offset, "the sample yields no picture");
    }
}

void Verifier::CheckSound(const ClipSample& sample) {
    const std::string problem = m_Sounds[sample.track]->Decode(sample);
    if (!problem.empty() || sample.isCut) {
        Report("audio-damaged", {}, sample.offset,
               "sample " + std::to_string(sample.number) + " of track " + std::to_string(sample.track) + " " +
                   (sample.isCut ? "is cut off by the file's end" : "cannot be decoded: " + problem));
    }
}

/// What can only be said once the whole file has been read.
void Verifier::CheckEnd() {
    if (m_FirstOutOfOrder) {
        Report("sample-order", m_FirstOutOfOrder, m_FirstOutOfOrderOffset,
               "the video is reordered (B frames): " + std::to_string(m_OutOfOrder) +
                   " samples are shown before an earlier one, and this is the first; players show them with the wrong "
                   "meshes");
    }
    for (std::size_t i = 0; i < m_Reader.Tracks().size(); ++i) {
        const ClipTrack& track = m_Reader.Tracks()[i];
        if (track.kind != ClipTrack::Kind::Other && m_SamplesRead[i] < track.sampleCount) {
            Report("file-damaged", {}, {},
                   "only " + std::to_string(m_SamplesRead[i]) + " of the " + std::to_string(track.sampleCount) +
                       " samples of track " + std::to_string(i) + " can be read" +
                       (m_Reader.EndReason().empty() ? "" : ": " + m_Reader.EndReason()));
        }
    }
    if (m_Result.frames == 0) {
        Report("file-damaged", {}, {}, "there are no frames");
    }
    if (!m_Attributes.values) {
        return;
    }
    const FileAttributes& values = *m_Attributes.values;
    if (values.frameCount != m_Result.frames) {
        Report("attributes-count", {}, m_Attributes.offset,
               "the attribute atom says " + std::to_string(values.frameCount) + " frames, but the file has " +
                   std::to_string(m_Result.frames));
    }
    if (values.hasVertexNormals && (*values.hasVertexNormals == 1) != m_StoresNormals) {
        Report("attributes-normals", {}, m_Attributes.offset,
               m_StoresNormals ? "the attribute atom says that there are no normals, but frames store some"
                               : "the attribute atom says that there are normals, but no frame stores any");
    }
}

}  // namespace

VerifyResult VerifyClip(const std::string& path, const std::function<void(const ClipProblem&)>& onProblem,
                        const std::function<void(std::size_t)>& onProgress) {
    return Verifier(path, onProblem).Run(onProgress);
}

}  // namespace Nimb::Authoring
