#pragma once

#include <QList>

class QAction;

namespace mivo {
class BaseDrawWidget;
class GlobalActionBar;
} // namespace mivo

namespace mivo::viewer {

class ViewerActions;

/**
 * Puts the viewer's action bar on @p widget: all data; zoom in, zoom out; zoom to
 * selection, clear selection; then @p more (if any), in groups with gaps between them. The bar is sized to its
 * buttons, so build it before the widget's first resize (it is placed at each resize).
 * The bar belongs to the widget; @p actions must outlive it.
 */
GlobalActionBar* buildActionBar(BaseDrawWidget& widget, const ViewerActions& actions,
                                const QList<QAction*>& more = {});

} // namespace mivo::viewer
