#include "Tools/nimb/ComparePage.h"
namespace Nimb::Tool {
void WriteComparePage(const std::string&, bool, const CompareReport&, CompareStage&, const Authoring::MeshSource&) {}
}  // namespace Nimb::Tool
