// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SourcePublisher.h"

#include "BackgroundFlusher.h"
#include "Documents.h"
#include <common/Error.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QRegularExpression>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/fs.h>
#endif

namespace mivo::tilegen {

namespace {

const QLatin1String sourceListName("tilesources.json");

constexpr int maximumKnownDirectories = 4096;

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool processIsAlive(qint64 pid)
{
    return ::kill(pid_t(pid), 0) == 0 || errno == EPERM;
}

// Exchanges two directory entries atomically; false where the file system cannot.
bool exchange(const QString& a, const QString& b)
{
#ifdef RENAME_EXCHANGE
    return ::renameat2(AT_FDCWD, QFile::encodeName(a).constData(), AT_FDCWD, QFile::encodeName(b).constData(),
                       RENAME_EXCHANGE)
        == 0;
#else
    Q_UNUSED(a);
    Q_UNUSED(b);
    errno = ENOSYS;
    return false;
#endif
}

bool renameEntry(const QString& from, const QString& to)
{
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

// Puts everything written so far on the file system holding `directory` on disk.
void flushFileSystem(const QString& directory)
{
    const int fd = ::open(QFile::encodeName(directory).constData(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return;
    ::syncfs(fd);
    ::close(fd);
}

// Asks the file system to treat `directory` as the top of a hierarchy of its own. On
// ext4 that places its subdirectories, and with them the tiles, in block groups with
// few directories instead of beside the parent's. That matters on ext4 without a
// journal, which skips every inode freed in the last minutes when it allocates one,
// scanning from the start of the group: in a directory where other programs create and
// delete many files (as /tmp), creating a pyramid's thousands of files then cost
// several times as much as the tiles' whole computation. Elsewhere the flag does
// nothing, and failing to set it is no error.
void markAsTopOfHierarchy(const QString& directory)
{
#if defined(FS_IOC_GETFLAGS) && defined(FS_IOC_SETFLAGS) && defined(FS_TOPDIR_FL)
    const int fd = ::open(QFile::encodeName(directory).constData(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return;
    int flags = 0;
    if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0 && !(flags & FS_TOPDIR_FL)) {
        flags |= FS_TOPDIR_FL;
        ::ioctl(fd, FS_IOC_SETFLAGS, &flags);
    }
    ::close(fd);
#else
    Q_UNUSED(directory);
#endif
}

} // namespace

void SourcePublisher::writeFileAtomically(const QString& path, const QByteArray& data)
{
    // Temporary file beside the target, then rename: readers see the old file or the
    // whole new one. No fsync per file (QSaveFile's does cost a millisecond per tile);
    // publish() flushes the file system once before anything becomes visible.
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    const QString temporary = path.left(slash + 1) + QLatin1Char('.') + path.mid(slash + 1)
        + QStringLiteral(".%1.part").arg(QCoreApplication::applicationPid());
    QFile file(temporary);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw apps::Error(path, QStringLiteral("cannot write: %1").arg(file.errorString()));
    const bool written = file.write(data) == data.size() && file.flush();
    const QString reason = file.errorString();
    file.close();
    if (!written || file.error() != QFileDevice::NoError) {
        QFile::remove(temporary);
        throw apps::Error(path, QStringLiteral("cannot write: %1").arg(written ? file.errorString() : reason));
    }
    if (!renameEntry(temporary, path)) {
        const QString renameReason = systemError();
        QFile::remove(temporary);
        throw apps::Error(path, QStringLiteral("cannot write: %1").arg(renameReason));
    }
}

SourcePublisher::SourcePublisher(const QString& outputDirectory, const QString& sourceId, FileWriter writer)
    : m_outputDir(QDir::cleanPath(QDir(outputDirectory).absolutePath()))
    , m_sourceId(sourceId)
    , m_sourceDir(m_outputDir + QLatin1Char('/') + sourceId)
    , m_stagingDir(m_outputDir
                   + QStringLiteral("/.%1.partial-%2").arg(sourceId).arg(QCoreApplication::applicationPid()))
    , m_targetDir(m_stagingDir)
    , m_writer(std::move(writer))
{
    Q_ASSERT(isValidSourceId(sourceId) && "a source id names a directory of its own");
}

SourcePublisher::~SourcePublisher()
{
    if (!m_published)
        abandon();
}

bool SourcePublisher::isValidSourceId(const QString& id)
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z0-9_-][A-Za-z0-9._-]*$"));
    return pattern.match(id).hasMatch() && id.size() <= 200;
}

QString SourcePublisher::sourceListPath() const
{
    return m_outputDir + QLatin1Char('/') + sourceListName;
}

void SourcePublisher::removeLeftovers() const
{
    const QDir output(m_outputDir);
    const QRegularExpression pattern(
        QStringLiteral("^\\.%1\\.(partial|old)-(\\d+)$").arg(QRegularExpression::escape(m_sourceId)));
    const QStringList entries = output.entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        const QRegularExpressionMatch match = pattern.match(entry);
        if (!match.hasMatch())
            continue;
        const qint64 pid = match.captured(2).toLongLong();
        if (pid != QCoreApplication::applicationPid() && processIsAlive(pid))
            continue; // another run is working on it
        QDir(output.filePath(entry)).removeRecursively();
    }
}

void SourcePublisher::prepare()
{
    if (!QDir().mkpath(m_outputDir))
        throw apps::Error(m_outputDir, QStringLiteral("cannot create the output directory: %1").arg(systemError()));
    const QFileInfo outputInfo(m_outputDir);
    if (!outputInfo.isDir())
        throw apps::Error(m_outputDir, QStringLiteral("is not a directory"));
    if (!outputInfo.isWritable())
        throw apps::Error(m_outputDir, QStringLiteral("cannot write into the output directory: Permission denied"));
    const QFileInfo sourceInfo(m_sourceDir);
    if (sourceInfo.exists() && !sourceInfo.isDir())
        throw apps::Error(m_sourceDir, QStringLiteral("exists and is not a directory"));

    QFile list(sourceListPath());
    if (list.exists()) {
        if (!list.open(QIODevice::ReadOnly))
            throw apps::Error(list.fileName(), QStringLiteral("cannot read: %1").arg(list.errorString()));
        parseSourceList(list.readAll(), list.fileName());
    }

    removeLeftovers();
    if (QFileInfo::exists(m_stagingDir))
        QDir(m_stagingDir).removeRecursively();
    if (!QDir().mkdir(m_stagingDir))
        throw apps::Error(m_stagingDir, QStringLiteral("cannot create a directory: %1").arg(systemError()));
    markAsTopOfHierarchy(m_stagingDir);
    m_flusher = std::make_unique<BackgroundFlusher>(m_stagingDir);
    m_prepared = true;
}

void SourcePublisher::ensureDirectory(const QString& path)
{
    const std::lock_guard<std::mutex> lock(m_directoryMutex);
    if (m_createdDirectories.contains(path))
        return;
    if (!QDir().mkpath(path))
        throw apps::Error(path, QStringLiteral("cannot create a directory: %1").arg(systemError()));
    // A live source makes new directories without end: the set is forgotten now and
    // then (mkpath finds existing ones again), so that its memory stays bounded.
    if (m_createdDirectories.size() >= maximumKnownDirectories)
        m_createdDirectories.clear();
    m_createdDirectories.insert(path);
}

void SourcePublisher::writeTile(const TileKey& key, const QByteArray& png)
{
    Q_ASSERT(m_prepared && "prepare() creates the staging directory");
    const QString path = m_targetDir + QLatin1Char('/') + key.relativePath();
    ensureDirectory(path.left(path.lastIndexOf(QLatin1Char('/'))));
    m_writer(path, png);
    m_flusher->written(png.size());
}

void SourcePublisher::writeDocument(const QString& fileName, const QByteArray& data)
{
    Q_ASSERT(m_prepared && "prepare() creates the staging directory");
    m_writer(m_targetDir + QLatin1Char('/') + fileName, data);
}

void SourcePublisher::removeTileRow(int yZoom, qint64 y)
{
    Q_ASSERT(m_prepared && "prepare() creates the staging directory");
    const QString path = m_targetDir + QStringLiteral("/%1/%2").arg(yZoom).arg(y);
    {
        const std::lock_guard<std::mutex> lock(m_directoryMutex);
        const QString prefix = path + QLatin1Char('/');
        for (auto it = m_createdDirectories.begin(); it != m_createdDirectories.end();) {
            if (*it == path || it->startsWith(prefix))
                it = m_createdDirectories.erase(it);
            else
                ++it;
        }
    }
    QDir(path).removeRecursively();
}

void SourcePublisher::publish()
{
    Q_ASSERT(m_prepared && !m_published);
    // Serialises concurrent runs that publish into the same directory.
    QLockFile lock(m_outputDir + QStringLiteral("/.tilesources.json.lock"));
    if (!lock.lock())
        throw apps::Error(sourceListPath(), QStringLiteral("cannot lock for update"));

    QStringList ids;
    QFile list(sourceListPath());
    if (list.exists()) {
        if (!list.open(QIODevice::ReadOnly))
            throw apps::Error(list.fileName(), QStringLiteral("cannot read: %1").arg(list.errorString()));
        ids = parseSourceList(list.readAll(), list.fileName());
        list.close();
    }
    if (!ids.contains(m_sourceId))
        ids.append(m_sourceId);

    m_flusher->flush();
    const QString oldDir
        = m_outputDir + QStringLiteral("/.%1.old-%2").arg(m_sourceId).arg(QCoreApplication::applicationPid());
    if (QFileInfo::exists(m_sourceDir)) {
        if (exchange(m_stagingDir, m_sourceDir)) {
            // The staging path now holds the old pyramid.
            if (!renameEntry(m_stagingDir, oldDir))
                QDir(m_stagingDir).removeRecursively();
        } else {
            if (!renameEntry(m_sourceDir, oldDir))
                throw apps::Error(m_sourceDir,
                                  QStringLiteral("cannot replace the existing source: %1").arg(systemError()));
            if (!renameEntry(m_stagingDir, m_sourceDir)) {
                const QString reason = systemError();
                renameEntry(oldDir, m_sourceDir);
                throw apps::Error(m_sourceDir, QStringLiteral("cannot publish the new source: %1").arg(reason));
            }
        }
    } else if (!renameEntry(m_stagingDir, m_sourceDir)) {
        throw apps::Error(m_sourceDir, QStringLiteral("cannot publish the new source: %1").arg(systemError()));
    }
    m_published = true;
    {
        // Further writes go into the published source; its directories are known.
        const std::lock_guard<std::mutex> lock(m_directoryMutex);
        QSet<QString> moved;
        for (const QString& directory : qAsConst(m_createdDirectories))
            moved.insert(m_sourceDir + directory.mid(m_stagingDir.size()));
        m_createdDirectories = moved;
        m_targetDir = m_sourceDir;
    }
    if (QFileInfo::exists(oldDir))
        QDir(oldDir).removeRecursively();

    m_writer(sourceListPath(), sourceListJson(ids));
    flushFileSystem(m_outputDir);
}

void SourcePublisher::abandon()
{
    if (m_published || m_stagingDir.isEmpty())
        return;
    m_flusher.reset();
    if (QFileInfo::exists(m_stagingDir))
        QDir(m_stagingDir).removeRecursively();
    m_prepared = false;
}

} // namespace mivo::tilegen
