// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QRadioButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QTest>

namespace testsupport {

/**
 * Clicks @p button on its round mark. A radio button takes clicks only on its mark and
 * text: its centre lies beside a short text when the font is large (the offscreen
 * platform's is), so QTest's default position can miss it.
 */
inline void clickRadio(QRadioButton* button)
{
    QTEST_ASSERT(button);
    QStyleOptionButton option;
    option.initFrom(button);
    const QRect mark = button->style()->subElementRect(QStyle::SE_RadioButtonIndicator, &option, button);
    QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, mark.center());
}

} // namespace testsupport
