// Raw interleaved samples: the first byte picks the sample format, the rest is the
// file. Every sample is read, some skipped.

#include "FuzzInput.h"

#include <core/Error.h>
#include <core/RawSignalSource.h>

#include <vector>

using namespace mivo::tilegen;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    SampleFormat format;
    format.type = SampleFormat::Type(data[0] % 8);
    format.complex = (data[0] & 0x10) != 0;
    format.bigEndian = (data[0] & 0x20) != 0;
    FileRegion region;
    region.offset = (data[0] & 0x40) ? 3 : 0;
    const QString path =
        fuzz::writeFile(QStringLiteral("input.raw"), reinterpret_cast<const char*>(data + 1), qint64(size - 1));
    try {
        SignalInfo info;
        info.sampleRate = 48000.0;
        RawSignalSource source(path, format, info, region);
        std::vector<float> samples(2 * 1024);
        if (data[0] & 0x80)
            source.skip(7);
        qint64 total = 0;
        while (const qint64 n = source.read(samples.data(), 1024)) {
            total += n;
            if (n < 0 || n > 1024 || total > source.info().sampleCount)
                abort();
        }
    } catch (const Error&) {
    }
    return 0;
}
