// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The item renderer on its own: requests and their hand-over, the image it paints for
// a request (where, in which format, in which classes and colours), and its end while
// a render runs.

#include "SdmPaintTestSupport.h"

#include <mivo/sdm/AsyncItemRenderer.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspacePaintHandler.h>

#include <QElapsedTimer>
#include <QMetaMethod>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <thread>

using mivo::sdm::AsyncItemRenderer;
using mivo::sdm::RenderRequest;
using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceItem;
using mivo::sdm::SdmWorkspacePaintHandlerSettings;
using sdmpaint::composed;
using sdmpaint::RenderCounter;
using sdmpaint::RendererBlocker;
using sdmpaint::waitForCurrentImage;
using sdmpaint::workspaceOf;
using sdmtest::item;

namespace {

RenderRequest requestOf(const std::shared_ptr<SdmWorkspace>& workspace, const QSize& size, const QRectF& range,
                        quint32 generation = 0)
{
    RenderRequest request;
    request.imageSize = size;
    request.valueRange = range;
    request.workspace = workspace;
    request.generation = generation;
    return request;
}

// The image of @p request, rendered on the renderer's thread; null when it never came.
QImage rendered(AsyncItemRenderer& renderer, const RenderRequest& request)
{
    renderer.requestRender(request);
    if (!waitForCurrentImage(renderer))
        return QImage();
    return renderer.lastResult().second;
}

// Destroys the renderer a while after its request, so that the destruction lands at
// some point of the render; no result depends on where it lands.
void destroyWhileRendering(std::unique_ptr<AsyncItemRenderer>& renderer, const RenderRequest& request,
                           std::chrono::microseconds after)
{
    renderer->requestRender(request);
    std::this_thread::sleep_for(after);
    renderer.reset();
}

} // namespace

