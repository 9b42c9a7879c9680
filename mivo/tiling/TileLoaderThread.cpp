#include <mivo/tiling/TileLoaderThread.h>

#include <mivo/tiling/TileServerProtocol.h>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

namespace mivo::tiling {

namespace {

const char tileIdProperty[] = "tileid";

} // namespace

TileLoaderThread::TileLoaderThread()
    : m_networkAccessManager(new QNetworkAccessManager(this))
{
    moveToThread(this);
    connect(m_networkAccessManager, &QNetworkAccessManager::finished, this, &TileLoaderThread::sl_replyFinished);
}

TileLoaderThread::~TileLoaderThread()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
}

void TileLoaderThread::run()
{
    exec();
    const std::lock_guard<std::mutex> lock(m_mutex);
}

void TileLoaderThread::setBaseUrl(const QString& baseUrl)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_baseUrl = baseUrl;
}

QString TileLoaderThread::baseUrl() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_baseUrl;
}

void TileLoaderThread::sl_loadTile(TileId tileId, bool highPriority)
{
    // No second request, and the running request keeps its priority.
    if (m_pendingReplies.contains(tileId) || !m_networkAccessManager)
        return;
    QNetworkRequest request(QUrl(tileUrl(baseUrl(), tileId), QUrl::TolerantMode));
    request.setPriority(highPriority ? QNetworkRequest::HighPriority : QNetworkRequest::NormalPriority);
    // Stated, not left to Qt's default (which Qt 6 changes): a tile is its URL's answer.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply* reply = m_networkAccessManager->get(request);
    reply->setProperty(tileIdProperty, QVariant::fromValue(tileId));
    m_pendingReplies.insert(tileId, reply);
}

void TileLoaderThread::sl_cancelLoadTile(TileId tileId)
{
    // Kept on purpose: the request is not aborted and stays pending; it ends and is
    // reported like any other. Only the SSL errors are to be ignored from now on.
    QNetworkReply* reply = m_pendingReplies.value(tileId, nullptr);
    if (reply)
        reply->ignoreSslErrors();
}

void TileLoaderThread::sl_shutdown()
{
    if (m_networkAccessManager) {
        // Deleted in this thread, as the thread ends, rather than by the thread
        // object's destructor in the loader's thread.
        m_networkAccessManager->setParent(nullptr);
        m_networkAccessManager->deleteLater();
        m_networkAccessManager = nullptr;
    }
    m_pendingReplies.clear();
    quit();
}

void TileLoaderThread::sl_replyFinished(QNetworkReply* reply)
{
    const QVariant property = reply->property(tileIdProperty);
    if (!property.isValid())
        return; // not ours: left alone
    const TileId tileId = property.value<TileId>();
    if (reply->error() == QNetworkReply::NoError)
        Q_EMIT si_tileLoaded(parseTile(reply->readAll(), tileId));
    else
        Q_EMIT si_tileLoadFailed(tileId);
    m_pendingReplies.remove(tileId);
    reply->deleteLater();
}

} // namespace mivo::tiling
