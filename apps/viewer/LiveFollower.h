// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QRectF>

class QAction;

namespace mivo {
class BaseDrawWidget;
namespace tiling {
class TileProvider;
}
} // namespace mivo

namespace mivo::viewer {

class ViewerActions;

/**
 * Follows a live source whose data grows at the newest time. Whenever the extents'
 * newest time grows, the tiles over the band that grew (and one finest tile pixel
 * before it, where the newest rows were still being filled) are reloaded through
 * TileProvider::reloadTiles(), so their old images stay on screen until the new ones
 * arrive. While following, the view is moved in time (its span kept) so that the
 * newest time stays at the bottom, with the same room below it as "All data" leaves.
 *
 * Following stops as soon as the user pans or zooms: a drag with the left button, the
 * wheel, a double-click, the navigation keys, or the zoom in, zoom out and zoom to
 * selection commands. "All data" (Home) resumes it, and so does the checkable follow
 * action (for the action bar), which also shows whether the view follows. A move of
 * the view by an animation in progress is skipped; the next growth catches up.
 *
 * A child of the drawing widget; the provider and the actions must outlive it.
 */
class LiveFollower : public QObject
{
    Q_OBJECT

public:
    LiveFollower(BaseDrawWidget& widget, tiling::TileProvider& provider, ViewerActions& actions);
    ~LiveFollower() override;

    /// Checkable; enabled only for a live source.
    QAction* followAction() const { return m_followAction; }

    /// Whether the source grows (the descriptor has an update interval, or the host
    /// says so). A live source is followed from now on when @p followNow is set; a
    /// source that is not live is never followed.
    void setLive(bool live, bool followNow);
    bool isLive() const { return m_live; }
    bool isFollowing() const { return m_following; }

    /// Starts (or stops) following; does nothing for a source that is not live.
    void setFollowing(bool following);

Q_SIGNALS:
    /// The following state changed (not emitted when set to what it was).
    void si_followingChanged(bool following);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    Q_DISABLE_COPY(LiveFollower)

    void sl_extentsChanged(const QRectF& extents);
    void showNewest();

    BaseDrawWidget& m_widget;
    tiling::TileProvider& m_provider;
    QAction* m_followAction; // child
    QRectF m_extents; // the extents seen last
    bool m_live = false;
    bool m_following = false;
};

} // namespace mivo::viewer
