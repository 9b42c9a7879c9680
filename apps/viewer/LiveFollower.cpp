// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LiveFollower.h"

#include "ViewerActions.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/tiling/TileProvider.h>

#include <QAction>
#include <QKeyEvent>
#include <QMouseEvent>

namespace mivo::viewer {

LiveFollower::LiveFollower(BaseDrawWidget& widget, tiling::TileProvider& provider, ViewerActions& actions)
    : QObject(&widget)
    , m_widget(widget)
    , m_provider(provider)
    , m_followAction(new QAction(QIcon(QStringLiteral(":/viewer/follow.svg")), tr("Follow"), this))
{
    m_followAction->setToolTip(tr("Follow the newest data of a live source (Home resumes)"));
    m_followAction->setCheckable(true);
    m_followAction->setEnabled(false);
    connect(m_followAction, &QAction::toggled, this, &LiveFollower::setFollowing);
    connect(actions.zoomToData(), &QAction::triggered, this, [this] { setFollowing(true); });
    for (QAction* zoom : {actions.zoomIn(), actions.zoomOut(), actions.zoomToSelection()})
        connect(zoom, &QAction::triggered, this, [this] { setFollowing(false); });
    connect(&m_provider.tileSystem(), &tiling::TileSystem::si_extentsChanged, this, &LiveFollower::sl_extentsChanged);
    m_widget.installEventFilter(this);
}

LiveFollower::~LiveFollower() = default;

void LiveFollower::setLive(bool live, bool followNow)
{
    m_live = live;
    m_followAction->setEnabled(live);
    setFollowing(live && followNow);
}

void LiveFollower::setFollowing(bool following)
{
    following = following && m_live;
    if (following == m_following)
        return;
    m_following = following;
    m_followAction->setChecked(following);
    if (following)
        showNewest();
    Q_EMIT si_followingChanged(following);
}

void LiveFollower::sl_extentsChanged(const QRectF& extents)
{
    const QRectF previous = m_extents;
    m_extents = extents;
    const double previousEnd = previous.top() + previous.height();
    const double end = extents.top() + extents.height();
    if (previous.width() > 0.0 && previous.height() > 0.0 && end > previousEnd) {
        // The newest rows before the old end may have been incomplete too.
        const double pixel = m_provider.tileSystem().y().basevalue;
        m_provider.reloadTiles(QRectF(extents.left(), previousEnd - pixel, extents.width(), end - previousEnd + pixel));
    }
    if (m_following)
        showNewest();
}

void LiveFollower::showNewest()
{
    CoordSystem& coords = m_widget.coordSystem();
    const QRectF extents = m_provider.tileSystem().extents();
    if (coords.isAnimated() || !(extents.height() > 0.0) || coords.y().displayedPixelSpan() <= 0.0)
        return;
    const QRectF shown = coords.displayedValueRange();
    const double room = shown.height() * dataMarginRatio / (1.0 + 2.0 * dataMarginRatio);
    coords.y().setOffset(extents.top() + extents.height() + room - shown.height());
}

bool LiveFollower::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == &m_widget && m_following) {
        switch (event->type()) {
        case QEvent::Wheel:
        case QEvent::MouseButtonDblClick:
            setFollowing(false);
            break;
        case QEvent::MouseMove:
            if (static_cast<QMouseEvent*>(event)->buttons() & Qt::LeftButton)
                setFollowing(false); // a pan
            break;
        case QEvent::KeyPress:
            switch (static_cast<QKeyEvent*>(event)->key()) {
            case Qt::Key_Left:
            case Qt::Key_Right:
            case Qt::Key_Up:
            case Qt::Key_Down:
            case Qt::Key_PageUp:
            case Qt::Key_PageDown:
                setFollowing(false);
                break;
            default:
                break; // + and - go through the zoom actions; Home resumes
            }
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace mivo::viewer
