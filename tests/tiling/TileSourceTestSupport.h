// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Shared by the tile source suites: sources served by the in-test server, a manager
// whose list changes are counted, the buttons of a source picker.

#include <mivo/tiling/TileSourceManager.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>

#include "../common/RadioButtonClick.h"
#include "../common/TestTiles.h"

#include <TestHttpServer.h>

#include <QLayout>
#include <QRadioButton>
#include <QRectF>
#include <QSignalSpy>
#include <QStringList>
#include <QTest>

namespace sourcetest {

/// Serves a source's descriptor and extents under @p base.
inline void serveSource(TestHttpServer& server, const QString& base, const QByteArray& descriptor,
                        const QRectF& extents)
{
    server.setDocument(base + QStringLiteral("/tiledescriptor.json"), descriptor, "application/json");
    server.setDocument(base + QStringLiteral("/tileextents.json"), testtiles::extentsJson(extents), "application/json");
}

/// A manager with its list changes counted from the start.
struct WatchedManager
{
    mivo::tiling::TileSourceManager manager;
    QSignalSpy changed{&manager, &mivo::tiling::TileSourceManager::si_tileSourceListChanged};
};

/// A picker's buttons from top to bottom.
inline QList<QRadioButton*> buttons(const mivo::tiling::TileSourceSelectionWidget& widget)
{
    QList<QRadioButton*> list;
    for (int i = 0; i < widget.layout()->count(); ++i)
        list.append(qobject_cast<QRadioButton*>(widget.layout()->itemAt(i)->widget()));
    return list;
}

inline QStringList buttonTexts(const mivo::tiling::TileSourceSelectionWidget& widget)
{
    QStringList texts;
    for (const QRadioButton* button : buttons(widget))
        texts.append(button ? button->text() : QStringLiteral("<not a radio button>"));
    return texts;
}

} // namespace sourcetest
