// What the built library shows: the interface, the engine's entry points and the id objects, and nothing else.
#include "EngineStandIn/PluginLibrary.h"
#include "Tests/Support/TestClip.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

namespace ClipTest {
namespace {

std::set<std::string> ExpectedSymbols() {
    std::set<std::string> names;
#define NIMB_INSERT(name) names.insert(#name);
    NIMB_PLUGIN_FUNCTIONS(NIMB_INSERT)
    NIMB_PLUGIN_SEEK_FUNCTIONS(NIMB_INSERT)
    NIMB_PLUGIN_PLAY_RANGE_FUNCTIONS(NIMB_INSERT)
    NIMB_PLUGIN_CLOCK_FUNCTIONS(NIMB_INSERT)
    NIMB_PLUGIN_DEVICE_FUNCTIONS(NIMB_INSERT)
    NIMB_PLUGIN_SHOWN_FRAME_FUNCTIONS(NIMB_INSERT)
    NIMB_PLUGIN_TROUBLE_FUNCTIONS(NIMB_INSERT)
#undef NIMB_INSERT
    for (const char* id : {"IID_INimbAttributesCore", "IID_INimbBuffer", "NimbMediaType_VertexStream",
                           "NimbMediaType_IndexStream", "getPlayerFeatures"}) {
        names.insert(id);
    }
    for (const char* attribute :
         {"Version",           "Width",          "Height",        "Inverted",       "Stride",
          "NumVertices",       "NumFaces",       "NumIndices",    "BBoxMinX",       "BBoxMinY",
          "BBoxMinZ",          "BBoxMaxX",       "BBoxMaxY",      "BBoxMaxZ",       "UseTriList",
          "VertHasNormals",    "UseUnsignedUVs", "BBoxFull",      "FrameId",        "FrameTimestamp",
          "VertexFormatFlags", "IsKeyFrame",     "FrameCount",    "MaxVertexCount", "MaxIndexCount",
          "LocalFullPath",     "HasAudio",       "Duration100ns", "BitrateMbps",    "H264Wrapper",
          "HasVertexNormals"}) {
        names.insert(std::string("NimbAttrib_") + attribute);
    }
    return names;
}

TEST(Exports, AreExactlyTheInterface) {
    const CommandResult listing = RunCommand(NIMB_NM " -D --defined-only --format=posix " NIMB_PLUGIN_FILE);
    ASSERT_EQ(listing.status, 0) << listing.output;
    std::set<std::string> names;
    std::istringstream lines(listing.output);
    for (std::string line; std::getline(lines, line);) {
        names.insert(line.substr(0, line.find_first_of(" @")));
    }
    EXPECT_EQ(names, ExpectedSymbols());
    EXPECT_EQ(names.size(), 79u);
}

}  // namespace
}  // namespace ClipTest
