// Ids, reference counting, owning pointers, assertions in report mode, buffers with their attributes, and the stream.
#include "Nimb/NimbAssert.h"
#include "Nimb/NimbRefCount.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

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

/// Collects the texts of violated checks while it lives.
class AssertionTexts {
public:
    AssertionTexts() : m_Previous(Nimb::SetAssertionSink(&Collect)) { s_Texts.clear(); }
    ~AssertionTexts() { Nimb::SetAssertionSink(m_Previous); }
    AssertionTexts(const AssertionTexts&) = delete;
    AssertionTexts& operator=(const AssertionTexts&) = delete;

    static std::vector<std::string> Take() { return std::exchange(s_Texts, {}); }

private:
    static void Collect(const Nimb::AssertionInfo& info) { s_Texts.emplace_back(info.text); }

    static std::vector<std::string> s_Texts;
    Nimb::AssertionSink m_Previous;
};
std::vector<std::string> AssertionTexts::s_Texts;

using Texts = std::vector<std::string>;

/// A bare counted object that reports its destruction.
class Probe : public Nimb::CNimbRefCount {
public:
    explicit Probe(std::atomic<int>* destroyed) : m_Destroyed(destroyed) {}
    ~Probe() override { ++*m_Destroyed; }

private:
    std::atomic<int>* m_Destroyed;
};

/// The 16 stored bytes that a registry-form text stands for: the first three groups are stored little-endian.
std::vector<BYTE> StoredBytes(const std::string& text) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char c) { return c != '-'; });
    std::vector<BYTE> bytes;
    for (const unsigned i : {3u, 2u, 1u, 0u, 5u, 4u, 7u, 6u, 8u, 9u, 10u, 11u, 12u, 13u, 14u, 15u}) {
        bytes.push_back(static_cast<BYTE>(std::stoul(digits.substr(std::size_t{2} * i, 2), nullptr, 16)));
    }
    return bytes;
}

