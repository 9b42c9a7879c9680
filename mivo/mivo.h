// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Every public class of the library.

#include <mivo/mivo_export.h>

// core
#include <mivo/core/Axis.h>
#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>
#include <mivo/core/DpToPixel.h>
#include <mivo/core/IKeyboardHandler.h>
#include <mivo/core/IMouseHandler.h>
#include <mivo/core/IPaintHandler.h>
#include <mivo/core/IToolTipHandler.h>
#include <mivo/core/InstallTranslator.h>

// navigation
#include <mivo/navigation/DoubleClickZoomMouseHandler.h>
#include <mivo/navigation/PanMouseHandler.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/navigation/SelectionMouseHandler.h>
#include <mivo/navigation/SelectionPaintHandler.h>
#include <mivo/navigation/SelectionState.h>
#include <mivo/navigation/WheelZoomMouseHandler.h>
#include <mivo/navigation/ZoomCommand.h>

// overlays
#include <mivo/overlays/BackgroundPaintHandler.h>
#include <mivo/overlays/FrequencyGridPaintHandler.h>
#include <mivo/overlays/GlobalActionBar.h>
#include <mivo/overlays/GridPaintHandler.h>
#include <mivo/overlays/GridPaintHandlerSettings.h>
#include <mivo/overlays/HorizontalRulerPaintHandler.h>
#include <mivo/overlays/IInfoWidget.h>
#include <mivo/overlays/InfoWidgetDisplayer.h>
#include <mivo/overlays/TimeGridPaintHandler.h>

// sdm
#include <mivo/sdm/AsyncItemRenderer.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceDocument.h>
#include <mivo/sdm/SdmWorkspaceFileReader.h>
#include <mivo/sdm/SdmWorkspaceFileWriter.h>
#include <mivo/sdm/SdmWorkspaceItem.h>
#include <mivo/sdm/SdmWorkspaceMouseHandler.h>
#include <mivo/sdm/SdmWorkspacePaintHandler.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>
#include <mivo/sdm/SdmWorkspaceToolTipHandler.h>

// tiling
#include <mivo/tiling/ITileLoader.h>
#include <mivo/tiling/ITileProvider.h>
#include <mivo/tiling/RetryingTileLoader.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileAxis.h>
#include <mivo/tiling/TileCache.h>
#include <mivo/tiling/TileColorTableDescriptor.h>
#include <mivo/tiling/TileColorTableEditorWidget.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileLoadFailure.h>
#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileLoaderThread.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TilePaintImageCache.h>
#include <mivo/tiling/TileProvider.h>
#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSource.h>
#include <mivo/tiling/TileSourceManager.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>
#include <mivo/tiling/TileSystem.h>
#include <mivo/tiling/TileSystemDescriptor.h>
#include <mivo/tiling/TileTooltipHandler.h>
