// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/overlays/IInfoWidget.h>

#include <QLabel>
#include <QRectF>
#include <QString>

namespace mivo {
class BaseDrawWidget;
}

namespace mivo::viewer {

class AnnotationWorkspaces;

/**
 * The panel beside the selected annotations of the active workspace: for one, its
 * label, frequency range and bandwidth, time range and duration; for several, how
 * many and the range they span. It has something to show while the active workspace
 * has a selection, and follows the selection and the active workspace.
 *
 * A child of the drawing widget; the workspaces are not owned and must outlive it.
 * Show it through an InfoWidgetDisplayer.
 */
class AnnotationPanel : public IInfoWidget
{
    Q_OBJECT

public:
    AnnotationPanel(BaseDrawWidget& widget, AnnotationWorkspaces& workspaces);
    ~AnnotationPanel() override;

    bool hasInfo() const override;
    /// The selected annotations' rectangle.
    QRectF infoArea() const override;
    /// What the panel shows, one "name: value" line each; empty without a selection.
    QString text() const;

public Q_SLOTS:
    /// Reads the selection again.
    void refresh();

private:
    Q_DISABLE_COPY(AnnotationPanel)

    BaseDrawWidget& m_widget;
    AnnotationWorkspaces& m_workspaces;
    QLabel* m_label; // owned by this panel
    QRectF m_area;
    bool m_hasInfo = false;
};

/// The lines that describe @p annotation, with frequencies to @p frequencyResolution
/// (Hz) and times to @p timeResolution (s): its label (its id when it has none), its
/// frequency range, its time range.
QStringList describeAnnotation(const QString& label, const QRectF& rect, double frequencyResolution,
                               double timeResolution);

} // namespace mivo::viewer
