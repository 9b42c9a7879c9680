// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QList>

class QAction;
class QWidget;

namespace mivo {
class BaseDrawWidget;
class GlobalActionBar;
} // namespace mivo

namespace mivo::viewer {

class ViewerActions;

/// An action whose button opens a panel.
struct ActionBarPopup
{
    QAction* action; ///< not owned
    QWidget* popup; ///< taken over by the bar
};

/**
 * Puts the viewer's action bar on @p widget: all data; zoom in, zoom out; zoom to
 * selection, clear selection; then @p more (such as follow), then the buttons of
 * @p popups (the source picker, the colours), in groups with gaps between them. The bar
 * is sized to its buttons, so build it before the widget's first resize (it is placed at
 * each resize). The bar belongs to the widget; @p actions, @p more and the popups'
 * actions must outlive it.
 */
GlobalActionBar* buildActionBar(BaseDrawWidget& widget, const ViewerActions& actions,
                                const QList<ActionBarPopup>& popups = {}, const QList<QAction*>& more = {});

} // namespace mivo::viewer
