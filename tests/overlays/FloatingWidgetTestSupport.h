// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// What the suites of the floating overlays (info panels, action bar) share: the DPI the
// run expects, a shown drawing widget, and a way to let queued reactions happen.

#include <mivo/core/BaseDrawWidget.h>

#include <QCoreApplication>
#include <QTest>

#include <cmath>

namespace floattest {

/// The logical DPI this run sets up (QT_FONT_DPI; CTest runs the suites at 96 and 144).
inline int expectedDpi()
{
    return qEnvironmentVariableIsSet("MIVO_TEST_EXPECTED_DPI") ? qEnvironmentVariableIntValue("MIVO_TEST_EXPECTED_DPI")
                                                               : 96;
}

/// A length in device-independent pixels at this run's DPI.
inline double px(double dp)
{
    return dp * expectedDpi() / 96.0;
}

/// The same, truncated to whole pixels.
inline int wholePx(double dp)
{
    return int(std::trunc(px(dp)));
}

/// Delivers the queued calls posted so far: one turn of the event loop, without
/// waiting for anything else. Used both before checking that a queued reaction
/// happened and before checking that none did.
inline void turnEventLoop()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
}

/// A top-level drawing widget of @p size, shown; false when it never appeared.
inline bool showDrawWidget(mivo::BaseDrawWidget& widget, const QSize& size)
{
    widget.resize(size);
    widget.show();
    return QTest::qWaitForWindowExposed(&widget) && widget.size() == size;
}

} // namespace floattest
