// Any bytes as an EdgeBreaker stream: it decodes to one face per operation code, or fails where the bit-by-bit rule
// says that the data ends. Whatever decodes can be encoded again.
#include "Fuzz/Require.h"
#include "Tests/Support/EdgeBreakerModel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Nimb::SetAssertionSink([](const Nimb::AssertionInfo&) {});
    const std::vector<BYTE> bytes(data, data + size);
    NimbTest::Faces faces;
    const std::string violation = NimbTest::Decode(bytes, &faces);

    const std::optional<std::vector<int>> codes = NimbTest::ModelCodes(bytes);
    Require(codes.has_value() != (violation == NimbTest::c_EndOfData));
    if (violation.empty()) {
        std::size_t numOperations = 0;
        for (const int code : *codes) {
            numOperations += code != 5;
        }
        Require(faces.size() == numOperations && NimbTest::RoundTrip(faces).empty());
    }
    return 0;
}
