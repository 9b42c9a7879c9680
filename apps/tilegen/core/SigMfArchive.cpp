// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SigMfArchive.h"

#include <common/Error.h>

#include <QFile>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <vector>

namespace mivo::tilegen {

namespace {

constexpr qint64 blockSize = 512;
// Metadata documents are small; a larger member is not what it claims to be.
constexpr qint64 maxMetaBytes = 64 * 1024 * 1024;

using Block = std::array<char, blockSize>;

struct Member
{
    QString name;
    qint64 offset = 0;
    qint64 size = 0;
};

QByteArray field(const Block& block, int offset, int length)
{
    const char* begin = block.data() + offset;
    return QByteArray(begin, int(std::find(begin, begin + length, '\0') - begin));
}

// Octal digits padded with spaces or NULs, or GNU's base-256 form for large sizes.
std::optional<qint64> number(const Block& block, int offset, int length)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(block.data() + offset);
    if (bytes[0] & 0x80) {
        quint64 value = bytes[0] & 0x7f;
        for (int i = 1; i < length; ++i) {
            if (value > (quint64(std::numeric_limits<qint64>::max()) >> 8))
                return std::nullopt;
            value = (value << 8) | bytes[i];
        }
        return qint64(value);
    }
    qint64 value = 0;
    int i = 0;
    while (i < length && bytes[i] == ' ')
        ++i;
    bool digits = false;
    for (; i < length && bytes[i] >= '0' && bytes[i] <= '7'; ++i) {
        if (value > (std::numeric_limits<qint64>::max() >> 3))
            return std::nullopt;
        value = value * 8 + (bytes[i] - '0');
        digits = true;
    }
    for (; i < length; ++i) {
        if (bytes[i] != ' ' && bytes[i] != '\0')
            return std::nullopt;
    }
    return digits ? std::optional<qint64>(value) : std::nullopt;
}

bool isZeroBlock(const Block& block)
{
    return std::all_of(block.begin(), block.end(), [](char c) { return c == '\0'; });
}

// The checksum counts the header with its own field read as spaces. Old tars summed
// signed chars, so either sum is accepted.
bool checksumMatches(const Block& block)
{
    const std::optional<qint64> stored = number(block, 148, 8);
    if (!stored)
        return false;
    qint64 unsignedSum = 0;
    qint64 signedSum = 0;
    for (int i = 0; i < blockSize; ++i) {
        const bool inField = i >= 148 && i < 156;
        unsignedSum += inField ? ' ' : static_cast<unsigned char>(block[size_t(i)]);
        signedSum += inField ? ' ' : static_cast<signed char>(block[size_t(i)]);
    }
    return *stored == unsignedSum || *stored == signedSum;
}

// Records of a pax extended header: "<length> <key>=<value>\n".
QByteArray paxValue(const QByteArray& records, const QByteArray& key)
{
    QByteArray value;
    int at = 0;
    while (at < records.size()) {
        const int space = records.indexOf(' ', at);
        if (space < 0)
            break;
        bool ok = false;
        const int length = records.mid(at, space - at).toInt(&ok);
        if (!ok || length <= space - at || at + length > records.size())
            break;
        const QByteArray record = records.mid(space + 1, at + length - space - 2); // without "\n"
        const int equals = record.indexOf('=');
        if (equals > 0 && record.left(equals) == key)
            value = record.mid(equals + 1);
        at += length;
    }
    return value;
}

class TarReader
{
public:
    explicit TarReader(const QString& path)
        : m_file(path)
    {
        if (!m_file.open(QIODevice::ReadOnly))
            throw apps::Error(path, QStringLiteral("cannot open: %1").arg(m_file.errorString()));
    }

