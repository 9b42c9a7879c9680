// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/sdm/SdmWorkspace.h>

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <memory>

namespace mivo::sdm {

/**
 * The workspaces one drawing widget shows, by id, with the one that is active, and the
 * one place that announces changes to them: after changing a workspace the host calls
 * workspaceChanged() or workspaceSelectionChanged(), and the repository emits the
 * matching signal, on which the paint handler repaints.
 *
 * Registration, lookup and the signal guards all go by id (SdmWorkspace::id()), not by
 * object. The repository shares ownership of the workspaces it holds. Lists come in
 * ascending id order. The geometric queries use each workspace's extents(); an
 * empty workspace without declared extents (whose extents are the invalid inverted
 * box, see SdmWorkspace::realExtents()) contains no point, lies in no rectangle,
 * overlaps none and adds nothing to workspacesExtents().
 *
 * An empty pointer is ignored by addWorkspace(), removeWorkspace(), workspaceChanged()
 * and workspaceSelectionChanged() (nothing is emitted); setActivateWorkspace() takes it.
 *
 * GUI thread only; no lock of its own. Signals are emitted synchronously from the
 * calling function.
 */
class MIVO_EXPORT SdmWorkspaceRepository : public QObject
{
    Q_OBJECT

public:
    /// No parent.
    SdmWorkspaceRepository();
    ~SdmWorkspaceRepository() override;

    /// Registers @p workspace and emits si_workspaceAdded() unless its id is
    /// registered already: then the registered one stays and nothing is emitted.
    void addWorkspace(const std::shared_ptr<SdmWorkspace>& workspace);
    /// Unregisters the workspace with the id of @p workspace (which need not be the
    /// same object) and emits si_workspaceRemoved(@p workspace); nothing when no
    /// workspace has that id. Kept: the active workspace stays active when removed.
    void removeWorkspace(const std::shared_ptr<SdmWorkspace>& workspace);
    /**
     * Makes @p workspace active and emits si_activeWorkspaceChanged(), unless it is
     * the active one already (same pointer). Kept: it need not be registered, and may
     * be empty.
     */
    void setActivateWorkspace(const std::shared_ptr<SdmWorkspace>& workspace);
    /// The active workspace; empty until one is set.
    std::shared_ptr<SdmWorkspace> activeWorkspace() const;

    /// The registered workspace with @p id, or an empty pointer.
    std::shared_ptr<SdmWorkspace> workspace(const QString& id) const;
    /// Every registered workspace.
    QList<std::shared_ptr<SdmWorkspace>> workspaces() const;
    /// The workspaces whose extents contain @p point (QRectF::contains).
    QList<std::shared_ptr<SdmWorkspace>> workspacesAt(const QPointF& point) const;
    /// The workspaces whose extents lie wholly inside @p rect.
    QList<std::shared_ptr<SdmWorkspace>> workspacesContained(const QRectF& rect) const;
    /// The workspaces whose extents overlap @p rect (QRectF::intersects). Kept: an
    /// overlap test despite the name, so a workspace partly in @p rect is listed.
    QList<std::shared_ptr<SdmWorkspace>> workspacesWithin(const QRectF& rect) const;
    /// The union of the extents of all registered workspaces, in id order, starting
    /// from the null rectangle; null when none is registered.
    QRectF workspacesExtents() const;

    /**
     * Sorts @p workspaces by ascending area of their extents(), read anew for every
     * comparison, so the front-most (smallest) comes first; equal areas keep no defined
     * order. Workspaces whose area is not a number, and empty pointers, come last.
     */
    void sortByZOrder(QList<std::shared_ptr<SdmWorkspace>>& workspaces) const;

    /// Emits si_workspaceChanged(@p workspace) when a workspace with its id is registered.
    void workspaceChanged(const std::shared_ptr<SdmWorkspace>& workspace);
    /// Emits si_workspaceSelectionChanged(@p workspace) when a workspace with its id is
    /// registered.
    void workspaceSelectionChanged(const std::shared_ptr<SdmWorkspace>& workspace);

Q_SIGNALS:
    void si_workspaceAdded(const std::shared_ptr<SdmWorkspace>& workspace);
    void si_workspaceRemoved(const std::shared_ptr<SdmWorkspace>& workspace);
    void si_workspaceChanged(const std::shared_ptr<SdmWorkspace>& workspace);
    void si_workspaceSelectionChanged(const std::shared_ptr<SdmWorkspace>& workspace);
    void si_activeWorkspaceChanged(const std::shared_ptr<SdmWorkspace>& activeWorkspace);

private:
    Q_DISABLE_COPY(SdmWorkspaceRepository)

    bool isRegistered(const std::shared_ptr<SdmWorkspace>& workspace) const;

    QMap<QString, std::shared_ptr<SdmWorkspace>> m_workspaces;
    std::shared_ptr<SdmWorkspace> m_activeWorkspace;
};

} // namespace mivo::sdm
