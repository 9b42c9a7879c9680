// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/overlays/IInfoWidget.h>

namespace mivo {

IInfoWidget::IInfoWidget(QWidget* parent)
    : QFrame(parent)
{
}

IInfoWidget::~IInfoWidget() = default;

} // namespace mivo
