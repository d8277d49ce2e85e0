// The page that shows a comparison: one file that needs nothing else.
#pragma once

#include "Tools/nimb/CompareOutput.h"

#include <string>

namespace Nimb::Tool {

/// Goes to the worst frames once more for their pictures. Throws OutputError.
void WriteComparePage(const std::string& path, bool overwrite, const CompareReport& report, CompareStage& stage,
                      const Authoring::MeshSource& source);

}  // namespace Nimb::Tool
