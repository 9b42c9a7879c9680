// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspaceRepository.h>

#include "SdmMetaTypes_p.h"
#include "ZOrder_p.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mivo::sdm {

namespace {

using WorkspaceList = QList<std::shared_ptr<SdmWorkspace>>;

// The extents of an empty workspace without declared ones: the index's inverted box,
// of width and height -infinity. QRectF normalises it into a rectangle from -infinity
// to DBL_MAX, which would contain, overlap and widen everything; it stands for no area.
bool isEmptyBox(const QRectF& extents)
{
    constexpr double minusInfinity = -std::numeric_limits<double>::infinity();
    return extents.width() == minusInfinity || extents.height() == minusInfinity;
}

// The registered workspaces whose extents satisfy @p matches, in id order.
template <typename Predicate>
WorkspaceList workspacesWhere(const QMap<QString, std::shared_ptr<SdmWorkspace>>& workspaces, Predicate matches)
{
    WorkspaceList result;
    for (const std::shared_ptr<SdmWorkspace>& workspace : workspaces) {
        const QRectF extents = workspace->extents();
        if (!isEmptyBox(extents) && matches(extents))
            result.append(workspace);
    }
    return result;
}

} // namespace

SdmWorkspaceRepository::SdmWorkspaceRepository()
    : QObject(nullptr)
{
    // Queued connections and QSignalSpy look the signals' argument type up by name.
    registerSdmMetaTypes();
}

SdmWorkspaceRepository::~SdmWorkspaceRepository() = default;

void SdmWorkspaceRepository::addWorkspace(const std::shared_ptr<SdmWorkspace>& workspace)
{
    if (!workspace || m_workspaces.contains(workspace->id()))
        return;
    m_workspaces.insert(workspace->id(), workspace);
    Q_EMIT si_workspaceAdded(workspace);
}

void SdmWorkspaceRepository::removeWorkspace(const std::shared_ptr<SdmWorkspace>& workspace)
{
    if (!workspace || m_workspaces.remove(workspace->id()) == 0)
        return;
    // Kept: the active workspace is not cleared; the host does that when it wants to.
    Q_EMIT si_workspaceRemoved(workspace);
}

void SdmWorkspaceRepository::setActivateWorkspace(const std::shared_ptr<SdmWorkspace>& workspace)
{
    if (workspace == m_activeWorkspace)
        return;
    m_activeWorkspace = workspace;
    // A copy: a receiver that activates another workspace must not change what later
    // receivers are told.
    const std::shared_ptr<SdmWorkspace> active = m_activeWorkspace;
    Q_EMIT si_activeWorkspaceChanged(active);
}

std::shared_ptr<SdmWorkspace> SdmWorkspaceRepository::activeWorkspace() const
{
    return m_activeWorkspace;
}

std::shared_ptr<SdmWorkspace> SdmWorkspaceRepository::workspace(const QString& id) const
{
    return m_workspaces.value(id);
}

QList<std::shared_ptr<SdmWorkspace>> SdmWorkspaceRepository::workspaces() const
{
    return m_workspaces.values();
}

QList<std::shared_ptr<SdmWorkspace>> SdmWorkspaceRepository::workspacesAt(const QPointF& point) const
{
    return workspacesWhere(m_workspaces, [&point](const QRectF& extents) { return extents.contains(point); });
}

QList<std::shared_ptr<SdmWorkspace>> SdmWorkspaceRepository::workspacesContained(const QRectF& rect) const
{
    return workspacesWhere(m_workspaces, [&rect](const QRectF& extents) { return rect.contains(extents); });
}

QList<std::shared_ptr<SdmWorkspace>> SdmWorkspaceRepository::workspacesWithin(const QRectF& rect) const
{
    // Kept: an overlap test, whatever the name suggests.
    return workspacesWhere(m_workspaces, [&rect](const QRectF& extents) { return extents.intersects(rect); });
}

QRectF SdmWorkspaceRepository::workspacesExtents() const
{
    QRectF united;
    for (const std::shared_ptr<SdmWorkspace>& workspace : m_workspaces) {
        const QRectF extents = workspace->extents();
        if (!isEmptyBox(extents))
            united |= extents;
    }
    return united;
}

void SdmWorkspaceRepository::sortByZOrder(QList<std::shared_ptr<SdmWorkspace>>& workspaces) const
{
    // Each comparison reads both extents anew; an empty pointer has a NaN area here,
    // which sorts last.
    const auto area = [](const std::shared_ptr<SdmWorkspace>& workspace) {
        return workspace ? zOrderArea(workspace->extents()) : std::nan("");
    };
    std::sort(workspaces.begin(), workspaces.end(),
              [&area](const std::shared_ptr<SdmWorkspace>& a, const std::shared_ptr<SdmWorkspace>& b) {
                  return inFrontByArea(area(a), area(b));
              });
}

void SdmWorkspaceRepository::workspaceChanged(const std::shared_ptr<SdmWorkspace>& workspace)
{
    if (isRegistered(workspace))
        Q_EMIT si_workspaceChanged(workspace);
}

void SdmWorkspaceRepository::workspaceSelectionChanged(const std::shared_ptr<SdmWorkspace>& workspace)
{
    if (isRegistered(workspace))
        Q_EMIT si_workspaceSelectionChanged(workspace);
}

bool SdmWorkspaceRepository::isRegistered(const std::shared_ptr<SdmWorkspace>& workspace) const
{
    // By id only: another object with a registered id passes.
    return workspace && m_workspaces.contains(workspace->id());
}

} // namespace mivo::sdm
