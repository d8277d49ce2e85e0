// Hand-written streams: bytes put together field by field, and what the checks say about them.
#pragma once

#include "Tests/Support/TestSupport.h"

#include <initializer_list>
#include <string>

namespace NimbTest {

/// Appends little-endian fields.
class Wire {
public:
    template <class T>
    Wire& Put(T value) {
        const auto* p = reinterpret_cast<const BYTE*>(&value);
        m_Bytes.insert(m_Bytes.end(), p, p + sizeof(T));
        return *this;
    }
    Wire& U8(unsigned value) { return Put(static_cast<BYTE>(value)); }
    Wire& U16(int value) { return Put(static_cast<std::uint16_t>(value)); }
    Wire& U32(UINT32 value) { return Put(value); }
    Wire& I64(LONGLONG value) { return Put(value); }
    Wire& F32(float value) { return Put(value); }
    Wire& Floats(std::initializer_list<float> values) {
        for (float value : values) {
            F32(value);
        }
        return *this;
    }
    Wire& Bytes(std::initializer_list<unsigned> values) {
        for (unsigned value : values) {
            U8(value);
        }
        return *this;
    }
    Wire& Zeros(std::size_t count) {
        m_Bytes.insert(m_Bytes.end(), count, BYTE{0});
        return *this;
    }
    Wire& operator+=(const Wire& other) {
        m_Bytes.insert(m_Bytes.end(), other.m_Bytes.begin(), other.m_Bytes.end());
        return *this;
    }

    /// Version word of a header: vertex version, flags, header version, index version.
    Wire& Version(unsigned vertex, unsigned flags, unsigned header, unsigned index) {
        return Bytes({vertex, flags, header, index});
    }
    Wire& UnitBox() { return Floats({0, 0, 0, 1, 1, 1}); }
    /// A 12-byte vertex record.
    Wire& Vertex(int x, int y, int z, int u, int v) { return U16(x).U16(y).U16(z).U16(0x7777).U16(u).U16(v); }

    const std::vector<BYTE>& Data() const { return m_Bytes; }
    operator const std::vector<BYTE>&() const { return m_Bytes; }
    std::size_t Size() const { return m_Bytes.size(); }

    /// A new stream over a copy of the bytes, sized exactly so that a sanitizer sees every overrun.
    NIMBCORE::CComPtr<IStream> Stream() const {
        auto data = std::make_unique<BYTE[]>(m_Bytes.size());
        std::copy(m_Bytes.begin(), m_Bytes.end(), data.get());
        return new NimbCrossPlatform::Stream(std::move(data), static_cast<UINT32>(m_Bytes.size()), 0);
    }

private:
    std::vector<BYTE> m_Bytes;
};

/// The text of the last violated check, recorded while an object of this class lives instead of being printed.
class AssertionRecorder {
public:
    AssertionRecorder() {
        Text().clear();
        m_Previous = Nimb::SetAssertionSink([](const Nimb::AssertionInfo& info) { Text() = info.text; });
    }
    ~AssertionRecorder() { Nimb::SetAssertionSink(m_Previous); }
    AssertionRecorder(const AssertionRecorder&) = delete;
    AssertionRecorder& operator=(const AssertionRecorder&) = delete;

    static std::string& Text() {
        static std::string text;
        return text;
    }

private:
    Nimb::AssertionSink m_Previous;
};

}  // namespace NimbTest
