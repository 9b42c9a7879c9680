// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QtGlobal>

#include <cstddef>
#include <vector>

namespace mivo::tilegen {

// A zlib stream (RFC 1950 around RFC 1951 deflate) made only of literals and runs:
// a back-reference is only ever "repeat the previous byte", as zlib's Z_RLE strategy
// does, each block with Huffman codes made for it. On spectrogram tiles, whose level
// indices hardly repeat in longer strings, that is as small as zlib's or libdeflate's
// fastest levels and several times faster, since there is no match search.
//
// Blocks whose Huffman coding would be larger than the data are stored instead, so
// the stream is never more than a few bytes per 64 KiB larger than the input. The
// same input always gives the same bytes. One object per thread: it keeps its
// buffers from call to call.
class RunLengthDeflater
{
public:
    // Writes the zlib stream of data[0 .. size - 1] to the start of `buffer`, which
    // grows to bound(size) bytes where it is smaller, and returns the stream's length.
    // Kept from call to call, the buffer is neither shrunk nor cleared.
    size_t compress(const uchar* data, size_t size, std::vector<uchar>& buffer);

    // The buffer size compress() needs for `size` bytes of input.
    static size_t bound(size_t size);

private:
    std::vector<quint16> m_tokens; // literal 0..255, or 256 + run length (3..258)
};

} // namespace mivo::tilegen
