// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The tile source picker on a real TileSourceManager whose documents come from the
// in-test HTTP server: order and text of the buttons, rebuilds, clicks, the active source.

#include <mivo/tiling/TileSourceManager.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>

#include "TileSourceTestSupport.h"

#include <TestSupport.h>

#include <QLayout>
#include <QPointer>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

using namespace mivo::tiling;
using sourcetest::buttons;
using sourcetest::buttonTexts;
using sourcetest::WatchedManager;
using testsupport::clickRadio;

namespace {

QStringList ids(const TileSourceSelectionWidget& widget)
{
    QStringList list;
    for (const QRadioButton* button : buttons(widget)) {
        const QVariant id = button->property("baseUrl");
        list.append(!id.isValid()                ? QStringLiteral("<none>")
                        : id.toString().isNull() ? QStringLiteral("<null>")
                                                 : id.toString());
    }
    return list;
}

QStringList checkedTexts(const TileSourceSelectionWidget& widget)
{
    QStringList list;
    for (const QRadioButton* button : buttons(widget)) {
        if (button->isChecked())
            list.append(button->text());
    }
    return list;
}

QRadioButton* buttonWithText(const TileSourceSelectionWidget& widget, const QString& text)
{
    for (QRadioButton* button : buttons(widget)) {
        if (button->text() == text)
            return button;
    }
    return nullptr;
}

QString frequencyText(double hertz)
{
    return QStringLiteral("f%1").arg(hertz, 0, 'g', 12);
}

QString timeText(double seconds)
{
    return QStringLiteral("t%1").arg(seconds, 0, 'g', 12);
}

TileSourceSelectionWidgetSettings plainFormatters()
{
    TileSourceSelectionWidgetSettings settings;
    settings.frequencyFormatter = &frequencyText;
    settings.timeFormatter = &timeText;
    return settings;
}

} // namespace

class TestTileSourceSelectionWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;

    QString url(const QString& path) const { return m_server->baseUrl() + path; }

    // A manager whose discovery never answers and whose sources' documents are held:
    // the list changes only when the test adds, removes or releases.
    void discoverHeld(TileSourceManager& manager)
    {
        m_server->setFault(QStringLiteral("/tiles/tilesources.json"), TestHttpServer::Fault::Hold);
        manager.discoverTileSources(url(QStringLiteral("/tiles")));
    }

    void holdDocumentsOf(const QString& id)
    {
        m_server->setFault(QStringLiteral("/tiles/%1/tiledescriptor.json").arg(id), TestHttpServer::Fault::Hold);
        m_server->setFault(QStringLiteral("/tiles/%1/tileextents.json").arg(id), TestHttpServer::Fault::Hold);
    }

    void addHeld(TileSourceManager& manager, const QString& id, const QString& name)
    {
        holdDocumentsOf(id);
        manager.addTileSource(id, name);
    }

    // "z1" named "b" and "z2" named "a", frozen as added.
    void addTwoHeldSources(TileSourceManager& manager)
    {
        discoverHeld(manager);
        addHeld(manager, QStringLiteral("z1"), QStringLiteral("b"));
        addHeld(manager, QStringLiteral("z2"), QStringLiteral("a"));
    }

    void serve(const QString& id, const QString& name, const QRectF& extents)
    {
        sourcetest::serveSource(*m_server, QStringLiteral("/tiles/") + id, testtiles::descriptorJson(name, 1.0, 256, 4),
                                extents);
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->start());
    }

    void cleanup() { m_server.reset(); }

    // Construction

    void theParentIsNotPassedOn()
    {
        TileSourceManager manager;
        QWidget parent;
        TileSourceSelectionWidget widget(manager, &parent);
        QVERIFY(widget.parent() == nullptr);
        QVERIFY(widget.isWindow());
        QVERIFY(parent.findChildren<TileSourceSelectionWidget*>().isEmpty());
    }

    void aFreshWidgetShowsNoneChecked()
    {
        TileSourceManager manager;
        TileSourceSelectionWidget widget(manager);
        auto* layout = qobject_cast<QVBoxLayout*>(widget.layout());
        QVERIFY(layout);
        QVERIFY(layout->parent() == &widget);
        QCOMPARE(buttonTexts(widget), QStringList{QStringLiteral("None")});
        QCOMPARE(ids(widget), QStringList{QStringLiteral("<null>")});
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("None")});
        QVERIFY(widget.activeTileSource().isNull());
        QVERIFY(buttons(widget).at(0)->parent() == &widget);
        QVERIFY(buttons(widget).at(0)->autoExclusive());
    }

    void theManagersSourcesShowAtOnce()
    {
        TileSourceManager manager;
        discoverHeld(manager);
        addHeld(manager, QStringLiteral("a"), QStringLiteral("Alpha"));
        TileSourceSelectionWidget widget(manager);
        QCOMPARE(buttonTexts(widget), QStringList({QStringLiteral("None"), QStringLiteral("Alpha")}));
    }

    // Order and text

    void noneOnTopThenNamesAscending_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("shown");
        QTest::newRow("b a c") << QStringList{QStringLiteral("b"), QStringLiteral("a"), QStringLiteral("c")}
                               << QStringList{QStringLiteral("None"), QStringLiteral("a"), QStringLiteral("b"),
                                              QStringLiteral("c")};
        // By character code: upper case before lower case; "None" stays on top anyway.
        QTest::newRow("case") << QStringList{QStringLiteral("b"), QStringLiteral("B"), QStringLiteral("a"),
                                             QStringLiteral("Zulu"), QStringLiteral("None")}
                              << QStringList{QStringLiteral("None"), QStringLiteral("B"), QStringLiteral("None"),
                                             QStringLiteral("Zulu"), QStringLiteral("a"), QStringLiteral("b")};
        QTest::newRow("prefix") << QStringList{QStringLiteral("ab"), QStringLiteral("a"), QStringLiteral("a b")}
                                << QStringList{QStringLiteral("None"), QStringLiteral("a"), QStringLiteral("a b"),
                                               QStringLiteral("ab")};
    }

    void noneOnTopThenNamesAscending()
    {
        QFETCH(QStringList, names);
        QFETCH(QStringList, shown);
        TileSourceManager manager;
        discoverHeld(manager);
        TileSourceSelectionWidget widget(manager);
        for (int i = 0; i < names.size(); ++i)
            addHeld(manager, QStringLiteral("id%1").arg(i), names.at(i));
        QCOMPARE(buttonTexts(widget), shown);
    }

    void theButtonsCarryTheIdsInBaseUrl()
    {
        TileSourceManager manager;
        discoverHeld(manager);
        TileSourceSelectionWidget widget(manager);
        addHeld(manager, QStringLiteral("z1"), QStringLiteral("b"));
        addHeld(manager, QStringLiteral("z2"), QStringLiteral("a"));
        addHeld(manager, QStringLiteral("z3"), QStringLiteral("c"));
        QCOMPARE(ids(widget),
                 QStringList(
                     {QStringLiteral("<null>"), QStringLiteral("z2"), QStringLiteral("z1"), QStringLiteral("z3")}));
        for (QRadioButton* button : buttons(widget))
            QCOMPARE(button->property("baseUrl").userType(), int(QMetaType::QString));
    }

    void sourcesWithoutNameComeFirstWithoutText()
    {
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"q\"]");
        holdDocumentsOf(QStringLiteral("q"));
        TileSourceManager manager;
        TileSourceSelectionWidget widget(manager);
        manager.discoverTileSources(url(QStringLiteral("/tiles")));
        addHeld(manager, QStringLiteral("a"), QStringLiteral("Alpha"));
        QTRY_COMPARE(manager.tileSources().size(), 2);
        // Discovered "q" has a null name and sorts first among the sources.
        QCOMPARE(buttonTexts(widget), QStringList({QStringLiteral("None"), QString(), QStringLiteral("Alpha")}));
        QCOMPARE(ids(widget), QStringList({QStringLiteral("<null>"), QStringLiteral("q"), QStringLiteral("a")}));
    }

    void aSourceShowsThreeLinesOnceItsDescriptorIsKnown()
    {
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"s\"]");
        serve(QStringLiteral("s"), QStringLiteral("Scene"), QRectF(99e6, 1704110400.0, 2e6, 60.5));
        m_server->setFault(QStringLiteral("/tiles/s/tiledescriptor.json"), TestHttpServer::Fault::Hold);
        m_server->setFault(QStringLiteral("/tiles/s/tileextents.json"), TestHttpServer::Fault::Hold);
        TileSourceManager manager;
        TileSourceSelectionWidget widget(manager);
        widget.setSettings(plainFormatters());
        manager.discoverTileSources(url(QStringLiteral("/tiles")));

        // The discovered source has no name, and its button no text.
        QTRY_COMPARE(buttonTexts(widget), QStringList({QStringLiteral("None"), QString()}));
        QTRY_COMPARE(m_server->heldCount(), 1);
        m_server->releaseHeld(QStringLiteral("/tiles/s/tiledescriptor.json"));
        // The descriptor names it; its extents are still zero.
        QTRY_COMPARE(buttonTexts(widget),
                     QStringList({QStringLiteral("None"), QStringLiteral("Scene\nf0 - f0\nt0 - t0")}));
        QTRY_COMPARE(m_server->heldCount(), 1);
        m_server->releaseHeld(QStringLiteral("/tiles/s/tileextents.json"));
        QTRY_COMPARE(buttonTexts(widget),
                     QStringList({QStringLiteral("None"),
                                  QStringLiteral("Scene\nf99000000 - f101000000\n"
                                                 "t1704110400 - t1704110460.5")}));
    }

    void theButtonIsRebuiltAtEachOfTheThreeSteps()
    {
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"s\"]");
        serve(QStringLiteral("s"), QStringLiteral("Scene"), QRectF(10, 20, 30, 40));
        TileSourceManager manager;
        TileSourceSelectionWidget widget(manager);
        widget.setSettings(plainFormatters());
        // Connected after the widget: sees the buttons the widget has just rebuilt.
        QList<QStringList> seen;
        QList<QList<QPointer<QRadioButton>>> made;
        connect(&manager, &TileSourceManager::si_tileSourceListChanged, this, [&] {
            seen.append(buttonTexts(widget));
            QList<QPointer<QRadioButton>> current;
            for (QRadioButton* button : buttons(widget))
                current.append(button);
            made.append(current);
        });
        manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(seen.size(), 3);
        QCOMPARE(seen.at(0), QStringList({QStringLiteral("None"), QString()}));
        QCOMPARE(seen.at(1), QStringList({QStringLiteral("None"), QStringLiteral("Scene\nf0 - f0\nt0 - t0")}));
        QCOMPARE(seen.at(2), QStringList({QStringLiteral("None"), QStringLiteral("Scene\nf10 - f40\nt20 - t60")}));
        // Each step made new buttons; the earlier ones go once deferred deletions run.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        for (int step = 0; step < 2; ++step) {
            for (const QPointer<QRadioButton>& button : made.at(step))
                QVERIFY(button.isNull());
        }
        QCOMPARE(widget.findChildren<QRadioButton*>().size(), 2);
    }

    void theDefaultFormattersShowKilohertzAndLocalTime()
    {
        // Runs with TZ=UTC and the C locale.
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"s\"]");
        serve(QStringLiteral("s"), QStringLiteral("Scene"), QRectF(99.9e6, 1704110400.25, 0.2e6, 30.0));
        WatchedManager watched;
        TileSourceSelectionWidget widget(watched.manager);
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 3);
        QCOMPARE(buttonTexts(widget).at(1),
                 QStringLiteral("Scene\n99900.000 KHz - 100100.000 KHz\n"
                                "01 Jan 24 12:00:00.250 - 01 Jan 24 12:00:30.250"));
    }

    void newFormattersShowFromTheNextRebuild()
    {
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"s\"]");
        serve(QStringLiteral("s"), QStringLiteral("Scene"), QRectF(1000, 2000, 1000, 10));
        WatchedManager watched;
        TileSourceSelectionWidget widget(watched.manager);
        widget.setSettings(plainFormatters());
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 3);
        const QString before = QStringLiteral("Scene\nf1000 - f2000\nt2000 - t2010");
        QCOMPARE(buttonTexts(widget).at(1), before);

        TileSourceSelectionWidgetSettings other;
        other.frequencyFormatter = [](double hertz) { return QStringLiteral("%1 Hz").arg(hertz); };
        other.timeFormatter = [](double seconds) { return QStringLiteral("%1 s").arg(seconds); };
        widget.setSettings(other);
        QCOMPARE(buttonTexts(widget).at(1), before);
        addHeld(watched.manager, QStringLiteral("x"), QStringLiteral("X"));
        QCOMPARE(buttonTexts(widget).at(1), QStringLiteral("Scene\n1000 Hz - 2000 Hz\n2000 s - 2010 s"));
    }

    // Rebuilding

    void oldButtonsAreDeletedLater()
    {
        TileSourceManager manager;
        discoverHeld(manager);
        addHeld(manager, QStringLiteral("a"), QStringLiteral("Alpha"));
        TileSourceSelectionWidget widget(manager);
        QList<QPointer<QRadioButton>> old;
        for (QRadioButton* button : buttons(widget))
            old.append(button);
        QCOMPARE(old.size(), 2);

        addHeld(manager, QStringLiteral("b"), QStringLiteral("Bravo"));
        QCOMPARE(buttonTexts(widget),
                 QStringList({QStringLiteral("None"), QStringLiteral("Alpha"), QStringLiteral("Bravo")}));
        for (const QPointer<QRadioButton>& button : old) {
            QVERIFY(!button.isNull());
            QVERIFY(!buttons(widget).contains(button.data()));
            QVERIFY(button->isHidden());
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        for (const QPointer<QRadioButton>& button : old)
            QVERIFY(button.isNull());
        QCOMPARE(widget.findChildren<QRadioButton*>().size(), 3);
    }

    // Picking

    void everyClickEmitsTheSourcesId()
    {
        TileSourceManager manager;
        addTwoHeldSources(manager);
        TileSourceSelectionWidget widget(manager);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QSignalSpy picked(&widget, &TileSourceSelectionWidget::si_activeTileSourceChanged);

        clickRadio(buttonWithText(widget, QStringLiteral("b")));
        QCOMPARE(picked.count(), 1);
        QCOMPARE(picked.at(0).at(0).toString(), QStringLiteral("z1"));
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("b")});
        QCOMPARE(widget.activeTileSource(), QStringLiteral("z1"));

        // Again on the checked button: emitted again.
        clickRadio(buttonWithText(widget, QStringLiteral("b")));
        QCOMPARE(picked.count(), 2);
        QCOMPARE(picked.at(1).at(0).toString(), QStringLiteral("z1"));

        clickRadio(buttonWithText(widget, QStringLiteral("a")));
        QCOMPARE(picked.count(), 3);
        QCOMPARE(picked.at(2).at(0).toString(), QStringLiteral("z2"));
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("a")});

        clickRadio(buttonWithText(widget, QStringLiteral("None")));
        QCOMPARE(picked.count(), 4);
        QVERIFY(picked.at(3).at(0).toString().isNull());
        QVERIFY(widget.activeTileSource().isNull());
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("None")});
    }

    void setActiveTileSourceChecksWithoutEmitting()
    {
        TileSourceManager manager;
        addTwoHeldSources(manager);
        TileSourceSelectionWidget widget(manager);
        QSignalSpy picked(&widget, &TileSourceSelectionWidget::si_activeTileSourceChanged);

        widget.setActiveTileSource(QStringLiteral("z2"));
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("a")});
        QCOMPARE(widget.activeTileSource(), QStringLiteral("z2"));

        // Unknown: stored, but nothing is checked or unchecked.
        widget.setActiveTileSource(QStringLiteral("nope"));
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("a")});
        QCOMPARE(widget.activeTileSource(), QStringLiteral("nope"));

        widget.setActiveTileSource(QString());
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("None")});
        QCOMPARE(picked.count(), 0);
    }

    void theActiveSourceIsCheckedAgainAfterARebuild()
    {
        TileSourceManager manager;
        discoverHeld(manager);
        addHeld(manager, QStringLiteral("z1"), QStringLiteral("b"));
        TileSourceSelectionWidget widget(manager);
        widget.setActiveTileSource(QStringLiteral("z1"));
        addHeld(manager, QStringLiteral("z2"), QStringLiteral("a"));
        QCOMPARE(buttonTexts(widget), QStringList({QStringLiteral("None"), QStringLiteral("a"), QStringLiteral("b")}));
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("b")});

        // A source not listed (yet) checks nothing; once it is added, its button is checked.
        widget.setActiveTileSource(QStringLiteral("z3"));
        addHeld(manager, QStringLiteral("z4"), QStringLiteral("d"));
        QCOMPARE(checkedTexts(widget), QStringList());
        addHeld(manager, QStringLiteral("z3"), QStringLiteral("c"));
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("c")});

        // The active source removed: nothing is checked.
        manager.removeTileSource(QStringLiteral("z3"));
        QCOMPARE(buttonTexts(widget),
                 QStringList({QStringLiteral("None"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("d")}));
        QCOMPARE(checkedTexts(widget), QStringList());
    }

    void anEmptyIdSharesTheMapEntryOfNone()
    {
        TileSourceManager manager;
        discoverHeld(manager);
        addHeld(manager, QLatin1String(""), QStringLiteral("Empty"));
        TileSourceSelectionWidget widget(manager);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QCOMPARE(buttonTexts(widget), QStringList({QStringLiteral("None"), QStringLiteral("Empty")}));
        // Both ids are the same key; "None", made last, holds it.
        widget.setActiveTileSource(QLatin1String(""));
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("None")});

        QSignalSpy picked(&widget, &TileSourceSelectionWidget::si_activeTileSourceChanged);
        clickRadio(buttonWithText(widget, QStringLiteral("Empty")));
        QCOMPARE(picked.count(), 1);
        QVERIFY(picked.at(0).at(0).toString().isEmpty());
        QVERIFY(!picked.at(0).at(0).toString().isNull());

        // The button outside the map goes with the next rebuild all the same.
        addHeld(manager, QStringLiteral("b"), QStringLiteral("Bravo"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(widget.findChildren<QRadioButton*>().size(), 3);
        QCOMPARE(widget.layout()->count(), 3);
    }

    void anEmptyListStillShowsNone()
    {
        TileSourceManager manager;
        discoverHeld(manager);
        addHeld(manager, QStringLiteral("a"), QStringLiteral("Alpha"));
        TileSourceSelectionWidget widget(manager);
        manager.removeTileSource(QStringLiteral("a"));
        QCOMPARE(buttonTexts(widget), QStringList{QStringLiteral("None")});
        QCOMPARE(checkedTexts(widget), QStringList{QStringLiteral("None")});
        testsupport::letNothingHappen();
        QCOMPARE(buttonTexts(widget), QStringList{QStringLiteral("None")});
    }
};

QTEST_MAIN(TestTileSourceSelectionWidget)
#include "tst_tilesourceselectionwidget.moc"
