// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IToolTipHandler.h>
#include <mivo/mivo_export.h>

#include <QString>

#include <functional>

namespace mivo {
class BaseDrawWidget;
}

namespace mivo::sdm {

class SdmWorkspaceRepository;

/// What an SdmWorkspaceToolTipHandler writes.
struct SdmWorkspaceToolTipHandlerSettings
{
    /// Stored and copied with the settings; the handler never calls it.
    std::function<QString(const QString&)> auxiliaryFormatter = [](const QString& text) { return text; };
    /// The tooltip text of an item from its id; the id itself by default.
    std::function<QString(const QString&)> itemToolTipFormatter = [](const QString& itemId) { return itemId; };
};

/**
 * Shows a tooltip for the front-most item (the smallest by area) under the mouse in the
 * repository's active workspace: the text itemToolTipFormatter gives for its id, kept
 * while the mouse stays within the item. Only points inside the workspace's real
 * extents (the bounding box of its items, not its declared extents) are looked at, and
 * only items containing the point exactly (no tolerance, unlike clicks).
 *
 * Stands back (returns false, shows nothing) when disabled, when an earlier handler
 * took the event, without an active workspace, or with no item there.
 *
 * Copyable; copies share the widget and the repository, which are not owned and must
 * outlive them. GUI thread only.
 */
class MIVO_EXPORT SdmWorkspaceToolTipHandler : public IToolTipHandler
{
public:
    SdmWorkspaceToolTipHandler(BaseDrawWidget& widget, const SdmWorkspaceRepository& repository);
    SdmWorkspaceToolTipHandler(const SdmWorkspaceToolTipHandler& other);
    ~SdmWorkspaceToolTipHandler() override;

    bool handleToolTip(QHelpEvent* event, bool handled) override;

    void setEnabled(bool enabled);
    bool isEnabled() const { return m_enabled; }
    /// Copies both formatters.
    void setSettings(SdmWorkspaceToolTipHandlerSettings settings);
    const SdmWorkspaceToolTipHandlerSettings& settings() const { return m_settings; }

private:
    BaseDrawWidget& m_widget;
    const SdmWorkspaceRepository& m_repository;
    bool m_enabled = true;
    SdmWorkspaceToolTipHandlerSettings m_settings;
};

} // namespace mivo::sdm
