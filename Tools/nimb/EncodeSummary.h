// What `nimb encode` says when it is done.
#pragma once

#include "Authoring/Clip/ClipEncoder.h"

#include <chrono>
#include <string>

namespace NimbTool {

void PrintSummary(const std::string& path, const Authoring::EncodeReport& report,
                  std::chrono::duration<double> elapsed);

}  // namespace NimbTool