TEST(Ids, StoredBytes) {
    const struct {
        const _GUID& id;
        const char* text;
    } table[] = {
        {IID_INimbAttributesCore, "E73F1728-AE2D-45BF-9FC7-FCDE723FB667"},
        {IID_INimbBuffer, "D83BA762-145B-489D-BA08-E76578398FDB"},
        {NimbMediaType_VertexStream, "30BD92BA-2AF3-4A3C-AD73-C1D4676CF3CB"},
        {NimbMediaType_IndexStream, "FD2AAE31-05B7-4730-B7DB-6A4C2D5D26F8"},
        {NimbAttrib_Version, "BF07A1DB-37B3-4F86-B7A0-8E4C79F8F0C4"},
        {NimbAttrib_Width, "D59F1C5C-D812-41B0-A5F5-EB6F9915416D"},
        {NimbAttrib_Height, "3E0D1911-81A0-46B2-B4D3-C0C018CE00CF"},
        {NimbAttrib_Inverted, "954561FE-568A-441C-AAD0-546F7FC45C0B"},
        {NimbAttrib_Stride, "3B26C9B2-A8AA-4D02-9F9B-39ECB84C4456"},
        {NimbAttrib_NumVertices, "00370E73-ADA9-4F24-85B1-B22D2ADC93F6"},
        {NimbAttrib_NumFaces, "44444132-4772-414A-B465-32850488D0F1"},
        {NimbAttrib_NumIndices, "C79E8586-94D9-4439-B28F-BAC2BB7FF398"},
        {NimbAttrib_BBoxMinX, "EEB82BC6-22FE-426F-85FC-07164EDB31F4"},
        {NimbAttrib_BBoxMinY, "5928706C-CC40-427C-9B25-93BD5A958E31"},
        {NimbAttrib_BBoxMinZ, "28111338-A3FB-4C29-8C1B-A90D308BBE4E"},
        {NimbAttrib_BBoxMaxX, "1B717E5A-75CF-4358-8FC7-29AA210A4654"},
        {NimbAttrib_BBoxMaxY, "C8483604-0704-4EFC-A5A3-3AC719707224"},
        {NimbAttrib_BBoxMaxZ, "0694A656-DABD-49B1-896C-8FE0880CC276"},
        {NimbAttrib_UseTriList, "C18A431C-D41C-47BC-8AC6-BD93FCFDB506"},
        {NimbAttrib_VertHasNormals, "109655A2-2822-46D7-B0FA-082907665658"},
        {NimbAttrib_UseUnsignedUVs, "FF644DB5-EBAA-4C2D-896A-8D1214F734D7"},
        {NimbAttrib_BBoxFull, "D2F6B5CC-CB27-4483-8E0C-3CD8E242F749"},
        {NimbAttrib_FrameId, "129ACAC9-DA92-406D-A560-DDF2B7FD3625"},
        {NimbAttrib_FrameTimestamp, "4FC3B0A7-6644-42A5-9BEB-77BC5B020024"},
        {NimbAttrib_VertexFormatFlags, "F00B04E4-0272-4BE2-8382-D938591528F8"},
        {NimbAttrib_IsKeyFrame, "1E41250E-E111-4020-89F2-9947FADAEC97"},
        {NimbAttrib_FrameCount, "36B53E4E-0A14-42F8-8143-DCA29E480AA8"},
        {NimbAttrib_MaxVertexCount, "A5E5F089-BA7D-48B3-8145-4C9C2E412D42"},
        {NimbAttrib_MaxIndexCount, "C0E6118D-A24F-491C-96F7-CC5A8FA70D24"},
        {NimbAttrib_LocalFullPath, "AB0EA9AA-CEC9-4A36-B90F-2958154E4712"},
        {NimbAttrib_HasAudio, "1AED3F91-FB45-44F6-98BE-59FC3AFB8D2B"},
        {NimbAttrib_Duration100ns, "DE7AB62A-915F-4CD9-8193-9B93137D29D9"},
        {NimbAttrib_BitrateMbps, "B70518C5-D70A-482D-8FB3-E783C72E0642"},
        {NimbAttrib_H264Wrapper, "22F1F808-02AD-4D65-B094-BEC42F90BEDD"},
        {NimbAttrib_HasVertexNormals, "DE7A5734-8816-4C0A-A16E-2B61666EBB02"},
    };
    static_assert(std::size(table) == 35);
    for (const auto& row : table) {
        const BYTE* const stored = reinterpret_cast<const BYTE*>(&row.id);
        EXPECT_EQ(std::vector<BYTE>(stored, stored + 16), StoredBytes(row.text)) << row.text;
    }
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

TEST(RefCount, CountsAndDestroysAtZero) {
    std::atomic<int> destroyed{0};
    Probe* const probe = new Probe(&destroyed);
    EXPECT_EQ(probe->AddRef(), 1u);
    EXPECT_EQ(probe->AddRef(), 2u);
    EXPECT_EQ(probe->Release(), 1u);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(probe->Release(), 0u);
    EXPECT_EQ(destroyed, 1);
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

TEST(RefCount, AddRefDuringDestructionIsAViolation) {
    class Reviving : public Nimb::CNimbRefCount {
    public:
        explicit Reviving(int* violations) : m_Violations(violations) {}
        ~Reviving() override {
            try {
                AddRef();
            } catch (const Nimb::AssertionFailure&) {
                ++*m_Violations;
            }
        }

    private:
        int* m_Violations;
    };
    AssertionTexts texts;
    int violations = 0;
    Reviving* const object = new Reviving(&violations);
    object->AddRef();
    EXPECT_EQ(object->Release(), 0u);
    EXPECT_EQ(violations, 1);
    EXPECT_EQ(AssertionTexts::Take(), Texts{"m_DestructionFlag == 0"});
}

TEST(Assertions, GuardTurnsAViolationIntoAStatus) {
    AssertionTexts texts;
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
    EXPECT_EQ(AssertionTexts::Take(), Texts{});
    EXPECT_EQ(operation(0), E_UNEXPECTED);
    EXPECT_EQ(operation(2), E_UNEXPECTED);
    EXPECT_EQ(AssertionTexts::Take(), (Texts{"value > 0", "two"}));
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

TEST(ComPtr, EmptyAndFilledAreChecked) {
    AssertionTexts texts;
    CComPtr<INimbBuffer> pointer;
    EXPECT_THROW(pointer->UnlockBuffer(), Nimb::AssertionFailure);
    EXPECT_EQ(AssertionTexts::Take(), Texts{"p != __null"});

    CComPtr<BufferAllocator> allocator(new BufferAllocator);
    EXPECT_EQ(allocator->AllocateBuffer(4, 4, 0, &pointer), S_OK);
    EXPECT_THROW(&pointer, Nimb::AssertionFailure);
    EXPECT_EQ(AssertionTexts::Take(), Texts{"p == __null"});
    EXPECT_EQ(pointer->UnlockBuffer(), S_OK);
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

TEST(Buffer, LockingIntoNothingIsAViolation) {
    AssertionTexts texts;
    const CComPtr<Buffer> buffer(new Buffer(1));
    EXPECT_EQ(buffer->LockBuffer(nullptr), E_UNEXPECTED);
    EXPECT_EQ(AssertionTexts::Take(), Texts{"pLockedMemory"});
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

TEST(Stream, StartsWithinItsBytes) {
    AssertionTexts texts;
    UINT32 read = 99;
    BYTE byte = 0;
    EXPECT_EQ(MakeStream(8, 8)->Read(&byte, 1, &read), S_OK);
    EXPECT_EQ(read, 0u);
    EXPECT_THROW(MakeStream(8, 9), Nimb::AssertionFailure);
}

}  // namespace
