// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "AnnotationWorkspaces.h"

#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceFileReader.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace mivo::viewer {

QString AnnotationWorkspaces::open(const QString& fileName)
{
    sdm::SdmWorkspaceFileReader reader;
    if (!reader.read(fileName))
        return reader.errorString();
    const sdm::SdmWorkspaceDocument& document = reader.document();
    if (m_repository.workspace(document.id)) {
        return QCoreApplication::translate("mivo::viewer::AnnotationWorkspaces",
                                           "%1: a workspace with the id \"%2\" is open already")
            .arg(fileName, document.id);
    }
    Opened opened;
    opened.document = document;
    for (int i = 0; i < document.items.size(); ++i)
        opened.positionById.insert(document.items.at(i).id, i);
    m_opened.insert(document.id, std::move(opened));

    auto workspace = std::make_shared<sdm::SdmWorkspace>(document.id);
    workspace->setItems(document.items);
    m_repository.addWorkspace(workspace);
    if (!m_repository.activeWorkspace())
        m_repository.setActivateWorkspace(workspace);
    return QString();
}

std::optional<Annotation> AnnotationWorkspaces::activeAnnotation(const QString& itemId) const
{
    const std::shared_ptr<sdm::SdmWorkspace> active = m_repository.activeWorkspace();
    if (!active)
        return std::nullopt;
    const auto opened = m_opened.constFind(active->id());
    if (opened == m_opened.constEnd())
        return std::nullopt;
    const auto position = opened->positionById.constFind(itemId);
    if (position == opened->positionById.constEnd())
        return std::nullopt;
    const sdm::SdmWorkspaceItem& item = opened->document.items.at(*position);
    return Annotation{item.id, opened->document.label(item.id), item.rect};
}

QString sourceWorkspaceFile(const QString& baseUrl)
{
    const QUrl url(baseUrl);
    if (!url.isLocalFile())
        return QString();
    const QFileInfo file(QDir(url.toLocalFile()).filePath(QStringLiteral("workspace.json")));
    return file.isFile() ? file.filePath() : QString();
}

} // namespace mivo::viewer
