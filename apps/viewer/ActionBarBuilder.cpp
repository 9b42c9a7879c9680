#include "ActionBarBuilder.h"

#include "ViewerActions.h"

#include <mivo/overlays/GlobalActionBar.h>

#include <QToolButton>

namespace mivo::viewer {

GlobalActionBar* buildActionBar(BaseDrawWidget& widget, const ViewerActions& actions, const QList<QAction*>& more)
{
    auto* bar = new GlobalActionBar(widget);
    bar->setObjectName(QStringLiteral("actionBar"));
    const auto add = [bar](QAction* action) {
        QToolButton* button = bar->addAction(action);
        button->setIconSize(QSize(24, 24));
        button->setAutoRaise(false);
        button->setFocusPolicy(Qt::NoFocus); // the keys stay with the drawing widget
    };
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
    bar->adjustSize();
    return bar;
}

} // namespace mivo::viewer
