// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/sdm/SdmWorkspaceDocument.h>

#include <QByteArray>
#include <QString>

namespace mivo::sdm {

/**
 * Reads a workspace file, the workspace.json that mivo-tilegen writes:
 *
 *     {"id": "rooftop",
 *      "items": [{"id": "rooftop-1", "label": "FSK burst",
 *                 "x": 433900000, "y": 1717279200.5, "width": 40000, "height": 0.25}]}
 *
 * Top level: "id" (string) and "items" (array), both required. Each item: "id" (a
 * non-empty string, unique in the file), "x", "y", "width", "height" (numbers: x and y
 * in Hz and seconds since the epoch, width and height not negative, every edge finite),
 * all required; optional "label" (string), "marked" and "flagged" (booleans, default
 * false) and "userValue" (a number within the range of a float, default 0). Keys the
 * reader does not know are kept, not refused: an item's go to its details, top-level
 * ones to SdmWorkspaceDocument::extraFields. A key repeated within one object counts
 * with its last value (Qt's JSON parser; in Qt 5.15 an earlier non-empty array or
 * object value of a repeated key is never freed, about 100 bytes a time).
 *
 * Anything else fails the whole file with a message naming the place, for example
 * `items[3].width is negative (-2)` or `items[7].id "a" repeats items[2].id`: a file
 * that is not JSON, has wrong types or missing keys, non-finite or negative values,
 * duplicate ids, more than maximumItemCount items or more than maximumFileSize bytes.
 * A document read without failure never holds an item with a non-finite coordinate.
 */
class MIVO_EXPORT SdmWorkspaceFileReader
{
public:
    /// Larger files are refused before they are parsed.
    static constexpr qint64 maximumFileSize = qint64(64) << 20;
    /// Files with more items are refused.
    static constexpr int maximumItemCount = 250000;

    /**
     * Reads the file @p fileName. Returns true when it holds a valid workspace, then in
     * document(); otherwise document() is empty and errorString() says why, starting
     * with the file name.
     */
    bool read(const QString& fileName);
    /// As read(), from the bytes of a document; messages name no file.
    bool parse(const QByteArray& json);

    /// The document of the last successful read; empty after a failure.
    const SdmWorkspaceDocument& document() const { return m_document; }
    /// Why the last read failed; a null string after a success.
    const QString& errorString() const { return m_errorString; }

private:
    bool fail(const QString& message);

    SdmWorkspaceDocument m_document;
    QString m_errorString;
};

} // namespace mivo::sdm
