// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Documents.h"
#include "SigMfMetadata.h"
#include "SignalSource.h"

#include <QStringList>

namespace mivo::tilegen {

// Turns SigMF annotations into workspace rectangles in the tiles' value space:
// x = lower edge in Hz, width = upper - lower edge, y = start time in seconds since
// 1970 (recording start + sample_start / sample rate), height = sample_count / rate.
// A missing frequency edge means the recording's band, a missing sample count the rest
// of the recording. Item ids are the annotation's core:uuid when it has a unique one,
// else "<sourceId>-<n>" with n its position in the file (from 1). Negative frequencies
// cannot be shown: edges below 0 Hz are raised to 0 and annotations entirely below
// 0 Hz are dropped, each with a line in `warnings`.
QVector<WorkspaceItem> workspaceItemsFromAnnotations(const QVector<SigMfAnnotation>& annotations,
                                                     const SignalInfo& signal, const QString& sourceId,
                                                     QStringList* warnings);

} // namespace mivo::tilegen
