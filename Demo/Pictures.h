// The two pictures that change with every frame: the juggler's face, counter and halo, and the stage.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Demo/Choreography.h"

#include <cstddef>

namespace Nimb::Authoring::Demo {

/// `number` is what the counter on the chest shows, below 1000.
Image DisplayPicture(const Pose& pose, std::size_t number);

/// Lights that go around with the beat, and the shadows of what is above.
Image StagePicture(const Pose& pose);

}  // namespace Nimb::Authoring::Demo
