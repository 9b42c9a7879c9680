// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// What the navigation suites share: a drawing widget hosted in a window as in an
// application, mouse and wheel events the test builds itself, and access to the
// axes' animations.

#include <mivo/core/Axis.h>
#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/SelectionState.h>

#include <QApplication>
#include <QMouseEvent>
#include <QPair>
#include <QPropertyAnimation>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

#include <memory>
#include <type_traits>

namespace navtest {

/// A BaseDrawWidget filling a host window. The widget is a child, not a window of its
/// own, so that unsetting its cursor really clears it.
// A view whose values differ from its pixels on both axes, so every conversion is
// exercised: scales (2, 3) and offsets (1000, 2000).
inline void setUpOffsetView(mivo::CoordSystem& coords)
{
    coords.x().setScale(2.0);
    coords.y().setScale(3.0);
    coords.x().setOffset(1000.0);
    coords.y().setOffset(2000.0);
}

class HostedWidget
{
public:
    explicit HostedWidget(const QSize& size = QSize(400, 300))
        : m_window(std::make_unique<QWidget>())
    {
        m_window->resize(size);
        m_widget = new mivo::BaseDrawWidget(m_window.get());
        m_widget->setGeometry(QRect(QPoint(0, 0), size));
        m_window->show();
        if (!QTest::qWaitForWindowExposed(m_window.get()))
            qFatal("host window was never exposed");
        if (m_widget->size() != size)
            qFatal("drawing widget does not have the requested size");
    }

    mivo::BaseDrawWidget& widget() { return *m_widget; }
    mivo::CoordSystem& coords() { return m_widget->coordSystem(); }
    QWidget& window() { return *m_window; }

private:
    std::unique_ptr<QWidget> m_window;
    mivo::BaseDrawWidget* m_widget = nullptr; // owned by the window
};

inline void sendMouse(QWidget& widget, QEvent::Type type, const QPoint& pos, Qt::MouseButton button,
                      Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QMouseEvent event(type, QPointF(pos), QPointF(widget.mapToGlobal(pos)), button, buttons, modifiers);
    QApplication::sendEvent(&widget, &event);
}

inline void press(QWidget& widget, const QPoint& pos, Qt::MouseButton button = Qt::LeftButton,
                  Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    sendMouse(widget, QEvent::MouseButtonPress, pos, button, button, modifiers);
}

/// A move with @p buttons held (none: a hover move, which mouse tracking delivers).
inline void move(QWidget& widget, const QPoint& pos, Qt::MouseButtons buttons = Qt::LeftButton,
                 Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    sendMouse(widget, QEvent::MouseMove, pos, Qt::NoButton, buttons, modifiers);
}

inline void release(QWidget& widget, const QPoint& pos, Qt::MouseButton button = Qt::LeftButton,
                    Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    sendMouse(widget, QEvent::MouseButtonRelease, pos, button, Qt::NoButton, modifiers);
}

inline void doubleClick(QWidget& widget, const QPoint& pos, Qt::MouseButton button = Qt::LeftButton,
                        Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    sendMouse(widget, QEvent::MouseButtonDblClick, pos, button, button, modifiers);
}

/// The whole sequence Qt delivers for a double-click: press, release, double-click, release.
inline void fullDoubleClick(QWidget& widget, const QPoint& pos, Qt::MouseButton button = Qt::LeftButton)
{
    press(widget, pos, button);
    release(widget, pos, button);
    doubleClick(widget, pos, button);
    release(widget, pos, button);
}

inline void wheel(QWidget& widget, const QPointF& pos, const QPoint& angleDelta,
                  Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QWheelEvent event(pos, QPointF(widget.mapToGlobal(pos.toPoint())), QPoint(), angleDelta, Qt::NoButton, modifiers,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&widget, &event);
}

/// A mouse event for calling a handler directly.
inline QMouseEvent mouseEvent(QEvent::Type type, const QPoint& pos, Qt::MouseButton button = Qt::LeftButton,
                              Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    const Qt::MouseButtons buttons = type == QEvent::MouseButtonRelease ? Qt::MouseButtons(Qt::NoButton)
        : type == QEvent::MouseMove                                     ? Qt::MouseButtons(Qt::LeftButton)
                                                                        : Qt::MouseButtons(button);
    return QMouseEvent(type, QPointF(pos), QPointF(pos), type == QEvent::MouseMove ? Qt::NoButton : button, buttons,
                       modifiers);
}

/// The axis's animation of "offset" or "scale".
inline QPropertyAnimation* animationOf(mivo::Axis& axis, const char* property)
{
    const auto animations = axis.findChildren<QPropertyAnimation*>();
    for (QPropertyAnimation* animation : animations) {
        if (animation->propertyName() == property)
            return animation;
    }
    qFatal("axis has no animation of %s", property);
    return nullptr;
}

/// Mouse handlers are plain values: an IMouseHandler that is no QObject, whose copies
/// and assignments carry its settings. @p changed differs from the defaults in @p field.
template <typename Handler, typename Settings, typename Field>
void checkPlainCopyableHandler(const Settings& changed, Field Settings::*field)
{
    static_assert(std::is_base_of_v<mivo::IMouseHandler, Handler>);
    static_assert(!std::is_base_of_v<QObject, Handler>);
    static_assert(std::is_copy_constructible_v<Handler>);
    static_assert(std::is_copy_assignable_v<Handler>);
    QWidget widget;
    mivo::CoordSystem coords;
    Handler handler(widget, coords);
    QVERIFY(!(handler.settings().*field == changed.*field));
    handler.setSettings(changed);
    const Handler copy(handler);
    QCOMPARE(copy.settings().*field, changed.*field);
    Handler assigned(widget, coords);
    assigned = handler;
    QCOMPARE(assigned.settings().*field, changed.*field);
}

/// Checks that both axes animate offset and scale, running, with @p duration and @p curve.
inline void checkAnimations(mivo::CoordSystem& coords, int duration, QEasingCurve::Type curve)
{
    for (mivo::Axis* axis : {&coords.x(), &coords.y()}) {
        for (const char* property : {"offset", "scale"}) {
            QPropertyAnimation* animation = animationOf(*axis, property);
            QCOMPARE(animation->state(), QAbstractAnimation::Running);
            QCOMPARE(animation->duration(), duration);
            QCOMPARE(animation->easingCurve().type(), curve);
        }
    }
}

/// One si_selectionChanged() as recorded by a spy: the rectangle and the state.
using SelectionEmission = QPair<QRectF, mivo::SelectionState>;

inline QList<SelectionEmission> selectionEmissions(const QSignalSpy& spy)
{
    QList<SelectionEmission> result;
    for (const QList<QVariant>& arguments : spy)
        result.append({arguments.at(0).toRectF(), arguments.at(1).value<mivo::SelectionState>()});
    return result;
}

/// Waits for the view's animations to end; false if they do not within @p timeoutMs.
inline bool waitForAnimationEnd(mivo::CoordSystem& coords, int timeoutMs = 5000)
{
    return QTest::qWaitFor([&coords] { return !coords.isAnimated(); }, timeoutMs);
}

} // namespace navtest
