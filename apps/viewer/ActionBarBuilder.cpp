// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ActionBarBuilder.h"

#include "ViewerActions.h"

#include <mivo/overlays/GlobalActionBar.h>

#include <QToolButton>

namespace mivo::viewer {

namespace {

void styleButton(QToolButton* button)
{
    button->setIconSize(QSize(24, 24));
    button->setAutoRaise(false);
    button->setFocusPolicy(Qt::NoFocus); // the keys stay with the drawing widget
}

} // namespace

GlobalActionBar* buildActionBar(BaseDrawWidget& widget, const ViewerActions& actions,
                                const QList<ActionBarPopup>& popups, const QList<QAction*>& more)
{
    auto* bar = new GlobalActionBar(widget);
    bar->setObjectName(QStringLiteral("actionBar"));
    const auto add = [bar](QAction* action) { styleButton(bar->addAction(action)); };
    add(actions.zoomToData());
    bar->addSeparator();
    add(actions.zoomIn());
    add(actions.zoomOut());
    bar->addSeparator();
    add(actions.zoomToSelection());
    add(actions.clearSelection());
    if (!more.isEmpty()) {
        bar->addSeparator();
        for (QAction* action : more)
            add(action);
    }
    if (!popups.isEmpty())
        bar->addSeparator();
    for (const ActionBarPopup& popup : popups)
        styleButton(bar->addActionWithWidgetPopup(popup.action, popup.popup));
    bar->adjustSize();
    return bar;
}

} // namespace mivo::viewer
