// Reading wire fields and blocks from an IStream.
#pragma once

#include "Nimb/NimbInterfaces.h"
#include "NimbCore/BitReader.h"
#include "NimbCore/NimbMeshReader.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Nimb {

// Wire fields are little-endian and so are both processors that the core runs on.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "fields are copied as they stand: a big-endian build needs conversions here"
#endif

/// Reads one field; `*pRead` is the number of bytes delivered. A short read is a success that leaves the field's
/// missing bytes as they were.
template <class T>
HRESULT ReadField(IStream* pStream, T* pField, UINT32* pRead) {
    *pRead = 0;
    return pStream->Read(pField, static_cast<UINT32>(sizeof(T)), pRead);
}

template <class T>
HRESULT ReadField(IStream* pStream, T* pField) {
    UINT32 read = 0;
    return ReadField(pStream, pField, &read);
}

/// Reads up to `count` elements into `out`, which grows only as the stream delivers: a count beyond the end of the
/// stream costs nothing. On return `out` holds the whole elements delivered. E_UNEXPECTED when the count is beyond
/// c_MaxBufferBytes.
template <class T>
HRESULT ReadBacked(IStream* pStream, UINT64 count, std::vector<T>& out) {
    constexpr UINT64 pieceBytes = UINT64{1} << 20;
    out.clear();
    const UINT64 total = count * sizeof(T);
    if (count > c_MaxBufferBytes || total > c_MaxBufferBytes) {
        return E_UNEXPECTED;
    }
    UINT64 done = 0;
    while (done < total) {
        const UINT64 piece = std::min(pieceBytes, total - done);
        out.resize(static_cast<std::size_t>((done + piece) / sizeof(T)));
        UINT32 read = 0;
        const HRESULT hr = pStream->Read(reinterpret_cast<BYTE*>(out.data()) + done, static_cast<UINT32>(piece), &read);
        done += read;
        if (Failed(hr) || read < piece) {
            out.resize(static_cast<std::size_t>(done / sizeof(T)));
            return hr;
        }
    }
    return S_OK;
}

/// Reads the CodeWords(numBits) words of a code stream. E_UNEXPECTED when the stream ends before that.
inline HRESULT ReadCodeWords(IStream* pStream, UINT32 numBits, std::vector<UINT32>& words) {
    const UINT32 numWords = CodeWords(numBits);
    const HRESULT hr = ReadBacked(pStream, numWords, words);
    if (Failed(hr)) {
        return hr;
    }
    return words.size() == numWords ? S_OK : E_UNEXPECTED;
}

}  // namespace Nimb
