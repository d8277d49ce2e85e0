// In abort mode a violated check prints its text, where it stands and in which function, and ends the process.
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <vector>

namespace {

using NIMBCORE::CComPtr;
using NimbCrossPlatform::Buffer;
using NimbCrossPlatform::BufferAllocator;
using NimbCrossPlatform::Stream;

TEST(ObjectModelDeathTest, ViolationsAbortWithTheirText) {
    EXPECT_EQ(Nimb::GetAssertMode(), Nimb::AssertMode::Abort);
    const auto aborted = testing::KilledBySignal(SIGABRT);

    const CComPtr<Buffer> buffer(new Buffer(4));
    EXPECT_EXIT(buffer->LockBuffer(nullptr), aborted,
                "assertion failed: pLockedMemory \\(NimbCore/Buffer.cpp:[0-9]+, in \".*LockBuffer.*\"\\)");

    CComPtr<INimbBuffer> empty;
    EXPECT_EXIT(empty->UnlockBuffer(), aborted, "assertion failed: p != __null .*operator->");
    CComPtr<BufferAllocator> filled(new BufferAllocator);
    EXPECT_EXIT((void)&filled, aborted, "assertion failed: p == __null .*operator&");

    EXPECT_EXIT(Stream(nullptr, 8, 9), aborted, "assertion failed: position <= size");
    EXPECT_EXIT(NimbCrossPlatform::ReadXtraAttributes("", 0, nullptr), aborted,
                "assertion failed: attributes != nullptr");
    EXPECT_EXIT(NimbCrossPlatform::IsValidStreamingURL(nullptr), aborted, "assertion failed: url != nullptr");
}

TEST(ObjectModelDeathTest, AddRefDuringDestructionAborts) {
    class Reviving : public Nimb::CNimbRefCount {
    public:
        ~Reviving() override { AddRef(); }
    };
    const auto destroy = [] {
        Reviving* const object = new Reviving;
        object->AddRef();
        object->Release();
    };
    EXPECT_EXIT(destroy(), testing::KilledBySignal(SIGABRT), "assertion failed: m_DestructionFlag == 0 .*AddRef");
}

TEST(MeshPayload, BadSamplesAreRefusedNotViolations) {
    std::vector<BYTE> sample = {0, 0, 1, 0x18, 'T', 'A', 'R', 'N', 9, 9, 9, 9, 0,
                                0, 3, 0, 0,    9,   9,   9,   9,   9, 9, 9, 9, 9};
    const std::vector<BYTE> payload = {0, 0, 3, 0, 0, 0, 3, 0};  // eight bytes as stored, six unescaped
    sample.insert(sample.end(), payload.begin(), payload.end());
    for (int size = 0; size <= 9; ++size) {
        sample[12] = static_cast<BYTE>(size);
        EXPECT_EQ(NimbCrossPlatform::FindCompressedMesh(sample.data(), sample.size()), nullptr) << size;
    }
    sample[16] = 0x80;
    EXPECT_EQ(NimbCrossPlatform::FindCompressedMesh(sample.data(), sample.size()), nullptr);
}

TEST(ObjectModelDeathTest, SinkIsToldBeforeTheProcessEnds) {
    const auto violate = [] {
        Nimb::SetAssertionSink([](const Nimb::AssertionInfo& info) { std::fprintf(stderr, "sink: %s\n", info.text); });
        NIMB_ASSERT_MSG(false, "told");
    };
    EXPECT_EXIT(violate(), testing::KilledBySignal(SIGABRT), "^sink: told\n");
}

}  // namespace
