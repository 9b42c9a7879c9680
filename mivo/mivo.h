#pragma once

// Every public class of the library.

#include <mivo/mivo_export.h>

#include <mivo/core/Axis.h>
#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DpToPixel.h>
#include <mivo/core/IKeyboardHandler.h>
#include <mivo/core/IMouseHandler.h>
#include <mivo/core/IPaintHandler.h>
#include <mivo/core/IToolTipHandler.h>
