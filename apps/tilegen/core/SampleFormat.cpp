// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SampleFormat.h"

#include <QRegularExpression>
#include <QtEndian>

#include <cstring>

namespace mivo::tilegen {

namespace {

int componentBytes(SampleFormat::Type type)
{
    switch (type) {
    case SampleFormat::Type::Int8:
    case SampleFormat::Type::UInt8:
        return 1;
    case SampleFormat::Type::Int16:
    case SampleFormat::Type::UInt16:
        return 2;
    case SampleFormat::Type::Int32:
    case SampleFormat::Type::UInt32:
    case SampleFormat::Type::Float32:
        return 4;
    case SampleFormat::Type::Float64:
        return 8;
    }
    return 0;
}

template <typename T> T load(const char* p, bool bigEndian)
{
    return bigEndian ? qFromBigEndian<T>(p) : qFromLittleEndian<T>(p);
}

template <typename T, typename Convert>
void decodeAll(const char* in, qint64 values, bool bigEndian, float* out, Convert convert)
{
    for (qint64 i = 0; i < values; ++i)
        out[i] = convert(load<T>(in + i * qint64(sizeof(T)), bigEndian));
}

} // namespace

int SampleFormat::bytesPerSample() const
{
    return componentBytes(type) * componentsPerSample();
}

QString SampleFormat::sigMfName() const
{
    QString name = complex ? QStringLiteral("c") : QStringLiteral("r");
    switch (type) {
    case Type::Int8:
        name += QStringLiteral("i8");
        break;
    case Type::UInt8:
        name += QStringLiteral("u8");
        break;
    case Type::Int16:
        name += QStringLiteral("i16");
        break;
    case Type::UInt16:
        name += QStringLiteral("u16");
        break;
    case Type::Int32:
        name += QStringLiteral("i32");
        break;
    case Type::UInt32:
        name += QStringLiteral("u32");
        break;
    case Type::Float32:
        name += QStringLiteral("f32");
        break;
    case Type::Float64:
        name += QStringLiteral("f64");
        break;
    }
    if (componentBytes(type) > 1)
        name += bigEndian ? QStringLiteral("_be") : QStringLiteral("_le");
    return name;
}

std::optional<SampleFormat> SampleFormat::fromName(const QString& name)
{
    const QString lower = name.trimmed().toLower();
    // Short names of rtl_sdr, inspectrum and friends: always little endian.
    if (lower == QLatin1String("cs8"))
        return SampleFormat{Type::Int8, true, false};
    if (lower == QLatin1String("cs16"))
        return SampleFormat{Type::Int16, true, false};
    if (lower == QLatin1String("cs32"))
        return SampleFormat{Type::Int32, true, false};

    static const QRegularExpression pattern(QStringLiteral("^([rc])([fiu])(8|16|32|64)(?:_(le|be))?$"));
    const QRegularExpressionMatch match = pattern.match(lower);
    if (!match.hasMatch())
        return std::nullopt;

    SampleFormat format;
    format.complex = match.captured(1) == QLatin1String("c");
    const QString kind = match.captured(2);
    const int bits = match.captured(3).toInt();
    const QString endian = match.captured(4);
    if (kind == QLatin1String("f")) {
        if (bits == 32)
            format.type = Type::Float32;
        else if (bits == 64)
            format.type = Type::Float64;
        else
            return std::nullopt;
    } else {
        const bool isSigned = kind == QLatin1String("i");
        switch (bits) {
        case 8:
            format.type = isSigned ? Type::Int8 : Type::UInt8;
            break;
        case 16:
            format.type = isSigned ? Type::Int16 : Type::UInt16;
            break;
        case 32:
            format.type = isSigned ? Type::Int32 : Type::UInt32;
            break;
        default:
            return std::nullopt;
        }
    }
    // One-byte types carry no byte order; every wider type without one is taken as
    // little endian, as the short raw names (cf32, cu16) mean.
    if (bits == 8 && !endian.isEmpty())
        return std::nullopt;
    format.bigEndian = endian == QLatin1String("be");
    return format;
}

QString SampleFormat::rawNamesHelp()
{
    return QStringLiteral("cu8, cs8, cs16, cf32 or a SigMF datatype such as ci16_le, cf32_le, rf32_le");
}

void SampleFormat::decode(const char* in, qint64 count, float* out) const
{
    const qint64 values = count * componentsPerSample();
    switch (type) {
    case Type::Int8:
        decodeAll<qint8>(in, values, false, out, [](qint8 v) { return float(v) / 128.0f; });
        break;
    case Type::UInt8:
        // Offset binary: 127.5 is the zero line, so that 0 and 255 are symmetric.
        decodeAll<quint8>(in, values, false, out, [](quint8 v) { return (float(v) - 127.5f) / 127.5f; });
        break;
    case Type::Int16:
        decodeAll<qint16>(in, values, bigEndian, out, [](qint16 v) { return float(v) / 32768.0f; });
        break;
    case Type::UInt16:
        decodeAll<quint16>(in, values, bigEndian, out, [](quint16 v) { return (float(v) - 32767.5f) / 32767.5f; });
        break;
    case Type::Int32:
        decodeAll<qint32>(in, values, bigEndian, out, [](qint32 v) { return float(double(v) / 2147483648.0); });
        break;
    case Type::UInt32:
        decodeAll<quint32>(in, values, bigEndian, out,
                           [](quint32 v) { return float((double(v) - 2147483647.5) / 2147483647.5); });
        break;
    case Type::Float32:
        decodeAll<quint32>(in, values, bigEndian, out, [](quint32 bits) {
            float v;
            std::memcpy(&v, &bits, sizeof v);
            return v;
        });
        break;
    case Type::Float64:
        decodeAll<quint64>(in, values, bigEndian, out, [](quint64 bits) {
            double v;
            std::memcpy(&v, &bits, sizeof v);
            return float(v);
        });
        break;
    }
}

} // namespace mivo::tilegen
