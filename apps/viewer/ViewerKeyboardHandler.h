// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IKeyboardHandler.h>

namespace mivo::viewer {

class ViewerActions;

/**
 * The viewer's keys: the arrows move the view a tenth of its size in their direction
 * (up: earlier times), + and - zoom in and out about the centre, Home shows all data,
 * Escape clears the selection, Ctrl+C copies the selection's figures. A key whose
 * action is disabled (Escape without a selection) is left to later handlers.
 *
 * Stands back when an earlier handler took the key; navigation keys held with Ctrl,
 * Alt or Meta are not taken. @p actions is not owned and must outlive the handler.
 */
class ViewerKeyboardHandler : public IKeyboardHandler
{
public:
    explicit ViewerKeyboardHandler(ViewerActions& actions);

    bool handleKeyPress(QKeyEvent* event, bool handled) override;
    bool handleKeyRelease(QKeyEvent* event, bool handled) override;

private:
    ViewerActions& m_actions;
};

} // namespace mivo::viewer
