// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IMouseHandler.h>
#include <mivo/mivo_export.h>

#include <QObject>
#include <QPoint>
#include <QPointF>
#include <QString>

namespace mivo {
class BaseDrawWidget;
}

namespace mivo::sdm {

class SdmWorkspaceRepository;
struct SdmWorkspaceItem;

/// How an SdmWorkspaceMouseHandler reads the mouse.
struct SdmWorkspaceMouseHandlerSettings
{
    /// The button whose click selects.
    Qt::MouseButton selectButton = Qt::LeftButton;
    /// The modifiers that make a click toggle instead of replace; they must match exactly.
    Qt::KeyboardModifiers toggleModifier = Qt::ControlModifier;
    /// The button whose double-click reports an item or activates a workspace.
    Qt::MouseButton doubleClickButton = Qt::LeftButton;
    /// Half the size of the square around the mouse that a click hits, in
    /// device-independent pixels.
    double hitTolerance = 1.0;
};

/**
 * Selects items of the repository's active workspace by clicking, reports
 * double-clicked items, and activates another workspace by double-clicking it.
 *
 * - A click (press and release of selectButton at exactly the same pixel) selects the
 *   front-most item, the one of smallest area, that meets the hitTolerance square
 *   around the mouse: alone, or with exactly toggleModifier held added to or removed
 *   from the selection. A plain click where there is no item clears the selection.
 *   When the selection changed, the repository's workspaceSelectionChanged() tells the
 *   painter. A click is taken (returns true) when there is an active workspace; the
 *   press never is, so a pan handler after this one still sees it.
 * - A double-click of doubleClickButton on an item makes it the only selected one and
 *   emits si_itemDoubleClicked(); elsewhere it activates the smallest workspace under
 *   the mouse that is not active already, if any (returning true only then).
 *
 * Kept as designed: setEnabled(false) turns off the double-click only; clicks still
 * select. After a click the remembered press position is (0, 0), so a release at
 * (0, 0) without a press of its own counts as a click.
 *
 * The widget and the repository are not owned and must outlive the handler. GUI thread
 * only.
 */
class MIVO_EXPORT SdmWorkspaceMouseHandler : public QObject, public IMouseHandler
{
    Q_OBJECT

public:
    SdmWorkspaceMouseHandler(BaseDrawWidget& widget, SdmWorkspaceRepository& repository);
    ~SdmWorkspaceMouseHandler() override;

    bool handleMousePress(QMouseEvent* event, bool handled) override;
    bool handleMouseRelease(QMouseEvent* event, bool handled) override;
    bool handleMouseDoubleClick(QMouseEvent* event, bool handled) override;

    /// Stores the flag; only the double-click reads it.
    void setEnabled(bool enabled);
    bool isEnabled() const { return m_enabled; }
    void setSettings(const SdmWorkspaceMouseHandlerSettings& settings);
    const SdmWorkspaceMouseHandlerSettings& settings() const { return m_settings; }

Q_SIGNALS:
    /// An item of the active workspace was double-clicked; it is now the only selected one.
    void si_itemDoubleClicked(const QString& itemId);

private:
    Q_DISABLE_COPY(SdmWorkspaceMouseHandler)

    SdmWorkspaceItem frontItemAt(const QPointF& valuePoint);
    void selectEmissionsAt(const QPointF& valuePoint, bool toggle);

    BaseDrawWidget& m_widget;
    SdmWorkspaceRepository& m_repository;
    bool m_enabled = true;
    SdmWorkspaceMouseHandlerSettings m_settings;
    QPoint m_pressPosition;
};

} // namespace mivo::sdm
