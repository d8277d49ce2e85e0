// Any bytes as a video sample: FindCompressedMesh finds what the step-by-step rule of the format finds, byte for byte.
#include "Fuzz/Require.h"
#include "Tests/Support/MeshPayloadModel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const NimbTest::Bytes sample(data, data + size);
    Require(NimbTest::ReadMeshFrame(sample) == NimbTest::ModelMeshFrame(sample));
    return 0;
}
