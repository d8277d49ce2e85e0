// Ids, reference counting, owning pointers, assertions in report mode, buffers with their attributes, and the stream.
#include "Nimb/NimbAssert.h"
#include "Nimb/NimbRefCount.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

using NIMBCORE::CComPtr;
using NimbCrossPlatform::Buffer;
using NimbCrossPlatform::BufferAllocator;
using NimbCrossPlatform::Stream;

/// A bare counted object that reports its destruction.
class Probe : public Nimb::CNimbRefCount {
public:
    explicit Probe(std::atomic<int>* destroyed) : m_Destroyed(destroyed) {}
    ~Probe() override { ++*m_Destroyed; }

private:
    std::atomic<int>* m_Destroyed;
};

// Other programs look values up by these ids, so no byte of them may change.
TEST(Ids, StoredBytes) {
    UINT64 hash = 0xCBF29CE484222325ull;
    for (const _GUID* const id : {&IID_INimbAttributesCore,
                                  &IID_INimbBuffer,
                                  &NimbMediaType_VertexStream,
                                  &NimbMediaType_IndexStream,
                                  &NimbAttrib_Version,
                                  &NimbAttrib_Width,
                                  &NimbAttrib_Height,
                                  &NimbAttrib_Inverted,
                                  &NimbAttrib_Stride,
                                  &NimbAttrib_NumVertices,
                                  &NimbAttrib_NumFaces,
                                  &NimbAttrib_NumIndices,
                                  &NimbAttrib_BBoxMinX,
                                  &NimbAttrib_BBoxMinY,
                                  &NimbAttrib_BBoxMinZ,
                                  &NimbAttrib_BBoxMaxX,
                                  &NimbAttrib_BBoxMaxY,
                                  &NimbAttrib_BBoxMaxZ,
                                  &NimbAttrib_UseTriList,
                                  &NimbAttrib_VertHasNormals,
                                  &NimbAttrib_UseUnsignedUVs,
                                  &NimbAttrib_BBoxFull,
                                  &NimbAttrib_FrameId,
                                  &NimbAttrib_FrameTimestamp,
                                  &NimbAttrib_VertexFormatFlags,
                                  &NimbAttrib_IsKeyFrame,
                                  &NimbAttrib_FrameCount,
                                  &NimbAttrib_MaxVertexCount,
                                  &NimbAttrib_MaxIndexCount,
                                  &NimbAttrib_LocalFullPath,
                                  &NimbAttrib_HasAudio,
                                  &NimbAttrib_Duration100ns,
                                  &NimbAttrib_BitrateMbps,
                                  &NimbAttrib_H264Wrapper,
                                  &NimbAttrib_HasVertexNormals}) {
        const BYTE* const stored = reinterpret_cast<const BYTE*>(id);
        for (std::size_t i = 0; i < 16; ++i) {
            hash = (hash ^ stored[i]) * 0x100000001B3ull;
        }
    }
    EXPECT_EQ(hash, 0xC28B084F412EBFD9ull);
}

TEST(Ids, OrderIsThatOfTheStoredBytes) {
    const _GUID storedFirst = {0x00000100, 0, 0, {}};  // 00 01 00 00
    const _GUID storedLast = {0x00000001, 0, 0, {}};   // 01 00 00 00
    EXPECT_TRUE(storedFirst < storedLast);
    EXPECT_FALSE(storedLast < storedFirst);
    const _GUID high = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0x80}};
    const _GUID low = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0x7F}};
    EXPECT_TRUE(low < high) << "bytes are unsigned";
    EXPECT_FALSE(low < low);
}

