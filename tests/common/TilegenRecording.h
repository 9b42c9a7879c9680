// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Small recordings turned into tile sources by mivo-tilegen, for the suites that serve
// generated sources: a tone over weak deterministic noise, as raw little-endian cf32.
// The including target defines TILEGEN_EXECUTABLE and links mivo_test_servers.

#include "TestTiles.h"

#include <NginxServer.h>

#include <QByteArray>
#include <QProcess>
#include <QRectF>
#include <QString>
#include <QTemporaryDir>

#include <cmath>
#include <memory>

namespace testtiles {

struct Recording
{
    QString id;
    QString name;
    double sampleRate;
    double centre;
    double start;
    int samples;
    double toneOffset; ///< Hz from the centre; the tone is at half of full scale (-6 dBFS)

    // What mivo-tilegen documents for a complex recording: centre +- fs/2, start ..
    // start + samples / fs.
    QRectF extents() const { return QRectF(centre - sampleRate / 2, start, sampleRate, samples / sampleRate); }
    double toneFrequency() const { return centre + toneOffset; }
};

inline QByteArray cf32Samples(const Recording& recording)
{
    QByteArray bytes;
    bytes.reserve(recording.samples * 8);
    quint32 noise = 12345;
    const auto nextNoise = [&noise] {
        noise = noise * 1664525u + 1013904223u;
        return (float(noise >> 8) / float(1u << 24) - 0.5f) * 1e-3f;
    };
    for (int i = 0; i < recording.samples; ++i) {
        constexpr double pi = 3.14159265358979323846;
        const double phase = 2.0 * pi * recording.toneOffset * i / recording.sampleRate;
        const float iq[2] = {float(0.5 * std::cos(phase)) + nextNoise(), float(0.5 * std::sin(phase)) + nextNoise()};
        bytes.append(reinterpret_cast<const char*>(iq), sizeof iq);
    }
    return bytes;
}

/// Writes the recording as @p input and runs mivo-tilegen on it into @p output, with a
/// 256-point FFT and tiles of 64; an empty string, or what went wrong.
inline QString runTilegen(const Recording& recording, const QString& input, const QString& output)
{
    if (!writeFile(input, cf32Samples(recording)))
        return QStringLiteral("cannot write ") + input;
    QProcess process;
    process.start(QStringLiteral(TILEGEN_EXECUTABLE),
                  {input, output, QStringLiteral("--sample-rate"), QString::number(recording.sampleRate, 'g', 17),
                   QStringLiteral("--center-frequency"), QString::number(recording.centre, 'g', 17),
                   QStringLiteral("--start-time"), QString::number(recording.start, 'f', 3),
                   QStringLiteral("--fft-size"), QStringLiteral("256"), QStringLiteral("--tile-size"),
                   QStringLiteral("64"), QStringLiteral("--source-id"), recording.id, QStringLiteral("--name"),
                   recording.name, QStringLiteral("--quiet")});
    if (!process.waitForFinished(120000))
        return QStringLiteral("mivo-tilegen did not finish");
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return QString::fromLocal8Bit(process.readAllStandardError());
    return QString();
}

/// Two recordings far apart in frequency and time: 1 s at 100 MHz, and 0.5 s at
/// 433.92 MHz a day later, each with its tone off the centre.
inline const Recording alphaRecording{
    QStringLiteral("alpha"), QStringLiteral("Alpha band"), 48000.0, 100e6, 1704110400.0, 48000, 5000.0};
inline const Recording betaRecording{
    QStringLiteral("beta"), QStringLiteral("Beta band"), 96000.0, 433.92e6, 1704200000.5, 48000, -12000.0};

/// A temporary directory into which mivo-tilegen writes the two recordings as the
/// sources "alpha" and "beta" of /tiles, served by nginx.
struct ServedRecordings
{
    /// Empty, or what went wrong.
    QString start()
    {
        if (!dir.isValid())
            return QStringLiteral("no temporary directory");
        for (const Recording& recording : {alphaRecording, betaRecording}) {
            const QString error = runTilegen(recording, file(QStringLiteral("/%1.cf32").arg(recording.id)),
                                             file(QStringLiteral("/tiles")));
            if (!error.isEmpty())
                return error;
        }
        nginx = std::make_unique<NginxServer>(dir.path());
        QString error;
        return nginx->start(&error) ? QString() : error;
    }

    QString url(const QString& path) const { return nginx->baseUrl() + path; }
    QString file(const QString& path) const { return dir.path() + path; }

    QTemporaryDir dir;
    std::unique_ptr<NginxServer> nginx;
};

} // namespace testtiles

/// In a test function (initTestCase): skips without nginx, else starts @p served and
/// fails the test when that goes wrong.
#define MIVO_START_SERVED_RECORDINGS(served)                                                                           \
    do {                                                                                                               \
        if (!NginxServer::isAvailable())                                                                               \
            QSKIP("nginx is not installed (scripts/install-deps installs nginx-light)");                               \
        const QString servedError = (served).start();                                                                  \
        QVERIFY2(servedError.isEmpty(), qPrintable(servedError));                                                      \
    } while (false)
