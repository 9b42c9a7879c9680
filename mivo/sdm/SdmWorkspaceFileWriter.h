// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/sdm/SdmWorkspaceDocument.h>

#include <QByteArray>
#include <QString>

namespace mivo::sdm {

/**
 * Writes a workspace file that SdmWorkspaceFileReader (and anything reading
 * mivo-tilegen's workspace.json) reads back to the same document: indented JSON with
 * sorted keys, as mivo-tilegen writes it, so a file mivo-tilegen wrote and that was read
 * comes out byte for byte the same.
 *
 * Every item gets "id", "label" (empty when it has no details), "x", "y", "width" and
 * "height"; "marked", "flagged" and "userValue" only when they are not false, false
 * and 0. Extra fields of the document and of each item's details are written back,
 * except those named like a key the writer writes itself. Details of ids that no item
 * has are not written.
 *
 * A document the reader would refuse is not written: an empty or repeated item id, a
 * non-finite or negative coordinate or size, a non-finite userValue, more than
 * SdmWorkspaceFileReader::maximumItemCount items or more than its maximumFileSize
 * bytes. errorString() then names the item, as the reader would.
 */
class MIVO_EXPORT SdmWorkspaceFileWriter
{
public:
    /// The document as JSON; an empty array with errorString() set when it cannot be
    /// written.
    QByteArray toJson(const SdmWorkspaceDocument& document);
    /**
     * Writes the document to @p fileName, replacing the file only once all of it is
     * written (QSaveFile). Returns false, leaving any existing file as it was, when the
     * document cannot be written or the file cannot be saved; errorString() says why.
     */
    bool write(const QString& fileName, const SdmWorkspaceDocument& document);

    /// Why the last call failed; a null string after a success.
    const QString& errorString() const { return m_errorString; }

private:
    QString m_errorString;
};

} // namespace mivo::sdm
