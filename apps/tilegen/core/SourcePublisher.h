// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TileKey.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>

namespace mivo::tilegen {

class BackgroundFlusher;

// Publishes one tile source into an output directory so that a server never shows a
// half-written pyramid. Everything is first written into a hidden staging directory
// beside the source (".<id>.partial-<pid>"), every file through a temporary file and a
// rename; publish() flushes the file system, then swaps the staging directory with
// <out>/<id> in one atomic rename (falling back to two renames where the file system
// cannot swap), removes the old pyramid and writes tilesources.json last. While tiles
// are written, the file system is flushed in the background every 16 MiB, so that
// little is left for that last flush. Until publish() nothing in the output directory
// changes; a publisher destroyed or abandoned before that removes its staging
// directory. Staging and old directories left by killed runs are removed by the next
// run for the same source id.
class SourcePublisher
{
public:
    // Writes `data` to `path`; throws apps::Error naming the file on failure.
    using FileWriter = std::function<void(const QString& path, const QByteArray& data)>;

    // The default writer: a temporary file in the same directory, then a rename.
    static void writeFileAtomically(const QString& path, const QByteArray& data);

    // The source id must be a plain file name (letters, digits, '.', '_', '-'; not
    // starting with '.'); see isValidSourceId().
    SourcePublisher(const QString& outputDirectory, const QString& sourceId,
                    FileWriter writer = &SourcePublisher::writeFileAtomically);
    ~SourcePublisher();
    SourcePublisher(const SourcePublisher&) = delete;
    SourcePublisher& operator=(const SourcePublisher&) = delete;

    static bool isValidSourceId(const QString& id);

    // Creates the output and staging directories and checks that an existing
    // tilesources.json can be merged. Throws apps::Error.
    void prepare();

    // Thread-safe. Throws apps::Error. Before publish() into staging; after it (a live
    // source) into the published source in place, each file atomically.
    void writeTile(const TileKey& key, const QByteArray& png);

    // A document of the source (tiledescriptor.json, ...), written like a tile.
    void writeDocument(const QString& fileName, const QByteArray& data);

    // Removes the tiles of tile row `y` at y level `yZoom` (all x levels) from where
    // tiles are written now. Missing tiles are no error.
    void removeTileRow(int yZoom, qint64 y);

    // Makes the staged source visible and lists it in tilesources.json. Throws apps::Error;
    // on failure before the swap nothing visible has changed.
    void publish();

    // Removes the staging directory; nothing is published.
    void abandon();

    QString stagingDirectory() const { return m_stagingDir; }
    QString sourceDirectory() const { return m_sourceDir; }
    QString sourceListPath() const;

private:
    void ensureDirectory(const QString& path);
    void removeLeftovers() const;

    QString m_outputDir;
    QString m_sourceId;
    QString m_sourceDir;
    QString m_stagingDir;
    QString m_targetDir; // staging until published, then the source itself
    FileWriter m_writer;
    std::unique_ptr<BackgroundFlusher> m_flusher; // tiles reach the disk while more are computed
    std::mutex m_directoryMutex;
    QSet<QString> m_createdDirectories;
    bool m_prepared = false;
    bool m_published = false;
};

} // namespace mivo::tilegen