class TestAsyncItemRenderer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectNames()
    {
        AsyncItemRenderer renderer;
        const QMetaObject* meta = renderer.metaObject();
        QCOMPARE(QByteArray(meta->className()), QByteArray("mivo::sdm::AsyncItemRenderer"));
        const int slot = meta->indexOfSlot("sl_doRender()");
        QVERIFY(slot >= 0);
        QCOMPARE(meta->method(slot).access(), QMetaMethod::Public);
        QVERIFY(meta->indexOfSignal("si_prerenderFinished()") >= 0);
    }

    void defaultRequest()
    {
        const RenderRequest request;
        QCOMPARE(request.imageSize, QSize(-1, -1));
        QVERIFY(request.valueRange.isNull());
        QVERIFY(!request.workspace);
        QCOMPARE(request.generation, quint32(0));
    }

    void sameRequest_data()
    {
        QTest::addColumn<RenderRequest>("base");
        QTest::addColumn<RenderRequest>("other");
        QTest::addColumn<bool>("same");
        const auto workspace = workspaceOf(QStringLiteral("w"));
        const RenderRequest base = requestOf(workspace, QSize(200, 100), QRectF(1.0e8, 1.7e9, 2.0e5, 60.0), 3);
        QTest::newRow("identical") << base << base << true;
        RenderRequest fuzzy = base;
        fuzzy.valueRange.moveLeft(1.0e8 + 1.0e-6); // one part in 10^14
        QTest::newRow("range within fuzzy equality") << base << fuzzy << true;
        RenderRequest moved = base;
        moved.valueRange.moveLeft(1.0e8 + 1.0e-2); // one part in 10^10
        QTest::newRow("range moved") << base << moved << false;
        RenderRequest wider = base;
        wider.valueRange.setWidth(2.0e5 + 1.0);
        QTest::newRow("range wider") << base << wider << false;
        RenderRequest generation = base;
        generation.generation = 4;
        QTest::newRow("other generation") << base << generation << false;
        RenderRequest namesake = base;
        namesake.workspace = workspaceOf(QStringLiteral("w"));
        QTest::newRow("other workspace of the same id") << base << namesake << false;
        RenderRequest none = base;
        none.workspace.reset();
        QTest::newRow("no workspace") << base << none << false;
        RenderRequest width = base;
        width.imageSize.setWidth(201);
        QTest::newRow("other width") << base << width << false;
        RenderRequest height = base;
        height.imageSize.setHeight(99);
        QTest::newRow("other height") << base << height << false;
        // Widths and heights are compared, not emptiness.
        RenderRequest flat = base;
        flat.imageSize = QSize(0, 5);
        RenderRequest narrow = base;
        narrow.imageSize = QSize(5, 0);
        QTest::newRow("empty sizes of other shapes") << flat << narrow << false;
    }

    void sameRequest()
    {
        QFETCH(RenderRequest, base);
        QFETCH(RenderRequest, other);
        QFETCH(bool, same);
        QCOMPARE(other == base, same);
        QCOMPARE(base == other, same);
        QCOMPARE(other != base, !same);
    }

    void rendersOnItsOwnThreadAndPublishesRequestWithImage()
    {
        AsyncItemRenderer renderer;
        const auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(10, 10, 20, 20))});
        std::atomic<QThread*> renderThread{nullptr};
        QObject observer;
        connect(
            &renderer, &AsyncItemRenderer::si_prerenderFinished, &observer,
            [&renderThread] { renderThread = QThread::currentThread(); }, Qt::DirectConnection);
        RenderCounter counter(renderer);
        const RenderRequest request = requestOf(workspace, QSize(200, 100), QRectF(0, 0, 200, 100), 7);
        renderer.requestRender(request);
        QCOMPARE(renderer.pendingRequest(), request);
        QTRY_COMPARE(counter.renders(), 1);
        QVERIFY(renderThread.load() != nullptr);
        QVERIFY(renderThread.load() != QThread::currentThread());
        const QPair<RenderRequest, QImage> result = renderer.lastResult();
        QCOMPARE(result.first, request);
        QCOMPARE(result.first.generation, quint32(7));
        QCOMPARE(result.second.size(), QSize(200, 100));
        QCOMPARE(result.second.format(), QImage::Format_RGBA8888_Premultiplied);
    }

    void nothingBeforeTheFirstRender()
    {
        AsyncItemRenderer renderer;
        QCOMPARE(renderer.lastResult().first, RenderRequest());
        QVERIFY(renderer.lastResult().second.isNull());
        QCOMPARE(renderer.pendingRequest(), RenderRequest());
    }

    void itemsLieWhereTheRequestRangePutsThem()
    {
        AsyncItemRenderer renderer;
        // 0.5 Hz per pixel across, 2 s per pixel down.
        const auto workspace
            = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(1050, 2100, 20, 40))});
        const QImage image = rendered(renderer, requestOf(workspace, QSize(400, 200), QRectF(1000, 2000, 200, 400)));
        QVERIFY(!image.isNull());
        const SdmWorkspacePaintHandlerSettings defaults;
        const QRgb outline = composed({{defaults.itemPen.color()}});
        const QRgb fill = composed({{defaults.itemBrush.color()}});
        // Pixels (100, 50) to (140, 70): the 1-pixel outline covers both end columns and rows.
        COMPARE_PIXEL(image, 100, 60, outline);
        COMPARE_PIXEL(image, 140, 60, outline);
        COMPARE_PIXEL(image, 120, 50, outline);
        COMPARE_PIXEL(image, 120, 70, outline);
        COMPARE_PIXEL(image, 120, 60, fill);
        COMPARE_PIXEL(image, 99, 60, 0u);
        COMPARE_PIXEL(image, 141, 60, 0u);
        COMPARE_PIXEL(image, 120, 49, 0u);
        COMPARE_PIXEL(image, 120, 71, 0u);
        COMPARE_PIXEL(image, 5, 5, 0u);
    }

    void itemsReachingOutOfTheRangeAreCut()
    {
        AsyncItemRenderer renderer;
        // Reaching from far left of the range to its middle, and far below it.
        const auto workspace
            = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(-1.0e12, 50, 1.0e12 + 100, 1.0e12))});
        const QImage image = rendered(renderer, requestOf(workspace, QSize(200, 100), QRectF(0, 0, 200, 100)));
        const SdmWorkspacePaintHandlerSettings defaults;
        COMPARE_PIXEL(image, 100, 75, composed({{defaults.itemPen.color()}}));
        COMPARE_PIXEL(image, 50, 50, composed({{defaults.itemPen.color()}}));
        COMPARE_PIXEL(image, 0, 75, composed({{defaults.itemBrush.color()}}));
        COMPARE_PIXEL(image, 99, 99, composed({{defaults.itemBrush.color()}}));
        COMPARE_PIXEL(image, 150, 75, 0u);
        COMPARE_PIXEL(image, 50, 40, 0u);
    }

    // Four unselected and four selected items, one per class, apart from each other;
    // marked items exist, so unmarked unselected ones are dimmed.
    void eachClassHasItsPenBrushAndOpacity()
    {
        AsyncItemRenderer renderer;
        auto workspace = workspaceOf(QStringLiteral("w"),
                                     {
                                         item(QStringLiteral("c0"), QRectF(10, 10, 20, 20)),
                                         item(QStringLiteral("c2"), QRectF(40, 10, 20, 20), false, true),
                                         item(QStringLiteral("c4"), QRectF(70, 10, 20, 20), true, false),
                                         item(QStringLiteral("c6"), QRectF(100, 10, 20, 20), true, true),
                                         item(QStringLiteral("c1"), QRectF(10, 50, 20, 20)),
                                         item(QStringLiteral("c3"), QRectF(40, 50, 20, 20), false, true),
                                         item(QStringLiteral("c5"), QRectF(70, 50, 20, 20), true, false),
                                         item(QStringLiteral("c7"), QRectF(100, 50, 20, 20), true, true),
                                     });
        workspace->selectItems({item(QStringLiteral("c1"), QRectF(10, 50, 20, 20)),
                                item(QStringLiteral("c3"), QRectF(40, 50, 20, 20)),
                                item(QStringLiteral("c5"), QRectF(70, 50, 20, 20)),
                                item(QStringLiteral("c7"), QRectF(100, 50, 20, 20))},
                               false, true);
        const QImage image = rendered(renderer, requestOf(workspace, QSize(200, 100), QRectF(0, 0, 200, 100)));
        const SdmWorkspacePaintHandlerSettings s;
        const double dim = 0.4;
        // Unselected: outline over the fill at the left edge, fill inside.
        COMPARE_PIXEL(image, 10, 20, composed({{s.itemBrush.color(), dim}, {s.itemPen.color(), dim}}));
        COMPARE_PIXEL(image, 20, 20, composed({{s.itemBrush.color(), dim}}));
        COMPARE_PIXEL(image, 40, 20, composed({{s.flaggedItemBrush.color(), dim}, {s.flaggedItemPen.color(), dim}}));
        COMPARE_PIXEL(image, 50, 20, composed({{s.flaggedItemBrush.color(), dim}}));
        COMPARE_PIXEL(image, 70, 20, composed({{s.itemPen.color()}}));
        COMPARE_PIXEL(image, 80, 20, composed({{s.itemBrush.color()}}));
        COMPARE_PIXEL(image, 100, 20, composed({{s.flaggedItemPen.color()}}));
        COMPARE_PIXEL(image, 110, 20, composed({{s.flaggedItemBrush.color()}}));
        // Selected: over the selected items area (four are selected), at full opacity,
        // the 3-pixel selected pen whatever the class, the brush by the flag.
        const QColor area = s.selectionAreaBrush.color();
        for (int left : {10, 40, 70, 100})
            COMPARE_PIXEL(image, left + 1, 60, composed({{s.selectedItemPen.color()}}));
        COMPARE_PIXEL(image, 20, 60, composed({{area}, {s.itemBrush.color()}}));
        COMPARE_PIXEL(image, 50, 60, composed({{area}, {s.flaggedItemBrush.color()}}));
        COMPARE_PIXEL(image, 80, 60, composed({{area}, {s.itemBrush.color()}}));
        COMPARE_PIXEL(image, 110, 60, composed({{area}, {s.flaggedItemBrush.color()}}));
        // The area between the selected items, and its outline.
        COMPARE_PIXEL(image, 35, 60, composed({{area}}));
        COMPARE_PIXEL(image, 35, 50, composed({{s.selectionAreaPen.color()}}));
        COMPARE_PIXEL(image, 35, 70, composed({{s.selectionAreaPen.color()}}));
        COMPARE_PIXEL(image, 35, 40, 0u);
        COMPARE_PIXEL(image, 150, 60, 0u);
    }

    // Overlapping items show which class is drawn later: selected over marked over
    // the rest, flagged over unflagged among the unmarked and among the marked.
    void laterClassesLieOnTop()
    {
        AsyncItemRenderer renderer;
        auto workspace = workspaceOf(QStringLiteral("w"),
                                     {
                                         item(QStringLiteral("plain"), QRectF(10, 10, 40, 40)),
                                         item(QStringLiteral("flagged"), QRectF(30, 30, 40, 40), false, true),
                                         item(QStringLiteral("marked"), QRectF(100, 10, 40, 40), true, false),
                                         item(QStringLiteral("marked flagged"), QRectF(120, 30, 40, 40), true, true),
                                         item(QStringLiteral("selected"), QRectF(40, 20, 80, 10)),
                                     });
        workspace->selectItems({item(QStringLiteral("selected"), QRectF())}, false, true);
        const QImage image = rendered(renderer, requestOf(workspace, QSize(200, 100), QRectF(0, 0, 200, 100)));
        const SdmWorkspacePaintHandlerSettings s;
        const double dim = 0.4;
        // The flagged outline crosses the plain item's fill: drawn later, over it.
        COMPARE_PIXEL(
            image, 30, 40,
            composed({{s.itemBrush.color(), dim}, {s.flaggedItemBrush.color(), dim}, {s.flaggedItemPen.color(), dim}}));
        // The plain outline under the flagged fill.
        COMPARE_PIXEL(image, 50, 45, composed({{s.itemPen.color(), dim}, {s.flaggedItemBrush.color(), dim}}));
        // Marked flagged over marked.
        COMPARE_PIXEL(image, 140, 45, composed({{s.itemPen.color()}, {s.flaggedItemBrush.color()}}));
        // The selected item over both groups: its outline over the plain item's fill
        // and over the marked item's fill, its fill over the marked item's outline.
        COMPARE_PIXEL(image, 40, 25, composed({{s.selectedItemPen.color()}}));
        COMPARE_PIXEL(image, 110, 30, composed({{s.selectedItemPen.color()}}));
        COMPARE_PIXEL(image, 100, 25, composed({{s.itemPen.color()}, {s.itemBrush.color()}}));
        COMPARE_PIXEL(image, 110, 25, composed({{s.itemBrush.color()}, {s.itemBrush.color()}}));
    }

    void selectedItemsAreaOnlyWithMoreThanOneSelected()
    {
        const auto workspace = workspaceOf(QStringLiteral("w"),
                                           {item(QStringLiteral("a"), QRectF(10, 10, 20, 20)),
                                            item(QStringLiteral("b"), QRectF(60, 60, 20, 20))});
        const SdmWorkspacePaintHandlerSettings s;
        AsyncItemRenderer renderer;
        workspace->selectItems({item(QStringLiteral("a"), QRectF(10, 10, 20, 20))}, false, true);
        QImage image = rendered(renderer, requestOf(workspace, QSize(100, 100), QRectF(0, 0, 100, 100), 1));
        COMPARE_PIXEL(image, 45, 45, 0u);
        workspace->selectItems({item(QStringLiteral("b"), QRectF(60, 60, 20, 20))}, false, false);
        image = rendered(renderer, requestOf(workspace, QSize(100, 100), QRectF(0, 0, 100, 100), 2));
        COMPARE_PIXEL(image, 45, 45, composed({{s.selectionAreaBrush.color()}}));
        COMPARE_PIXEL(image, 45, 10, composed({{s.selectionAreaPen.color()}}));
    }

    void unmarkedItemsAreDimmedOnlyWhileAnyIsMarked()
    {
        const SdmWorkspacePaintHandlerSettings s;
        AsyncItemRenderer renderer;
        auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(10, 10, 20, 20))});
        QImage image = rendered(renderer, requestOf(workspace, QSize(100, 100), QRectF(0, 0, 100, 100), 1));
        COMPARE_PIXEL(image, 10, 20, composed({{s.itemPen.color()}}));
        COMPARE_PIXEL(image, 20, 20, composed({{s.itemBrush.color()}}));
        workspace->addItems({item(QStringLiteral("m"), QRectF(60, 60, 20, 20), true)});
        image = rendered(renderer, requestOf(workspace, QSize(100, 100), QRectF(0, 0, 100, 100), 2));
        COMPARE_PIXEL(image, 10, 20, composed({{s.itemBrush.color(), 0.4}, {s.itemPen.color(), 0.4}}));
        COMPARE_PIXEL(image, 20, 20, composed({{s.itemBrush.color(), 0.4}}));
        QVERIFY(composed({{s.itemBrush.color(), 0.4}}) != composed({{s.itemBrush.color()}}));
    }

    void withoutWorkspaceTheImageIsTransparent()
    {
        AsyncItemRenderer renderer;
        const QImage image = rendered(renderer, requestOf(nullptr, QSize(30, 20), QRectF(0, 0, 30, 20)));
        QCOMPARE(image.size(), QSize(30, 20));
        QCOMPARE(image.format(), QImage::Format_RGBA8888_Premultiplied);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 30; ++x)
                QCOMPARE(image.pixel(x, y), 0u);
    }

    void anEmptySizeGivesANullImage()
    {
        AsyncItemRenderer renderer;
        const auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(1, 1, 2, 2))});
        RenderCounter counter(renderer);
        const RenderRequest request = requestOf(workspace, QSize(0, 0), QRectF(0, 0, 30, 20));
        renderer.requestRender(request);
        QTRY_COMPARE(counter.renders(), 1);
        QCOMPARE(renderer.lastResult().first, request);
        QVERIFY(renderer.lastResult().second.isNull());
    }

    void aRangeWithoutAreaGivesATransparentImage_data()
    {
        QTest::addColumn<QRectF>("range");
        QTest::newRow("null") << QRectF();
        QTest::newRow("no width") << QRectF(5, 5, 0, 10);
        QTest::newRow("negative height") << QRectF(5, 5, 10, -10);
        QTest::newRow("infinite") << QRectF(0, 0, qInf(), 10);
        QTest::newRow("not a number") << QRectF(qQNaN(), 0, 10, 10);
    }

    void aRangeWithoutAreaGivesATransparentImage()
    {
        QFETCH(QRectF, range);
        AsyncItemRenderer renderer;
        const auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(0, 0, 40, 40))});
        RenderCounter counter(renderer);
        renderer.requestRender(requestOf(workspace, QSize(20, 10), range));
        QTRY_COMPARE(counter.renders(), 1);
        const QImage image = renderer.lastResult().second;
        QCOMPARE(image.size(), QSize(20, 10));
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 20; ++x)
                QCOMPARE(image.pixel(x, y), 0u);
    }

    void anIdenticalRequestIsDropped()
    {
        AsyncItemRenderer renderer;
        const auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(1, 1, 2, 2))});
        RenderCounter counter(renderer);
        const RenderRequest request = requestOf(workspace, QSize(20, 10), QRectF(0, 0, 20, 10));
        renderer.requestRender(request);
        QTRY_COMPARE(counter.renders(), 1);
        renderer.requestRender(request);
        RenderRequest fuzzy = request;
        fuzzy.valueRange.setWidth(20.0 + 1e-13);
        renderer.requestRender(fuzzy);
        sdmpaint::letNothingHappen();
        QCOMPARE(counter.renders(), 1);
    }

    // Requests made while the thread is busy replace the pending one: the first queued
    // call renders the latest, the others find nothing to do.
    void requestsWhileBusyRenderOnlyTheLatest()
    {
        AsyncItemRenderer renderer;
        const auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(1, 1, 2, 2))});
        RenderCounter counter(renderer);
        RendererBlocker blocker(renderer);
        for (quint32 generation = 1; generation <= 3; ++generation)
            renderer.requestRender(requestOf(workspace, QSize(20, 10), QRectF(0, 0, 20, 10), generation));
        QCOMPARE(renderer.pendingRequest().generation, quint32(3));
        QCOMPARE(renderer.lastResult().first, RenderRequest());
        blocker.release();
        QTRY_COMPARE(counter.renders(), 1);
        QCOMPARE(renderer.lastResult().first.generation, quint32(3));
        sdmpaint::letNothingHappen();
        QCOMPARE(counter.renders(), 1);
    }

    void aDirectCallRendersInTheCallingThreadOnceOnly()
    {
        AsyncItemRenderer renderer;
        const auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(1, 1, 4, 4))});
        std::atomic<int> inThisThread{0};
        QObject observer;
        connect(
            &renderer, &AsyncItemRenderer::si_prerenderFinished, &observer,
            [&inThisThread, main = QThread::currentThread()] {
                if (QThread::currentThread() == main)
                    ++inThisThread;
            },
            Qt::DirectConnection);
        RenderCounter counter(renderer);
        {
            RendererBlocker blocker(renderer);
            renderer.requestRender(requestOf(workspace, QSize(20, 10), QRectF(0, 0, 20, 10)));
            renderer.sl_doRender();
            QCOMPARE(inThisThread.load(), 1);
            QCOMPARE(renderer.lastResult().first, renderer.pendingRequest());
            QCOMPARE(renderer.lastResult().second.pixel(1, 2),
                     composed({{SdmWorkspacePaintHandlerSettings().itemPen.color()}}));
            renderer.sl_doRender(); // the pending request is published: nothing to do
            QCOMPARE(inThisThread.load(), 1);
        }
        // The queued call finds nothing to do either.
        sdmpaint::letNothingHappen();
        QCOMPARE(counter.renders(), 1);
    }

    void changesBetweenRendersShowInTheNext()
    {
        AsyncItemRenderer renderer;
        auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(10, 10, 10, 10))});
        const SdmWorkspacePaintHandlerSettings s;
        QImage image = rendered(renderer, requestOf(workspace, QSize(40, 40), QRectF(0, 0, 40, 40), 1));
        const QImage first = image;
        COMPARE_PIXEL(image, 15, 15, composed({{s.itemBrush.color()}}));
        workspace->updateItems({item(QStringLiteral("a"), QRectF(20, 20, 10, 10), false, true)});
        image = rendered(renderer, requestOf(workspace, QSize(40, 40), QRectF(0, 0, 40, 40), 2));
        COMPARE_PIXEL(image, 15, 15, 0u);
        COMPARE_PIXEL(image, 25, 25, composed({{s.flaggedItemBrush.color()}}));
        // The image handed out before is not painted over.
        COMPARE_PIXEL(first, 15, 15, composed({{s.itemBrush.color()}}));
        COMPARE_PIXEL(first, 25, 25, 0u);
    }

    void destroyingWhileARenderRunsEndsCleanly()
    {
        // Enough items to keep the thread busy for a while, every one in range.
        QList<SdmWorkspaceItem> items;
        for (int i = 0; i < 200000; ++i)
            items.append(item(QString::number(i), QRectF(i % 1000, (i / 1000) * 5, 3, 3), i % 7 == 0, i % 3 == 0));
        auto workspace = workspaceOf(QStringLiteral("w"), items);
        workspace->selectItems(items.mid(0, 500), false, true);
        const RenderRequest request = requestOf(workspace, QSize(1000, 1000), QRectF(0, 0, 1000, 1000));

        // How long one whole render takes here, to land destructions inside one.
        auto renderer = std::make_unique<AsyncItemRenderer>();
        QElapsedTimer clock;
        clock.start();
        QVERIFY(!rendered(*renderer, request).isNull());
        const auto whole = std::chrono::microseconds(clock.nsecsElapsed() / 1000);
        for (int quarter = 0; quarter < 4; ++quarter) {
            renderer = std::make_unique<AsyncItemRenderer>();
            RenderCounter counter(*renderer);
            destroyWhileRendering(renderer, request, whole * quarter / 4);
            QVERIFY(!renderer);
            // A render cut short publishes nothing, and nothing arrives from a finished one.
            sdmpaint::letNothingHappen();
            QVERIFY(counter.renders() <= 1);
        }
        // Held here and by the test's request only.
        QCOMPARE(workspace.use_count(), 2L);
    }
};

QTEST_MAIN(TestAsyncItemRenderer)
#include "tst_asyncitemrenderer.moc"
