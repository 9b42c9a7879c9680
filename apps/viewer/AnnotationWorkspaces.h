// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/sdm/SdmWorkspaceDocument.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>

#include <QHash>
#include <QRectF>
#include <QString>

#include <memory>
#include <optional>

namespace mivo::viewer {

/// An annotation as the viewer describes it: the item's rectangle (x: Hz, y: seconds
/// since the epoch) with the label its workspace file gives.
struct Annotation
{
    QString id;
    QString label;
    QRectF rect;
};

/**
 * The annotations the viewer shows: workspace files (workspace.json, as mivo-tilegen
 * writes it from SigMF annotations) opened as workspaces of one repository, each with
 * its file's id, and the files' labels by item id. The first workspace opened becomes
 * the active one.
 *
 * GUI thread only. The repository lives as long as this object; handlers that refer to
 * it must go first.
 */
class AnnotationWorkspaces
{
public:
    AnnotationWorkspaces() = default;

    /// Reads @p fileName and adds its workspace. Returns a null string on success, else
    /// why not (the file unreadable or not a workspace file, or its id taken already);
    /// then nothing changes.
    QString open(const QString& fileName);

    sdm::SdmWorkspaceRepository& repository() { return m_repository; }
    const sdm::SdmWorkspaceRepository& repository() const { return m_repository; }

    /// The annotation @p itemId of the active workspace; none when there is no active
    /// workspace or it holds no such item.
    std::optional<Annotation> activeAnnotation(const QString& itemId) const;

private:
    Q_DISABLE_COPY(AnnotationWorkspaces)

    struct Opened
    {
        sdm::SdmWorkspaceDocument document;
        QHash<QString, int> positionById; // in document.items
    };

    sdm::SdmWorkspaceRepository m_repository;
    QHash<QString, Opened> m_opened; // by workspace id
};

/// The workspace file that comes with the tile source at @p baseUrl: workspace.json
/// beside its tiledescriptor.json when the source is a local directory (a file:// URL)
/// and the file exists; a null string otherwise.
QString sourceWorkspaceFile(const QString& baseUrl);

} // namespace mivo::viewer
