// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// A minimal host: the waterfall of one tile source, with grids, pan, wheel zoom and
// tooltips. Usage: mivo-embed-example file:///data/tiles/scene   (or an http URL)

#include <mivo/mivo.h>

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc != 2)
        return 2;
    using namespace mivo;
    using namespace mivo::tiling;

    TileLoaderQNetworkAccessManager loader; // fetches and decodes tiles on worker threads
    TileProvider provider(loader); // cache, prefetch, coarser stand-ins
    BaseDrawWidget widget; // after the models: its handlers refer to them
    CoordSystem& coords = widget.coordSystem();

    // Paint layers, bottom first.
    widget.addPaintHandler(std::make_shared<BackgroundPaintHandler>(widget));
    auto tiles = std::make_shared<TilePaintHandler>(widget, coords, provider, provider.tileSystem());
    tiles->setTileColorTableDescriptor(TileColorTableDescriptor());
    widget.addPaintHandler(tiles);
    widget.addPaintHandler(std::make_shared<FrequencyGridPaintHandler>(widget, coords));
    widget.addPaintHandler(std::make_shared<TimeGridPaintHandler>(widget, coords));
    // Mouse and tooltip handlers, asked in this order.
    widget.addMouseHandler(std::make_shared<PanMouseHandler>(widget, coords));
    widget.addMouseHandler(std::make_shared<WheelZoomMouseHandler>(widget, coords));
    widget.addToolTipHandler(std::make_shared<TileTooltipHandler>(widget, provider, provider.tileSystem()));

    // Show all the data once its extents are known.
    QObject::connect(&provider.tileSystem(), &TileSystem::si_extentsChanged, &widget,
                     [&coords](const QRectF& extents) { coords.setDisplayedValueRange(extents); });

    widget.resize(1024, 640);
    widget.show();
    provider.setTileSource(QString::fromLocal8Bit(argv[1]));
    return app.exec();
}