    std::vector<Member> members()
    {
        std::vector<Member> found;
        QByteArray longName; // from a GNU 'L' or pax 'x' entry, for the next member
        qint64 paxSize = -1; // from a pax 'x' entry, for the next member; -1: none
        qint64 at = 0;
        Block block;
        while (readBlock(at, block)) {
            if (isZeroBlock(block))
                return found;
            if (!checksumMatches(block))
                throw problem(at == 0 ? notTar() : QStringLiteral("has a damaged header at byte %1").arg(at));
            const std::optional<qint64> headerSize = number(block, 124, 12);
            if (!headerSize)
                throw problem(QStringLiteral("has a malformed size at byte %1").arg(at + 124));
            const qint64 dataOffset = at + blockSize;
            const qint64 size = paxSize >= 0 ? paxSize : *headerSize;
            if (size > m_file.size() - dataOffset)
                throw problem(
                    QStringLiteral("is cut short: a member needs %1 bytes at byte %2").arg(size).arg(dataOffset));
            const char type = block[156];
            if (type == 'K') {
                // GNU long link name: says nothing about the next member's name.
            } else if (type == 'L' || type == 'x') {
                const QByteArray content = readContent(dataOffset, size);
                if (type == 'L') {
                    longName = content.left(content.indexOf('\0') < 0 ? content.size() : content.indexOf('\0'));
                } else {
                    const QByteArray path = paxValue(content, "path");
                    if (!path.isEmpty())
                        longName = path;
                    const QByteArray paxSizeText = paxValue(content, "size");
                    bool ok = false;
                    const qint64 value = paxSizeText.toLongLong(&ok);
                    if (ok && value >= 0)
                        paxSize = value;
                }
            } else {
                if (type == '0' || type == '\0' || type == '7') {
                    QByteArray name = longName;
                    if (name.isEmpty()) {
                        name = field(block, 0, 100);
                        const QByteArray prefix = field(block, 345, 155);
                        if (field(block, 257, 5) == "ustar" && !prefix.isEmpty())
                            name = prefix + '/' + name;
                    }
                    found.push_back({QString::fromUtf8(name), dataOffset, size});
                }
                longName.clear();
                paxSize = -1;
            }
            at = dataOffset + (size + blockSize - 1) / blockSize * blockSize;
        }
        // A missing end marker is tolerated: every member read was complete.
        return found;
    }

    QByteArray readContent(qint64 offset, qint64 size)
    {
        if (size > maxMetaBytes)
            throw problem(
                QStringLiteral("has a %1-byte header or metadata member, more than a SigMF archive holds").arg(size));
        if (!m_file.seek(offset))
            throw problem(QStringLiteral("seek failed: %1").arg(m_file.errorString()));
        const QByteArray content = m_file.read(size);
        if (content.size() != size)
            throw problem(QStringLiteral("read error: %1").arg(m_file.errorString()));
        return content;
    }

    apps::Error problem(const QString& text) const { return apps::Error(m_file.fileName(), text); }

private:
    static QString notTar()
    {
        return QStringLiteral("is not a tar archive (SigMF archives are uncompressed tar files)");
    }

    bool readBlock(qint64 at, Block& block)
    {
        if (!m_file.seek(at))
            return false;
        const qint64 got = m_file.read(block.data(), blockSize);
        if (got < 0)
            throw problem(QStringLiteral("read error: %1").arg(m_file.errorString()));
        if (got == 0)
            return false;
        if (got < blockSize)
            throw problem(at == 0 ? notTar() : QStringLiteral("is cut short inside the header at byte %1").arg(at));
        return true;
    }

    QFile m_file;
};

} // namespace

SigMfArchive SigMfArchive::read(const QString& path)
{
    TarReader tar(path);
    const std::vector<Member> members = tar.members();
    const QString metaSuffix = QStringLiteral(".sigmf-meta");
    std::vector<const Member*> metas;
    for (const Member& member : members) {
        if (member.name.endsWith(metaSuffix))
            metas.push_back(&member);
    }
    if (metas.empty())
        throw tar.problem(QStringLiteral("holds no *.sigmf-meta member"));
    if (metas.size() > 1)
        throw tar.problem(
            QStringLiteral("holds %1 recordings; unpack it and convert them one by one").arg(metas.size()));

    const Member& meta = *metas.front();
    const QString dataName = meta.name.left(meta.name.size() - metaSuffix.size()) + QStringLiteral(".sigmf-data");
    const auto data = std::find_if(members.begin(), members.end(), [&](const Member& m) { return m.name == dataName; });
    if (data == members.end())
        throw tar.problem(QStringLiteral("holds %1 but not %2").arg(meta.name, dataName));

    SigMfArchive archive;
    archive.metaName = meta.name;
    archive.meta = tar.readContent(meta.offset, meta.size);
    archive.data.offset = data->offset;
    archive.data.size = data->size;
    archive.data.name = path + QStringLiteral(": ") + dataName;
    return archive;
}

} // namespace mivo::tilegen
