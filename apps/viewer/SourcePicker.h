// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TileSourceLocation.h"

#include <QObject>
#include <QString>

#include <memory>

class QAction;

namespace mivo::tiling {
class TileSourceManager;
class TileSourceSelectionWidget;
} // namespace mivo::tiling

namespace mivo::viewer {

/**
 * The viewer's tile sources: a TileSourceManager filled from the discovery URL of the
 * location the viewer was given, the picker (the library's TileSourceSelectionWidget,
 * shown as a popup of the action bar, with the viewer's units) and the choice of the
 * source to show, announced by si_sourceChosen().
 *
 * start() chooses the location's source at once; for a URL given without a source id
 * it waits for the discovery's answer and chooses its first source, or the URL itself
 * when the answer lists none (or fails). Clicking a source's button chooses that
 * source, also the one shown already, and closes the popup; "None" chooses no source
 * (a null URL). The action that opens the popup is enabled while the manager knows a
 * source.
 *
 * The picker refers to the manager held here, so this object must outlive it.
 */
class SourcePicker : public QObject
{
    Q_OBJECT

public:
    explicit SourcePicker(QObject* parent = nullptr);
    ~SourcePicker() override;

    tiling::TileSourceManager& manager() { return *m_manager; }
    tiling::TileSourceSelectionWidget& picker() const { return *m_picker; }
    /// Hands the picker over, for the action bar; the caller owns it from now on.
    QWidget* takePicker();
    /// Opens the picker (the action bar gives it its button).
    QAction* action() const { return m_action; }

    /// Discovers the location's sources and chooses the source to show (see above).
    void start(const TileSourceLocation& location);

Q_SIGNALS:
    /// Show the source at @p baseUrl (a null string: no source).
    void si_sourceChosen(const QString& baseUrl);

private:
    Q_DISABLE_COPY(SourcePicker)

    void sl_discoveryFinished();
    void sl_picked(const QString& id);
    void choose(const QString& baseUrl, const QString& id);

    const std::unique_ptr<tiling::TileSourceManager> m_manager;
    std::unique_ptr<tiling::TileSourceSelectionWidget> m_ownedPicker; ///< until takePicker()
    tiling::TileSourceSelectionWidget* m_picker;
    QAction* m_action = nullptr;
    QString m_fallbackUrl; ///< chosen when the awaited discovery lists nothing
    bool m_awaitingDiscovery = false;
};

} // namespace mivo::viewer
