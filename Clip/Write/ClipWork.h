// Everything about a clip that is decided before the first frame is encoded.
#pragma once

#include "Clip/Write/AtlasPictures.h"
#include "Clip/Write/ClipEncoder.h"
#include "Clip/Write/ClipPlan.h"
#include "Clip/Write/FrameRate.h"
#include "Clip/Write/SubMeshSource.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// Of every encoder of the clip's pictures.
VideoTrackOptions PictureOptions(const EncodeOptions& options, const PictureSize& size, const FrameRate& rate);

/// What a plan says about its clip.
ClipExamination ExaminationOf(const ClipPlan& plan, const EncodeOptions& options, const PictureSize& atlas,
                              double frameRate);

/// Cannot be moved: its members refer to each other. Keeps a reference to the source. Any thread may read it.
class ClipWork {
public:
    /// Examines the source. Throws what ExamineClip throws.
    ClipWork(const MeshSource& source, const EncodeOptions& options, const EncodeProgress& progress);

    /// With a plan that was made of this source before, with the same options.
    ClipWork(const MeshSource& source, const EncodeOptions& options, ClipPlan plan);

    ClipWork(const ClipWork&) = delete;
    ClipWork& operator=(const ClipWork&) = delete;

    ClipExamination Examination() const { return ExaminationOf(plan, options, pictures.Layout().size, rate.Value()); }
    VideoTrackOptions VideoOptions() const { return PictureOptions(options, pictures.Layout().size, rate); }
    CodingOptions MeshOptions(const MeshSegment& segment) const;
    std::size_t PictureInterval() const;  ///< from one key picture to the next

    const EncodeOptions options;
    const FrameRate rate;
    const std::size_t threads;
    const SubMeshSource subMeshes;
    ClipPlan plan;
    const AtlasPictures pictures;
};

}  // namespace Nimb::Authoring
