// Any list of triangles through the EdgeBreaker encoder and back. The first byte says among how many vertices the
// others choose: few of them make surfaces that touch, cross and repeat themselves.
#include "Tests/Support/EdgeBreakerModel.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const UINT32 numVertices = data[0] + 1u;
    NimbTest::Faces faces;
    for (std::size_t i = 1; i + 3 <= size; i += 3) {
        faces.push_back({{data[i] % numVertices, data[i + 1] % numVertices, data[i + 2] % numVertices}});
    }
    const std::string problem = NimbTest::RoundTrip(faces);
    if (!problem.empty()) {
        std::fprintf(stderr, "%s\n", problem.c_str());
        std::abort();
    }
    return 0;
}