TEST(RefCount, ConcurrentReleasesDestroyOnce) {
    constexpr int c_Threads = 4;
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> destroyed{0};
        std::atomic<int> zeros{0};
        std::atomic<int> ready{0};
        Probe* const probe = new Probe(&destroyed);
        for (int i = 0; i < c_Threads; ++i) {
            probe->AddRef();
        }
        std::vector<std::thread> threads;
        for (int i = 0; i < c_Threads; ++i) {
            threads.emplace_back([&] {
                for (++ready; ready != c_Threads;) {
                    std::this_thread::yield();
                }
                probe->AddRef();
                probe->Release();
                zeros += probe->Release() == 0 ? 1 : 0;
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(destroyed, 1);
        ASSERT_EQ(zeros, 1);
    }
}

TEST(Assertions, GuardTurnsAViolationIntoAStatus) {
    NimbTest::AssertionRecorder recorder;
    EXPECT_EQ(Nimb::GetAssertMode(), Nimb::AssertMode::Report);
    const auto operation = [](int value) {
        return Nimb::GuardAssertions([&] {
            NIMB_ASSERT(value > 0);
            NIMB_ASSERT_MSG(value != 2, "two");
            return value == 1 ? S_OK : E_FAIL;
        });
    };
    EXPECT_EQ(operation(1), S_OK);
    EXPECT_EQ(operation(3), E_FAIL);
    EXPECT_EQ(NimbTest::AssertionRecorder::Text(), "");
    EXPECT_EQ(operation(0), E_UNEXPECTED);
    EXPECT_EQ(NimbTest::AssertionRecorder::Text(), "value > 0");
    EXPECT_EQ(operation(2), E_UNEXPECTED);
    EXPECT_EQ(NimbTest::AssertionRecorder::Text(), "two");
}

TEST(ComPtr, HoldsReleasesAndHandsOver) {
    std::atomic<int> destroyed{0};
    Probe* const probe = new Probe(&destroyed);
    {
        CComPtr<Probe> first(probe);
        CComPtr<Probe> second(first);
        first = probe;
        first = *std::addressof(first);
        EXPECT_EQ(probe->AddRef(), 3u);
        EXPECT_EQ(probe->Release(), 2u);
        CComPtr<Probe> third(std::move(second));
        EXPECT_EQ(second.p, nullptr);
        first = std::move(third);
        EXPECT_EQ(third.p, probe) << "nothing happens between two pointers to the same object";
        first = nullptr;
        first = std::move(third);
        EXPECT_EQ(third.p, nullptr);
        EXPECT_EQ(probe->AddRef(), 2u) << "moves change no count";
        EXPECT_EQ(first.Detach(), probe);
        EXPECT_EQ(first.p, nullptr);
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(probe->Release(), 1u);
    { CComPtr<Probe> last(probe); }
    EXPECT_EQ(probe->Release(), 0u);
    EXPECT_EQ(destroyed, 1);
}

TEST(ComPtr, ExchangeKeepsWhatOnlyTheOldObjectHeldAlive) {
    struct Node : Probe {
        using Probe::Probe;
        ~Node() override {
            if (m_Holder != nullptr) {
                EXPECT_NE(m_Holder->p, nullptr) << "the new object is there when the old one goes";
                EXPECT_NE(m_Holder->p, this);
            }
        }
        CComPtr<Node> m_Next;
        CComPtr<Node>* m_Holder = nullptr;
    };
    std::atomic<int> destroyed{0};
    CComPtr<Node> head(new Node(&destroyed));
    head->m_Next = new Node(&destroyed);
    head->m_Holder = std::addressof(head);
    Node* const next = head->m_Next;
    head = next;
    EXPECT_EQ(head.p, next);
    EXPECT_EQ(destroyed, 1);
    head = nullptr;
    EXPECT_EQ(destroyed, 2);

    head = new Node(&destroyed);
    head->m_Next = new Node(&destroyed);
    head->m_Holder = std::addressof(head);
    head = std::move(head->m_Next);
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(head->m_Next.p, nullptr);
}

TEST(Buffer, QueryInterfaceKnowsTwoFaces) {
    const CComPtr<Buffer> buffer(new Buffer(16));
    void* face = nullptr;
    ASSERT_EQ(buffer->QueryInterface(IID_INimbAttributesCore, &face), S_OK);
    INimbAttributesCore* const attributes = static_cast<INimbAttributesCore*>(face);
    ASSERT_EQ(buffer->QueryInterface(IID_INimbBuffer, &face), S_OK);
    INimbBuffer* const bytes = static_cast<INimbBuffer*>(face);
    EXPECT_EQ(attributes, static_cast<INimbAttributesCore*>(buffer.p));
    EXPECT_EQ(bytes, static_cast<INimbBuffer*>(buffer.p));
    EXPECT_EQ(attributes->AddRef(), 4u) << "every face counts the one object";
    EXPECT_EQ(bytes->Release(), 3u);

    const _GUID unknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    for (const _GUID& id : {unknown, NimbAttrib_Version, _GUID{}}) {
        face = buffer.p;
        EXPECT_EQ(buffer->QueryInterface(id, &face), E_NOINTERFACE);
        EXPECT_EQ(face, nullptr);
    }
    EXPECT_EQ(buffer->QueryInterface(IID_INimbBuffer, nullptr), E_POINTER);
    EXPECT_EQ(bytes->Release(), 2u) << "refusals leave the count alone";
    EXPECT_EQ(attributes->Release(), 1u);
}

TEST(Buffer, LocksToTheSameAlignedBytes) {
    for (UINT32 size = 0; size < 70; ++size) {
        const CComPtr<Buffer> buffer(new Buffer(size));
        NimbLockedMemory memory{nullptr, 1, 1, 1};
        ASSERT_EQ(buffer->LockBuffer(&memory), S_OK);
        EXPECT_NE(memory.pData, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.pData) % 16, 0u);
        EXPECT_EQ(memory.cbCurrentLength, 0u);
        EXPECT_EQ(memory.cbMaxLength, size);
        EXPECT_EQ(memory.cbReserved, 0u);
        std::fill_n(memory.pData, size, BYTE{0x5A});  // a sanitizer sees whether they are all there

        NimbLockedMemory again{};
        ASSERT_EQ(buffer->LockBuffer(&again), S_OK);
        EXPECT_EQ(again.pData, memory.pData);
        EXPECT_EQ(buffer->UnlockBuffer(), S_OK);
        UINT32 reported = ~size;
        EXPECT_EQ(buffer->GetSize(&reported), S_OK);
        EXPECT_EQ(reported, size);
    }
}

TEST(Attributes, AreUntypedBytesOfTheAccessorsWidth) {
    const CComPtr<Buffer> store(new Buffer(1));
    UINT32 u32 = 77;
    UINT64 u64 = 77;
    double f64 = 7.5;
    EXPECT_EQ(store->GetUINT32(NimbAttrib_FrameId, &u32), E_FAIL) << "empty store";
    EXPECT_EQ(u32, 77u);

    EXPECT_EQ(store->SetUINT32(NimbAttrib_FrameId, 7), S_OK);
    EXPECT_EQ(store->GetUINT32(NimbAttrib_NumFaces, &u32), E_FAIL) << "absent key";
    EXPECT_EQ(store->GetUINT64(NimbAttrib_NumFaces, &u64), E_FAIL);
    EXPECT_EQ(store->GetDouble(NimbAttrib_NumFaces, &f64), E_FAIL);
    EXPECT_EQ(u64, 77u);
    EXPECT_EQ(f64, 7.5);

    EXPECT_EQ(store->GetDouble(NimbAttrib_FrameId, &f64), S_OK);
    std::memcpy(&u64, &f64, sizeof(u64));
    EXPECT_EQ(u64, 7u) << "a fresh entry is zero beyond what was set";

    EXPECT_EQ(store->SetUINT64(NimbAttrib_FrameId, ~UINT64{0}), S_OK);
    EXPECT_EQ(store->SetUINT32(NimbAttrib_FrameId, 0), S_OK);
    EXPECT_EQ(store->GetUINT64(NimbAttrib_FrameId, &u64), S_OK);
    EXPECT_EQ(u64, 0xFFFFFFFF00000000u);

    EXPECT_EQ(store->SetDouble(NimbAttrib_FrameId, -2.25), S_OK);
    EXPECT_EQ(store->GetDouble(NimbAttrib_FrameId, &f64), S_OK);
    EXPECT_EQ(f64, -2.25);
    EXPECT_EQ(store->GetUINT32(NimbAttrib_FrameId, &u32), S_OK);
    EXPECT_EQ(u32, 0u) << "the low half of -2.25";
    EXPECT_EQ(store->OnGetAttribute(), S_OK);
}

TEST(Allocator, HandsOutOneReference) {
    const CComPtr<BufferAllocator> allocator(new BufferAllocator);
    INimbBuffer* buffer = nullptr;
    ASSERT_EQ(allocator->AllocateBuffer(100, 12, 0, &buffer), S_OK);
    UINT32 size = 0;
    EXPECT_EQ(buffer->GetSize(&size), S_OK);
    EXPECT_EQ(size, 100u) << "bytes, whatever the element size";
    EXPECT_EQ(buffer->AddRef(), 2u);
    EXPECT_EQ(allocator->ReleaseBuffer(buffer), S_OK);
    EXPECT_EQ(buffer->Release(), 0u);

    void* face = &size;
    EXPECT_EQ(allocator->QueryInterface(IID_INimbBuffer, &face), E_NOINTERFACE);
    EXPECT_EQ(face, nullptr);
}

CComPtr<Stream> MakeStream(UINT32 size, UINT32 position) {
    std::unique_ptr<BYTE[]> bytes(new BYTE[size]);
    for (UINT32 i = 0; i < size; ++i) {
        bytes[i] = static_cast<BYTE>(i);
    }
    return CComPtr<Stream>(new Stream(std::move(bytes), size, position));
}

TEST(Stream, ShortReadsSucceed) {
    const CComPtr<Stream> stream = MakeStream(20, 8);
    BYTE bytes[16] = {};
    UINT32 read = 99;
    EXPECT_EQ(stream->Read(bytes, 7, &read), S_OK);
    EXPECT_EQ(read, 7u);
    EXPECT_EQ(bytes[0], 8);
    EXPECT_EQ(bytes[6], 14);
    EXPECT_EQ(stream->Read(bytes, 12, &read), S_OK);
    EXPECT_EQ(read, 5u);
    EXPECT_EQ(bytes[0], 15);
    EXPECT_EQ(bytes[4], 19);
    EXPECT_EQ(bytes[5], 13) << "bytes that the stream does not have stay as they were";
    EXPECT_EQ(stream->Read(bytes, 0xFFFFFFFF, &read), S_OK);
    EXPECT_EQ(read, 0u);
    EXPECT_EQ(stream->Read(nullptr, 0, &read), S_OK);

    void* face = bytes;
    EXPECT_EQ(stream->QueryInterface(IID_INimbBuffer, &face), E_NOINTERFACE);
    EXPECT_EQ(face, nullptr);
}

}  // namespace
