// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "RunLengthDeflater.h"

#include <libdeflate.h>

#include <QtAlgorithms>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>

namespace mivo::tilegen {

namespace {

constexpr int literalLengthSymbols = 286; // 0..255 literals, 256 end of block, 257..285 lengths
constexpr int endOfBlock = 256;
constexpr int codeLengthSymbols = 19;
constexpr int maximumRun = 258;
constexpr size_t storedBlockLimit = 65535;
// Input per block: large enough that the code tables (some 100 bytes) do not count,
// small enough that the codes follow changes in the data.
constexpr size_t blockInput = size_t(1) << 18;

// Order in which the code length code lengths are sent.
constexpr int codeLengthOrder[codeLengthSymbols] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

struct LengthCode
{
    quint16 symbol = 0;
    quint8 extraBits = 0;
    quint16 base = 0;
};

// The length symbol, its extra bits and its base for every run length 3..258.
const std::array<LengthCode, maximumRun + 1>& lengthCodes()
{
    static const std::array<LengthCode, maximumRun + 1> table = [] {
        constexpr quint16 base[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                      31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
        constexpr quint8 extra[29]
            = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
        std::array<LengthCode, maximumRun + 1> codes{};
        for (int c = 0; c < 29; ++c) {
            const int last = c == 28 ? maximumRun : base[c + 1] - 1;
            for (int length = base[c]; length <= last; ++length)
                codes[size_t(length)] = LengthCode{quint16(257 + c), extra[c], base[c]};
        }
        return codes;
    }();
    return table;
}

// Bits go out least significant first, as deflate packs them. Every put() stores
// eight bytes and keeps what is not yet whole bytes: no branch per code, at the price
// of up to eight bytes written beyond the end (bound() leaves room for them).
class BitWriter
{
public:
    explicit BitWriter(uchar* out)
        : m_out(out)
    {
    }

    // `count` <= 56 and `bits` < 2^count.
    void put(quint64 bits, int count)
    {
        m_buffer |= bits << m_count;
        m_count += count;
        qToLittleEndian(m_buffer, m_out);
        m_out += m_count >> 3;
        m_buffer >>= m_count & ~7;
        m_count &= 7;
    }

    // Pads with zero bits to a whole byte.
    void alignToByte()
    {
        if (m_count > 0)
            put(0, 8 - m_count);
    }

    // Only after alignToByte().
    void putBytes(const uchar* data, size_t size)
    {
        if (size > 0)
            std::memcpy(m_out, data, size);
        m_out += size;
    }

    uchar* end() const { return m_out; }

private:
    uchar* m_out;
    quint64 m_buffer = 0;
    int m_count = 0; // bits in m_buffer, always < 8 between calls
};

// Lengths of an optimal prefix code for the symbols with non-zero frequency, none
// longer than `limit`; the code is always complete (a lone symbol gets a partner).
void buildCodeLengths(const quint32* frequencies, int symbolCount, int limit, quint8* lengths)
{
    std::fill(lengths, lengths + symbolCount, quint8(0));
    std::array<int, literalLengthSymbols> symbols{};
    int used = 0;
    for (int s = 0; s < symbolCount; ++s) {
        if (frequencies[s] > 0)
            symbols[size_t(used++)] = s;
    }
    if (used == 0)
        return;
    if (used == 1) {
        lengths[symbols[0]] = 1;
        lengths[symbols[0] == 0 ? 1 : 0] = 1;
        return;
    }
    std::sort(symbols.begin(), symbols.begin() + used, [frequencies](int a, int b) {
        return frequencies[a] != frequencies[b] ? frequencies[a] < frequencies[b] : a < b;
    });

    // Huffman's construction with two queues: the leaves in ascending order, and the
    // inner nodes, which come out in ascending order by themselves.
    std::array<quint64, 2 * literalLengthSymbols> weight{};
    std::array<int, 2 * literalLengthSymbols> parent{};
    for (int i = 0; i < used; ++i)
        weight[size_t(i)] = frequencies[symbols[size_t(i)]];
    int nextLeaf = 0;
    int nextInner = used;
    const auto takeSmallest = [&](int innerEnd) {
        if (nextLeaf < used && (nextInner >= innerEnd || weight[size_t(nextLeaf)] <= weight[size_t(nextInner)]))
            return nextLeaf++;
        return nextInner++;
    };
    for (int node = used; node < 2 * used - 1; ++node) {
        const int a = takeSmallest(node);
        const int b = takeSmallest(node);
        weight[size_t(node)] = weight[size_t(a)] + weight[size_t(b)];
        parent[size_t(a)] = node;
        parent[size_t(b)] = node;
    }
    std::array<int, 2 * literalLengthSymbols> depth{};
    for (int node = 2 * used - 3; node >= 0; --node)
        depth[size_t(node)] = depth[size_t(parent[size_t(node)])] + 1;

    // Clamp to the limit, then restore the Kraft sum: each step moves a code from the
    // longest length up, and splits one shorter code into two.
    std::array<int, 33> countOf{};
    for (int i = 0; i < used; ++i)
        ++countOf[size_t(std::min(depth[size_t(i)], limit))];
    quint32 kraft = 0;
    for (int length = 1; length <= limit; ++length)
        kraft += quint32(countOf[size_t(length)]) << (limit - length);
    while (kraft > (quint32(1) << limit)) {
        --countOf[size_t(limit)];
        for (int length = limit - 1; length > 0; --length) {
            if (countOf[size_t(length)] > 0) {
                --countOf[size_t(length)];
                countOf[size_t(length) + 1] += 2;
                break;
            }
        }
        --kraft;
    }
    // The rarest symbols get the longest codes.
    int next = 0;
    for (int length = limit; length >= 1; --length) {
        for (int i = 0; i < countOf[size_t(length)]; ++i)
            lengths[symbols[size_t(next++)]] = quint8(length);
    }
}

// The canonical codes of `lengths`, bit-reversed for least-significant-first output.
void canonicalCodes(const quint8* lengths, int symbolCount, quint16* codes)
{
    std::array<int, 16> countOf{};
    for (int s = 0; s < symbolCount; ++s)
        ++countOf[lengths[s]];
    countOf[0] = 0;
    std::array<quint32, 16> nextCode{};
    quint32 code = 0;
    for (int length = 1; length < 16; ++length) {
        code = (code + quint32(countOf[size_t(length) - 1])) << 1;
        nextCode[size_t(length)] = code;
    }
    for (int s = 0; s < symbolCount; ++s) {
        const int length = lengths[s];
        if (length == 0) {
            codes[s] = 0;
            continue;
        }
        quint32 value = nextCode[size_t(length)]++;
        quint32 reversed = 0;
        for (int b = 0; b < length; ++b, value >>= 1)
            reversed = (reversed << 1) | (value & 1);
        codes[s] = quint16(reversed);
    }
}

struct CodeLengthItem
{
    quint8 symbol = 0; // 0..15 a length, 16 repeat the last, 17 and 18 runs of zeros
    quint8 extra = 0; // the repeat count's extra bits' value
};

constexpr int codeLengthExtraBits(int symbol)
{
    return symbol == 16 ? 2 : symbol == 17 ? 3 : symbol == 18 ? 7 : 0;
}

// The code lengths of both trees as one sequence with repeats, as a block header sends it.
int encodeCodeLengths(const quint8* lengths, int count, CodeLengthItem* items)
{
    int n = 0;
    for (int i = 0; i < count;) {
        const quint8 value = lengths[i];
        int run = 1;
        while (i + run < count && lengths[i + run] == value)
            ++run;
        i += run;
        if (value == 0) {
            while (run >= 11) {
                const int r = std::min(run, 138);
                items[n++] = CodeLengthItem{18, quint8(r - 11)};
                run -= r;
            }
            if (run >= 3) {
                items[n++] = CodeLengthItem{17, quint8(run - 3)};
                run = 0;
            }
        } else {
            items[n++] = CodeLengthItem{value, 0};
            --run;
            while (run >= 3) {
                const int r = std::min(run, 6);
                items[n++] = CodeLengthItem{16, quint8(r - 3)};
                run -= r;
            }
        }
        for (; run > 0; --run)
            items[n++] = CodeLengthItem{value, 0};
    }
    return n;
}

void writeStored(BitWriter& writer, const uchar* data, size_t size, bool last)
{
    size_t done = 0;
    do {
        const size_t piece = std::min(storedBlockLimit, size - done);
        writer.put(last && done + piece == size ? 1 : 0, 1);
        writer.put(0, 2);
        writer.alignToByte();
        uchar header[4];
        qToLittleEndian(quint16(piece), header);
        qToLittleEndian(quint16(~piece), header + 2);
        writer.putBytes(header, 4);
        writer.putBytes(data + done, piece);
        done += piece;
    } while (done < size);
}

// One block from its tokens; stored when Huffman coding would not make it smaller.
void writeBlock(BitWriter& writer, const quint16* tokens, size_t tokenCount, const quint32* frequencies,
                const uchar* data, size_t size, bool last)
{
    const auto& runCodes = lengthCodes();
    quint8 literalLengths[literalLengthSymbols];
    // 14 bits rather than deflate's 15: four literals then fit one 64-bit write (a
    // limit that costs nothing measurable on the size).
    buildCodeLengths(frequencies, literalLengthSymbols, 14, literalLengths);
    // Runs only ever go back one byte: distance code 0. Two one-bit codes keep the
    // distance code complete, which every decoder accepts.
    const quint8 distanceLengths[2] = {1, 1};
    int literalCount = literalLengthSymbols;
    while (literalCount > 257 && literalLengths[literalCount - 1] == 0)
        --literalCount;

    quint8 allLengths[literalLengthSymbols + 2];
    std::memcpy(allLengths, literalLengths, size_t(literalCount));
    std::memcpy(allLengths + literalCount, distanceLengths, 2);
    CodeLengthItem items[literalLengthSymbols + 2];
    const int itemCount = encodeCodeLengths(allLengths, literalCount + 2, items);
    quint32 codeLengthFrequencies[codeLengthSymbols] = {};
    for (int i = 0; i < itemCount; ++i)
        ++codeLengthFrequencies[items[i].symbol];
    quint8 codeLengthLengths[codeLengthSymbols];
    buildCodeLengths(codeLengthFrequencies, codeLengthSymbols, 7, codeLengthLengths);
    int codeLengthCount = codeLengthSymbols;
    while (codeLengthCount > 4 && codeLengthLengths[codeLengthOrder[codeLengthCount - 1]] == 0)
        --codeLengthCount;

    quint64 bits = 3 + 5 + 5 + 4 + 3 * quint64(codeLengthCount);
    for (int i = 0; i < itemCount; ++i)
        bits += codeLengthLengths[items[i].symbol] + quint64(codeLengthExtraBits(items[i].symbol));
    for (int s = 0; s < literalLengthSymbols; ++s)
        bits += quint64(frequencies[s]) * literalLengths[s];
    for (int c = 0; c < 29; ++c) {
        const quint32 runs = frequencies[257 + c];
        const int extra = c < 8 ? 0 : c == 28 ? 0 : (c - 4) / 4;
        bits += quint64(runs) * quint64(extra + 1); // extra bits and the one-bit distance
    }
    const quint64 storedPieces = std::max<quint64>(1, (size + storedBlockLimit - 1) / storedBlockLimit);
    const quint64 storedBits = storedPieces * (3 + 7 + 32) + 8 * quint64(size);
    if (bits >= storedBits) {
        writeStored(writer, data, size, last);
        return;
    }

    writer.put(last ? 1 : 0, 1);
    writer.put(2, 2); // dynamic Huffman codes
    writer.put(quint32(literalCount - 257), 5);
    writer.put(2 - 1, 5);
    writer.put(quint32(codeLengthCount - 4), 4);
    for (int i = 0; i < codeLengthCount; ++i)
        writer.put(codeLengthLengths[codeLengthOrder[i]], 3);
    quint16 codeLengthCodes[codeLengthSymbols];
    canonicalCodes(codeLengthLengths, codeLengthSymbols, codeLengthCodes);
    for (int i = 0; i < itemCount; ++i) {
        const int symbol = items[i].symbol;
        writer.put(codeLengthCodes[symbol], codeLengthLengths[symbol]);
        if (const int extra = codeLengthExtraBits(symbol))
            writer.put(items[i].extra, extra);
    }

    // One table entry per token value: a literal's code, or a run's length code with
    // its extra bits and the distance code (0, one bit) in a single write.
    quint16 literalCodes[literalLengthSymbols];
    canonicalCodes(literalLengths, literalLengthSymbols, literalCodes);
    // An entry: the bits in the low 24 bits, their count in the top 8.
    quint32 entries[256 + maximumRun + 1];
    for (int v = 0; v < 256; ++v)
        entries[v] = literalCodes[v] | quint32(literalLengths[v]) << 24;
    for (int length = 3; length <= maximumRun; ++length) {
        const LengthCode& code = runCodes[size_t(length)];
        const int codeLength = literalLengths[code.symbol];
        entries[256 + length] = (literalCodes[code.symbol] | (quint32(length - code.base) << codeLength))
            | quint32(codeLength + code.extraBits + 1) << 24;
    }
    const auto bitsOf = [](quint32 entry) { return quint64(entry & 0xffffffu); };
    const auto countOf = [](quint32 entry) { return int(entry >> 24); };
    size_t t = 0;
    // Four literals per write (at most 4 * 14 bits); a run (up to 20 bits) alone.
    while (t + 4 <= tokenCount) {
        if ((tokens[t] | tokens[t + 1] | tokens[t + 2] | tokens[t + 3]) < 256) {
            const quint32 a = entries[tokens[t]], b = entries[tokens[t + 1]];
            const quint32 c = entries[tokens[t + 2]], d = entries[tokens[t + 3]];
            const int ab = countOf(a) + countOf(b);
            const int abc = ab + countOf(c);
            writer.put(bitsOf(a) | bitsOf(b) << countOf(a) | bitsOf(c) << ab | bitsOf(d) << abc, abc + countOf(d));
            t += 4;
        } else {
            writer.put(bitsOf(entries[tokens[t]]), countOf(entries[tokens[t]]));
            ++t;
        }
    }
    for (; t < tokenCount; ++t)
        writer.put(bitsOf(entries[tokens[t]]), countOf(entries[tokens[t]]));
    writer.put(literalCodes[endOfBlock], literalLengths[endOfBlock]);
}

bool anyZeroByte(quint64 v)
{
    return ((v - 0x0101010101010101ull) & ~v & 0x8080808080808080ull) != 0;
}

} // namespace

size_t RunLengthDeflater::bound(size_t size)
{
    const size_t blocks = size / blockInput + 1;
    const size_t storedPieces = size / storedBlockLimit + blocks;
    return 2 + size + 5 * storedPieces + 4 + 8; // the last 8: the bit writer's overhang
}

size_t RunLengthDeflater::compress(const uchar* data, size_t size, std::vector<uchar>& buffer)
{
    const auto& runCodes = lengthCodes();
    if (buffer.size() < bound(size))
        buffer.resize(bound(size));
    BitWriter writer(buffer.data());
    writer.put(0x78, 8); // deflate with a 32 KiB window
    writer.put(0x01, 8); // fastest compression; the header check makes it a multiple of 31
    if (size == 0)
        writeStored(writer, data, 0, true);

    for (size_t blockStart = 0; blockStart < size; blockStart += blockInput) {
        const size_t blockEnd = std::min(size, blockStart + blockInput);
        if (m_tokens.size() < blockEnd - blockStart)
            m_tokens.resize(blockEnd - blockStart);
        quint16* tokens = m_tokens.data();
        size_t tokenCount = 0;
        // Two tables, so that equal neighbours do not wait on each other's count.
        quint32 frequencies[literalLengthSymbols] = {};
        quint32 oddFrequencies[256] = {};
        frequencies[endOfBlock] = 1;
        // A run repeats the byte before it, which may lie in the previous block.
        for (size_t i = blockStart; i < blockEnd;) {
            // Eight positions at once where none starts a run of three or more, the
            // usual case in noise: no four equal bytes d[j - 1] .. d[j + 2].
            if (i > 0 && i + 10 <= blockEnd) {
                quint64 before, here, next, afterNext;
                std::memcpy(&before, data + i - 1, 8);
                std::memcpy(&here, data + i, 8);
                std::memcpy(&next, data + i + 1, 8);
                std::memcpy(&afterNext, data + i + 2, 8);
                if (!anyZeroByte((before ^ here) | (here ^ next) | (next ^ afterNext))) {
                    for (int k = 0; k < 8; k += 2) {
                        const uchar even = data[i + size_t(k)];
                        const uchar odd = data[i + size_t(k) + 1];
                        tokens[tokenCount + size_t(k)] = even;
                        tokens[tokenCount + size_t(k) + 1] = odd;
                        ++frequencies[even];
                        ++oddFrequencies[odd];
                    }
                    tokenCount += 8;
                    i += 8;
                    continue;
                }
            }
            const uchar value = data[i];
            if (i > 0 && value == data[i - 1]) {
                const size_t limit = std::min<size_t>(maximumRun, blockEnd - i);
                size_t run = 1;
                // Eight bytes at a time through long runs (empty parts of tiles).
                const quint64 repeated = 0x0101010101010101ull * value;
                while (run + 8 <= limit) {
                    const quint64 different = qFromLittleEndian<quint64>(data + i + run) ^ repeated;
                    if (different != 0) {
                        run += size_t(qCountTrailingZeroBits(different) / 8);
                        break;
                    }
                    run += 8;
                }
                while (run < limit && data[i + run] == value)
                    ++run;
                if (run >= 3) {
                    tokens[tokenCount++] = quint16(256 + run);
                    ++frequencies[runCodes[run].symbol];
                    i += run;
                    continue;
                }
            }
            tokens[tokenCount++] = value;
            ++frequencies[value];
            ++i;
        }
        for (int v = 0; v < 256; ++v)
            frequencies[v] += oddFrequencies[v];
        writeBlock(writer, tokens, tokenCount, frequencies, data + blockStart, blockEnd - blockStart, blockEnd == size);
    }
    writer.alignToByte();
    uchar checksum[4];
    qToBigEndian(quint32(libdeflate_adler32(1, data, size)), checksum);
    writer.putBytes(checksum, 4);
    return size_t(writer.end() - buffer.data());
}

} // namespace mivo::tilegen
