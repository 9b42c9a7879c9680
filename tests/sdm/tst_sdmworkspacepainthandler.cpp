// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The workspace paint layer: which workspaces it draws and in which order, their
// rectangles, out-of-view marks and captions, the active workspace's items through the
// renderer (the last image stretched until the next arrives), and when it repaints and
// asks for a new image. Pixels are checked in images painted through a widget that is
// never shown, and the round trip to the renderer's thread in a shown widget.

#include "SdmPaintTestSupport.h"

#include "../overlays/PaintTestSupport.h"

#include <mivo/sdm/AsyncItemRenderer.h>
#include <mivo/sdm/SdmWorkspacePaintHandler.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>

#include <QMetaMethod>
#include <QtTest>

#include <chrono>
#include <thread>

using mivo::sdm::AsyncItemRenderer;
using mivo::sdm::RenderRequest;
using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceItem;
using mivo::sdm::SdmWorkspacePaintHandler;
using mivo::sdm::SdmWorkspacePaintHandlerSettings;
using mivo::sdm::SdmWorkspaceRepository;
using painttest::canvas;
using painttest::paint;
using sdmpaint::areaOf;
using sdmpaint::describePixel;
using sdmpaint::HiddenView;
using sdmpaint::RenderCounter;
using sdmpaint::RendererBlocker;
using sdmpaint::ShownView;
using sdmpaint::waitForCurrentImage;
using sdmpaint::workspaceOf;
using sdmtest::item;

namespace {

const QColor red(255, 0, 0);
const QColor green(0, 255, 0);
const QColor blue(0, 0, 255);
const QRgb black = qRgb(0, 0, 0);

// Opaque, easily told apart: inactive workspaces green, the active one blue, both
// unfilled unless a test fills them.
SdmWorkspacePaintHandlerSettings plainSettings()
{
    SdmWorkspacePaintHandlerSettings settings;
    settings.inactiveWorkspacePen = QPen(green, 1.0);
    settings.inactiveWorkspaceBrush = QBrush(Qt::transparent);
    settings.activeWorkspacePen = QPen(blue, 1.0);
    settings.activeWorkspaceBrush = QBrush(Qt::transparent);
    settings.captionFormatter = [](const QString&) { return QString(); };
    return settings;
}

// A handler on a hidden 200 x 100 view of one value unit per pixel, with a repository.
struct Scene
{
    explicit Scene(const QSize& size = QSize(200, 100))
        : view(size)
        , size(size)
    {
        QFont font = view.widget.font();
        font.setPointSizeF(10.0);
        view.widget.setFont(font);
    }

    QImage painted()
    {
        QImage image = canvas(size.width(), size.height());
        paint(handler, image);
        return image;
    }

    // Painted once the renderer has the image of the view; null if it never came.
    QImage paintedWithItems()
    {
        painted();
        if (!waitForCurrentImage(handler.renderer()))
            return QImage();
        return painted();
    }

    std::shared_ptr<SdmWorkspace> activate(const std::shared_ptr<SdmWorkspace>& workspace)
    {
        repository.addWorkspace(workspace);
        repository.setActivateWorkspace(workspace);
        return workspace;
    }

    HiddenView view;
    QSize size;
    SdmWorkspaceRepository repository;
    SdmWorkspacePaintHandler handler{view.widget, repository};
};

// A workspace holding @p items whose declared extents reach far beyond the view, so
// that its outline stays out of the way of the items.
std::shared_ptr<SdmWorkspace> itemsOf(const QString& id, const QList<SdmWorkspaceItem>& items)
{
    auto workspace = workspaceOf(id, items);
    workspace->setExtents(QRectF(-1.0e6, -1.0e6, 3.0e6, 3.0e6));
    return workspace;
}

// Where the marks of a workspace at pixel rectangle @p rect would be on a 200 x 100 view
// with a pen 2 pixels wide: per side the line of pixels that only a mark covers (not the
// outline), and the pixels along it from the visible part's shrunk corners.
struct MarkLines
{
    explicit MarkLines(const QRectF& rect)
        : v(rect.intersected(QRectF(0, 0, 200, 100)).adjusted(1, 1, -1, -1))
    {
    }

    // Pixels (index along the side) of a side with the line at @p across, from @p first
    // to @p last (exclusive), marked or not.
    struct Side
    {
        bool vertical;
        int across;
        int first;
        int last;
    };
    Side left() const { return {true, int(v.left()), int(v.top()), int(v.bottom())}; }
    Side right() const { return {true, int(v.right()) - 1, int(v.top()), int(v.bottom())}; }
    Side top() const { return {false, int(v.top()), int(v.left()), int(v.right())}; }
    Side bottom() const { return {false, int(v.bottom()) - 1, int(v.left()), int(v.right())}; }
    double length(const Side& side) const { return 0.2 * (side.vertical ? v.height() : v.width()); }

    QRectF v;
};

// Null when the pixels along @p side are red exactly at both ends over the mark's
// length (when @p cut) or nowhere away from the corners (when not).
QString checkSide(const QImage& image, const MarkLines& marks, const MarkLines::Side& side, bool cut, const char* name)
{
    const double length = marks.length(side);
    for (int i = side.first; i < side.last; ++i) {
        const QRgb pixel = side.vertical ? image.pixel(side.across, i) : image.pixel(i, side.across);
        // A pixel belongs to a mark when its centre lies on it.
        const bool inMark = i + 0.5 < side.first + length || i + 0.5 > side.last - length;
        const bool nearCorner = i < side.first + 2 || i >= side.last - 2;
        if (cut && (pixel == qRgb(255, 0, 0)) != inMark)
            return QStringLiteral("%1 side, pixel %2: %3").arg(QLatin1String(name)).arg(i).arg(describePixel(pixel));
        if (!cut && !nearCorner && pixel == qRgb(255, 0, 0))
            return QStringLiteral("%1 side not cut, but marked at %2").arg(QLatin1String(name)).arg(i);
    }
    return QString();
}

// The number of pixels of @p image in @p area that differ from @p colour.
int countOther(const QImage& image, const QRect& area, QRgb colour)
{
    const QRect inside = area.intersected(image.rect());
    return inside.width() * inside.height() - painttest::count(image, area, colour);
}

} // namespace

class TestSdmWorkspacePaintHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void settingsHoldTheDefaults()
    {
        const SdmWorkspacePaintHandlerSettings s;
        QCOMPARE(s.boundaryIndicatorLength, 0.2);
        QCOMPARE(s.inactiveWorkspacePen.color(), QColor(QStringLiteral("#FFFBB3")));
        QCOMPARE(s.inactiveWorkspacePen.widthF(), 1.0);
        QCOMPARE(s.inactiveWorkspacePen.style(), Qt::SolidLine);
        QCOMPARE(s.inactiveWorkspaceBrush.color().rgba(), 0x0FFFFBB3u);
        QCOMPARE(s.inactiveWorkspaceBrush.style(), Qt::SolidPattern);
        QCOMPARE(s.activeWorkspacePen.color(), QColor(QStringLiteral("#FFE100")));
        QCOMPARE(s.activeWorkspacePen.brush().style(), Qt::SolidPattern);
        QCOMPARE(s.activeWorkspacePen.widthF(), 3.0);
        QCOMPARE(s.activeWorkspacePen.style(), Qt::SolidLine);
        QCOMPARE(s.activeWorkspacePen.capStyle(), Qt::SquareCap);
        QCOMPARE(s.activeWorkspacePen.joinStyle(), Qt::BevelJoin);
        QCOMPARE(s.activeWorkspaceBrush.color().rgba(), 0x03FFE100u);
        QCOMPARE(s.activeWorkspaceBrush.style(), Qt::SolidPattern);
        QCOMPARE(s.captionMargin, 8.0);
        QCOMPARE(s.captionFontScale, 1.1);
        QCOMPARE(s.captionFormatter(QStringLiteral("rooftop")), QStringLiteral("rooftop"));
        QCOMPARE(s.itemPen.color(), QColor(QStringLiteral("#FFBFBF")));
        QCOMPARE(s.itemPen.widthF(), 1.0);
        QCOMPARE(s.itemBrush.color().rgba(), 0x22FFBFBFu);
        QCOMPARE(s.itemBrush.style(), Qt::SolidPattern);
        QCOMPARE(s.flaggedItemPen.color(), QColor(QStringLiteral("#FF4040")));
        QCOMPARE(s.flaggedItemPen.widthF(), 1.0);
        QCOMPARE(s.flaggedItemBrush.color().rgba(), 0x22FF4040u);
        QCOMPARE(s.selectedItemPen.color(), QColor(QStringLiteral("#F71919")));
        QCOMPARE(s.selectedItemPen.brush().style(), Qt::SolidPattern);
        QCOMPARE(s.selectedItemPen.widthF(), 3.0);
        QCOMPARE(s.selectionAreaPen.color(), QColor(QStringLiteral("#992E2E")));
        QCOMPARE(s.selectionAreaPen.widthF(), 3.0);
        QCOMPARE(s.selectionAreaBrush.color().rgba(), 0x22992E2Eu);
        QCOMPARE(s.unmarkedItemOpacity, 0.4);
    }

    void metaObjectNames()
    {
        Scene scene;
        const QMetaObject* meta = scene.handler.metaObject();
        QCOMPARE(QByteArray(meta->className()), QByteArray("mivo::sdm::SdmWorkspacePaintHandler"));
        const int changed = meta->indexOfSlot("sl_workspacesChanged(std::shared_ptr<SdmWorkspace>)");
        QVERIFY(changed >= 0);
        QCOMPARE(meta->method(changed).parameterNames(), QList<QByteArray>{"workspace"});
        QVERIFY(meta->indexOfSlot("sl_prerenderFinished()") >= 0);
        QVERIFY(scene.handler.isEnabled());
        QCOMPARE(scene.handler.generation(), quint32(0));
    }

    void disabledDrawsNothingAndAsksForNoImage()
    {
        Scene scene;
        scene.activate(workspaceOf(QStringLiteral("a"), {item(QStringLiteral("i"), QRectF(10, 10, 50, 50))}));
        scene.repository.addWorkspace(areaOf(QStringLiteral("b"), QRectF(20, 20, 100, 50)));
        scene.handler.setEnabled(false);
        QVERIFY(!scene.handler.isEnabled());
        const QImage image = scene.painted();
        QCOMPARE(countOther(image, image.rect(), black), 0);
        QCOMPARE(scene.handler.renderer().pendingRequest(), RenderRequest());
        scene.handler.setEnabled(true);
        QVERIFY(countOther(scene.painted(), image.rect(), black) > 0);
    }

    void enablingDoesNotRepaintByItself()
    {
        ShownView view;
        SdmWorkspaceRepository repository;
        auto handler = std::make_shared<SdmWorkspacePaintHandler>(*view.widget, repository);
        view.widget->addPaintHandler(handler);
        handler->setEnabled(false);
        QVERIFY(view.showAndPaint());
        const int paints = view.paints();
        handler->setEnabled(true);
        sdmpaint::letNothingHappen();
        QCOMPARE(view.paints(), paints);
        handler->setSettings(plainSettings()); // which does repaint
        QTRY_VERIFY(view.paints() > paints);
    }

    // Inactive workspaces in id order, then the active one, whatever its id.
    void inactiveInIdOrderThenTheActiveOnTop()
    {
        Scene scene;
        QStringList captions;
        SdmWorkspacePaintHandlerSettings settings = plainSettings();
        settings.inactiveWorkspaceBrush = QBrush(green);
        settings.activeWorkspaceBrush = QBrush(blue);
        settings.captionFormatter = [&captions](const QString& id) {
            captions.append(id);
            return QString();
        };
        scene.handler.setSettings(settings);
        scene.repository.addWorkspace(areaOf(QStringLiteral("c"), QRectF(100, 10, 60, 60)));
        scene.repository.addWorkspace(areaOf(QStringLiteral("b"), QRectF(10, 10, 60, 60)));
        scene.activate(areaOf(QStringLiteral("a"), QRectF(40, 40, 80, 40)));
        const QImage image = scene.painted();
        QCOMPARE(captions, (QStringList{QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("a")}));
        COMPARE_PIXEL(image, 20, 20, qRgb(0, 255, 0));
        COMPARE_PIXEL(image, 60, 60, qRgb(0, 0, 255)); // the active one over b
        COMPARE_PIXEL(image, 110, 60, qRgb(0, 0, 255)); // and over c
        COMPARE_PIXEL(image, 140, 20, qRgb(0, 255, 0));
    }

    void theActiveIsDrawnWhereverItLiesInactiveOnlyInView()
    {
        Scene scene;
        QStringList captions;
        SdmWorkspacePaintHandlerSettings settings = plainSettings();
        settings.captionFormatter = [&captions](const QString& id) {
            captions.append(id);
            return QString();
        };
        scene.handler.setSettings(settings);
        scene.repository.addWorkspace(areaOf(QStringLiteral("far"), QRectF(1000, 1000, 10, 10)));
        scene.repository.addWorkspace(areaOf(QStringLiteral("near"), QRectF(190, 90, 50, 50)));
        scene.activate(areaOf(QStringLiteral("active far"), QRectF(500, 500, 10, 10)));
        scene.painted();
        QCOMPARE(captions, (QStringList{QStringLiteral("near"), QStringLiteral("active far")}));

        // Not registered, and reaching into the view: drawn, clipped to the view.
        captions.clear();
        settings.activeWorkspaceBrush = QBrush(blue);
        scene.handler.setSettings(settings);
        scene.repository.setActivateWorkspace(areaOf(QStringLiteral("stray"), QRectF(-100, -100, 150, 150)));
        const QImage image = scene.painted();
        QCOMPARE(captions, (QStringList{QStringLiteral("near"), QStringLiteral("stray")}));
        COMPARE_PIXEL(image, 0, 0, qRgb(0, 0, 255));
        COMPARE_PIXEL(image, 48, 48, qRgb(0, 0, 255));
        COMPARE_PIXEL(image, 52, 52, black);
    }

    void workspacesAreFilledAndOutlined()
    {
        Scene scene;
        const SdmWorkspacePaintHandlerSettings defaults;
        SdmWorkspacePaintHandlerSettings settings = defaults;
        settings.captionFormatter = [](const QString&) { return QString(); };
        scene.handler.setSettings(settings);
        scene.repository.addWorkspace(areaOf(QStringLiteral("b"), QRectF(10, 10, 60, 60)));
        scene.activate(areaOf(QStringLiteral("a"), QRectF(110, 10, 60, 60)));
        const QImage image = scene.painted();
        // Fills composed over black, as QPainter composes them.
        QImage expected = canvas(2, 1);
        QPainter painter(&expected);
        painter.fillRect(QRectF(0, 0, 1, 1), defaults.inactiveWorkspaceBrush);
        painter.fillRect(QRectF(1, 0, 1, 1), defaults.activeWorkspaceBrush);
        painter.end();
        COMPARE_PIXEL(image, 40, 40, expected.pixel(0, 0));
        COMPARE_PIXEL(image, 140, 40, expected.pixel(1, 0));
        COMPARE_PIXEL(image, 10, 40, defaults.inactiveWorkspacePen.color().rgb());
        COMPARE_PIXEL(image, 70, 40, defaults.inactiveWorkspacePen.color().rgb());
        // The active outline is 3 pixels wide about the edge.
        for (int x : {109, 110})
            COMPARE_PIXEL(image, x, 40, defaults.activeWorkspacePen.color().rgb());
        COMPARE_PIXEL(image, 107, 40, black);
        COMPARE_PIXEL(image, 113, 40, expected.pixel(1, 0));
    }

    void aWorkspaceWithoutExtentsHasNoRectangle()
    {
        Scene scene;
        SdmWorkspacePaintHandlerSettings settings = plainSettings();
        settings.activeWorkspaceBrush = QBrush(blue);
        scene.handler.setSettings(settings);
        scene.activate(workspaceOf(QStringLiteral("empty")));
        const QImage image = scene.painted();
        QCOMPARE(countOther(image, image.rect(), black), 0);
    }

    void marksWhereTheWorkspaceRunsOutOfView_data()
    {
        QTest::addColumn<QRectF>("workspace");
        QTest::addColumn<bool>("left");
        QTest::addColumn<bool>("right");
        QTest::addColumn<bool>("top");
        QTest::addColumn<bool>("bottom");
        QTest::newRow("wholly in view") << QRectF(20, 10, 100, 52) << false << false << false << false;
        QTest::newRow("cut off on the left") << QRectF(-50, 10, 150, 52) << true << false << false << false;
        QTest::newRow("cut off on the right") << QRectF(100, 10, 150, 52) << false << true << false << false;
        QTest::newRow("cut off at the top") << QRectF(20, -30, 102, 80) << false << false << true << false;
        QTest::newRow("cut off at the bottom") << QRectF(20, 50, 102, 100) << false << false << false << true;
        QTest::newRow("cut off left and top") << QRectF(-50, -30, 152, 82) << true << false << true << false;
        QTest::newRow("covering the view") << QRectF(-10, -10, 220, 120) << true << true << true << true;
        // Qt's fuzzy comparison: a relative difference of 10^-12 and less is none, but
        // at zero any difference is one.
        QTest::newRow("right edge 1e-11 beyond")
            << QRectF(100, 10, 100 + 1e-11, 52) << false << false << false << false;
        QTest::newRow("right edge 1e-9 beyond") << QRectF(100, 10, 100 + 1e-9, 52) << false << true << false << false;
        QTest::newRow("left edge on the border") << QRectF(0, 10, 100, 52) << false << false << false << false;
        QTest::newRow("left edge a hair before the border")
            << QRectF(-1e-300, 10, 100, 52) << true << false << false << false;
    }

    void marksWhereTheWorkspaceRunsOutOfView()
    {
        QFETCH(QRectF, workspace);
        QFETCH(bool, left);
        QFETCH(bool, right);
        QFETCH(bool, top);
        QFETCH(bool, bottom);
        Scene scene;
        SdmWorkspacePaintHandlerSettings settings = plainSettings();
        settings.activeWorkspacePen = QPen(QBrush(red), 2.0, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin);
        scene.handler.setSettings(settings);
        scene.activate(areaOf(QStringLiteral("w"), workspace));
        const QImage image = scene.painted();
        const MarkLines marks(workspace);
        QString complaint = checkSide(image, marks, marks.left(), left, "left");
        if (complaint.isNull())
            complaint = checkSide(image, marks, marks.right(), right, "right");
        if (complaint.isNull())
            complaint = checkSide(image, marks, marks.top(), top, "top");
        if (complaint.isNull())
            complaint = checkSide(image, marks, marks.bottom(), bottom, "bottom");
        QVERIFY2(complaint.isNull(), qPrintable(complaint));
    }

    // The default pen and length: a workspace cut off on the left gets two marks on the
    // view's left border, each a fifth of the visible height long.
    void defaultMarksOnTheLeftBorder()
    {
        Scene scene;
        SdmWorkspacePaintHandlerSettings settings;
        settings.activeWorkspaceBrush = QBrush(Qt::transparent);
        settings.captionFormatter = [](const QString&) { return QString(); };
        scene.handler.setSettings(settings);
        // Visible from row 20 to 80: the pen's middle runs 1.5 inside, marks of 11.4.
        scene.activate(areaOf(QStringLiteral("w"), QRectF(-40, 20, 140, 60)));
        const QImage image = scene.painted();
        const QRgb yellow = settings.activeWorkspacePen.color().rgb();
        for (int y = 23; y <= 32; ++y)
            COMPARE_PIXEL(image, 1, y, yellow);
        for (int y = 36; y <= 64; ++y)
            COMPARE_PIXEL(image, 1, y, black);
        for (int y = 68; y <= 77; ++y)
            COMPARE_PIXEL(image, 1, y, yellow);
    }

    void captionSitsInTheBottomRightCornerOfTheVisiblePart_data()
    {
        QTest::addColumn<QRectF>("workspace");
        QTest::addColumn<double>("fontScale");
        QTest::newRow("in view") << QRectF(20, 10, 150, 80) << 1.1;
        QTest::newRow("reaching out right and down") << QRectF(20, 10, 500, 500) << 1.1;
        QTest::newRow("larger font") << QRectF(10, 10, 190, 85) << 1.6;
    }

    void captionSitsInTheBottomRightCornerOfTheVisiblePart()
    {
        QFETCH(QRectF, workspace);
        QFETCH(double, fontScale);
        Scene scene;
        SdmWorkspacePaintHandlerSettings settings = plainSettings();
        settings.captionFontScale = fontScale;
        scene.activate(areaOf(QStringLiteral("rooftop"), workspace));
        scene.handler.setSettings(settings);
        const QImage withoutCaption = scene.painted();
        settings.captionFormatter = [](const QString& id) { return QStringLiteral("Band ") + id; };
        scene.handler.setSettings(settings);
        const QImage image = scene.painted();

        QFont font = scene.view.widget.font();
        font.setPointSizeF(10.0 * fontScale);
        const QString text = QStringLiteral("Band rooftop");
        QRectF box = painttest::textBox(text, font).adjusted(-8, -8, 8, 8);
        const QRectF visible = workspace.intersected(QRectF(0, 0, 200, 100));
        box.moveBottomRight(visible.bottomRight());
        QImage expected = withoutCaption;
        QPainter painter(&expected);
        painter.setFont(font);
        painter.setPen(QPen(blue, 1.0));
        painter.drawText(box, Qt::AlignCenter, text);
        painter.end();
        QVERIFY(expected != withoutCaption);
        QVERIFY(image == expected);
    }

    void captionIsLeftOutWhereItDoesNotFit_data()
    {
        QTest::addColumn<QRectF>("workspace");
        QTest::newRow("too narrow") << QRectF(20, 10, 60, 80);
        QTest::newRow("too low") << QRectF(20, 10, 170, 20);
        QTest::newRow("large, but mostly out of view") << QRectF(-1000, -1000, 1040, 1030);
        QTest::newRow("out of view") << QRectF(300, 10, 500, 80);
    }

    void captionIsLeftOutWhereItDoesNotFit()
    {
        QFETCH(QRectF, workspace);
        Scene scene;
        SdmWorkspacePaintHandlerSettings settings = plainSettings();
        scene.activate(areaOf(QStringLiteral("rooftop"), workspace));
        scene.handler.setSettings(settings);
        const QImage withoutCaption = scene.painted();
        settings.captionFormatter = [](const QString& id) { return QStringLiteral("Band ") + id; };
        scene.handler.setSettings(settings);
        QVERIFY(scene.painted() == withoutCaption);
    }

    // 8 device-independent pixels at 96 dpi: the box grows by 8 on every side, so a
    // workspace 15 pixels wider than the text holds it, and 17 does.
    void captionMarginGrowsTheTextBox()
    {
        QFont font;
        font.setPointSizeF(11.0);
        const QRectF text = painttest::textBox(QStringLiteral("W"), font);
        for (const auto& [extra, fits] : {std::pair<double, bool>{15.0, false}, {17.0, true}}) {
            Scene scene;
            SdmWorkspacePaintHandlerSettings settings = plainSettings();
            scene.activate(areaOf(QStringLiteral("W"), QRectF(10, 2, text.width() + extra, 96)));
            scene.handler.setSettings(settings);
            const QImage withoutCaption = scene.painted();
            settings.captionFormatter = [](const QString& id) { return id; };
            scene.handler.setSettings(settings);
            QCOMPARE(scene.painted() != withoutCaption, fits);
        }
    }

    void itemsLieBetweenTheFillAndTheOutline()
    {
        Scene scene;
        SdmWorkspacePaintHandlerSettings settings = plainSettings();
        settings.activeWorkspaceBrush = QBrush(blue);
        scene.handler.setSettings(settings);
        // An item sharing the workspace's left edge, in a workspace filled opaquely.
        scene.activate(workspaceOf(QStringLiteral("w"),
                                   {item(QStringLiteral("i"), QRectF(20, 20, 40, 40)),
                                    item(QStringLiteral("j"), QRectF(100, 20, 40, 40))}));
        const QImage image = scene.paintedWithItems();
        QVERIFY(!image.isNull());
        const SdmWorkspacePaintHandlerSettings defaults;
        COMPARE_PIXEL(image, 20, 40, qRgb(0, 0, 255)); // the outline over the item's
        COMPARE_PIXEL(image, 100, 40, defaults.itemPen.color().rgb()); // the item's over the fill
        QVERIFY(image.pixel(120, 40) != qRgb(0, 0, 255)); // its fill over the fill
        COMPARE_PIXEL(image, 90, 40, qRgb(0, 0, 255));
    }

    void itemsKeepTheDefaultColoursWhatEverTheSettings()
    {
        Scene scene;
        SdmWorkspacePaintHandlerSettings settings = plainSettings();
        settings.itemPen = QPen(green, 1.0);
        settings.itemBrush = QBrush(green);
        settings.flaggedItemPen = QPen(green, 1.0);
        settings.selectedItemPen = QPen(green, 3.0);
        settings.unmarkedItemOpacity = 1.0;
        scene.handler.setSettings(settings);
        auto workspace = scene.activate(workspaceOf(QStringLiteral("w"),
                                                    {item(QStringLiteral("i"), QRectF(20, 20, 40, 40)),
                                                     item(QStringLiteral("f"), QRectF(100, 20, 40, 40), true, true),
                                                     item(QStringLiteral("s"), QRectF(20, 70, 20, 20)),
                                                     item(QStringLiteral("m"), QRectF(150, 70, 20, 20), true)}));
        workspace->selectItems({item(QStringLiteral("s"), QRectF())}, false, true);
        const QImage image = scene.paintedWithItems();
        const SdmWorkspacePaintHandlerSettings defaults;
        COMPARE_PIXEL(image, 100, 40, defaults.flaggedItemPen.color().rgb());
        COMPARE_PIXEL(image, 40, 80, defaults.selectedItemPen.color().rgb());
        COMPARE_PIXEL(image, 150, 80, defaults.itemPen.color().rgb());
        // Dimmed by the default 0.4, not the settings' 1.0: darker than at full opacity.
        QVERIFY(qRed(image.pixel(60, 40)) < 0xFF);
        QVERIFY(qRed(image.pixel(60, 40)) > 0x40);
        QCOMPARE(qGreen(image.pixel(40, 40)), qBlue(image.pixel(40, 40)));
        // The workspace itself follows the settings: a blue outline round the items'
        // bounding box, no fill.
        COMPARE_PIXEL(image, 170, 50, qRgb(0, 0, 255));
        COMPARE_PIXEL(image, 165, 50, black);
    }

    // Until the renderer delivers the image of a new view, the last one is drawn where
    // its range lies in the new view, scaled; then the new one replaces it.
    void theLastImageIsStretchedUntilTheNextArrives()
    {
        Scene scene;
        scene.handler.setSettings(plainSettings());
        scene.activate(itemsOf(QStringLiteral("w"), {item(QStringLiteral("i"), QRectF(20, 20, 20, 40))}));
        QVERIFY(!scene.paintedWithItems().isNull());
        const QRgb outline = SdmWorkspacePaintHandlerSettings().itemPen.color().rgb();

        RendererBlocker blocker(scene.handler.renderer());
        scene.view.widget.coordSystem().x().setScale(0.5); // twice as wide
        QImage image = scene.painted();
        // Image column 20 (the outline) now covers pixels 40 and 41.
        COMPARE_PIXEL(image, 39, 40, black);
        COMPARE_PIXEL(image, 40, 40, outline);
        COMPARE_PIXEL(image, 41, 40, outline);
        QVERIFY(image.pixel(42, 40) != outline);
        COMPARE_PIXEL(image, 80, 40, outline);
        COMPARE_PIXEL(image, 81, 40, outline);

        // Far into the old image: only its visible part is scaled.
        scene.view.widget.coordSystem().x().setScale(0.05);
        scene.view.widget.coordSystem().x().setOffset(19.5);
        image = scene.painted();
        for (int x : {0, 9})
            COMPARE_PIXEL(image, x, 40, black);
        for (int x : {10, 20, 29})
            COMPARE_PIXEL(image, x, 40, outline);
        QVERIFY(image.pixel(30, 40) != outline);
        QVERIFY(image.pixel(30, 40) != black);

        blocker.release();
        QVERIFY(waitForCurrentImage(scene.handler.renderer()));
        image = scene.painted();
        // The new image: the outline is one pixel wide again, at value 20.
        COMPARE_PIXEL(image, 10, 40, outline);
        QVERIFY(image.pixel(11, 40) != outline);
    }

    void nothingIsDrawnBeforeTheFirstImage()
    {
        Scene scene;
        scene.handler.setSettings(plainSettings());
        RendererBlocker blocker(scene.handler.renderer());
        scene.activate(itemsOf(QStringLiteral("w"), {item(QStringLiteral("i"), QRectF(20, 20, 20, 40))}));
        const QImage image = scene.painted();
        QCOMPARE(countOther(image, QRect(15, 15, 30, 50), black), 0);
        QCOMPARE(scene.handler.renderer().pendingRequest().workspace, scene.repository.activeWorkspace());
    }

    void anotherWorkspacesImageStaysUntilTheNewOneArrives()
    {
        Scene scene;
        scene.handler.setSettings(plainSettings());
        scene.activate(itemsOf(QStringLiteral("a"), {item(QStringLiteral("i"), QRectF(20, 20, 20, 40))}));
        QVERIFY(!scene.paintedWithItems().isNull());
        const QRgb outline = SdmWorkspacePaintHandlerSettings().itemPen.color().rgb();
        RendererBlocker blocker(scene.handler.renderer());
        scene.activate(itemsOf(QStringLiteral("b"), {item(QStringLiteral("j"), QRectF(120, 20, 20, 40))}));
        QImage image = scene.painted();
        COMPARE_PIXEL(image, 20, 40, outline);
        COMPARE_PIXEL(image, 120, 40, black);
        blocker.release();
        QVERIFY(waitForCurrentImage(scene.handler.renderer()));
        image = scene.painted();
        COMPARE_PIXEL(image, 20, 40, black);
        COMPARE_PIXEL(image, 120, 40, outline);
    }

    // Every repository signal repaints; those about the active workspace also count a
    // generation, so the next paint asks for a new image.
    void repositorySignalsRepaintAndCountTheActivesChanges_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<bool>("aboutTheActive");
        QTest::newRow("another added") << QStringLiteral("add") << false;
        QTest::newRow("another removed") << QStringLiteral("remove other") << false;
        QTest::newRow("another changed") << QStringLiteral("change other") << false;
        QTest::newRow("another's selection changed") << QStringLiteral("select other") << false;
        QTest::newRow("the active changed") << QStringLiteral("change active") << true;
        QTest::newRow("the active's selection changed") << QStringLiteral("select active") << true;
        QTest::newRow("the active removed") << QStringLiteral("remove active") << true;
        QTest::newRow("another activated") << QStringLiteral("activate other") << true;
    }

    void repositorySignalsRepaintAndCountTheActivesChanges()
    {
        QFETCH(QString, change);
        QFETCH(bool, aboutTheActive);
        ShownView view;
        SdmWorkspaceRepository repository;
        auto handler = std::make_shared<SdmWorkspacePaintHandler>(*view.widget, repository);
        view.widget->addPaintHandler(handler);
        auto active = workspaceOf(QStringLiteral("a"), {item(QStringLiteral("i"), QRectF(20, 20, 20, 40))});
        auto other = workspaceOf(QStringLiteral("b"), {item(QStringLiteral("j"), QRectF(120, 20, 20, 40))});
        repository.addWorkspace(active);
        repository.setActivateWorkspace(active);
        if (change != QLatin1String("add"))
            repository.addWorkspace(other);
        RenderCounter renders(handler->renderer());
        QVERIFY(view.showAndPaint());
        QVERIFY(waitForCurrentImage(handler->renderer()));
        // Published before it was announced: the announcement is queued by now.
        QCoreApplication::processEvents();
        const int rendered = renders.renders();
        QVERIFY(rendered >= 1);
        const int paints = view.paints();
        const RenderRequest before = handler->renderer().pendingRequest();
        const quint32 generation = handler->generation();

        if (change == QLatin1String("add"))
            repository.addWorkspace(other);
        else if (change == QLatin1String("remove other"))
            repository.removeWorkspace(other);
        else if (change == QLatin1String("change other"))
            repository.workspaceChanged(other);
        else if (change == QLatin1String("select other"))
            repository.workspaceSelectionChanged(other);
        else if (change == QLatin1String("change active"))
            repository.workspaceChanged(active);
        else if (change == QLatin1String("select active"))
            repository.workspaceSelectionChanged(active);
        else if (change == QLatin1String("remove active"))
            repository.removeWorkspace(active);
        else
            repository.setActivateWorkspace(other);

        QTRY_VERIFY(view.paints() > paints);
        QCOMPARE(handler->generation(), generation + (aboutTheActive ? 1u : 0u));
        if (aboutTheActive) {
            QTRY_COMPARE(renders.renders(), rendered + 1);
            QCOMPARE(handler->renderer().lastResult().first.generation, generation + 1u);
        } else {
            sdmpaint::letNothingHappen();
            QCOMPARE(renders.renders(), rendered);
            QCOMPARE(handler->renderer().pendingRequest(), before);
        }
    }

    // The whole trip in a shown widget: a paint asks, the renderer's thread paints, its
    // signal arrives, the widget repaints with the new image.
    void theRenderersImageReachesTheScreen()
    {
        ShownView view(QSize(300, 200));
        SdmWorkspaceRepository repository;
        auto handler = std::make_shared<SdmWorkspacePaintHandler>(*view.widget, repository);
        view.widget->addPaintHandler(handler);
        bool paintedWithTheNewImage = false;
        struct Probe : mivo::IPaintHandler
        {
            explicit Probe(const AsyncItemRenderer& renderer, bool& seen)
                : renderer(renderer)
                , seen(seen)
            {
            }
            void handlePaint(QPainter&) override
            {
                if (renderer.lastResult().first == renderer.pendingRequest() && !renderer.lastResult().second.isNull())
                    seen = true;
            }
            const AsyncItemRenderer& renderer;
            bool& seen;
        };
        view.widget->addPaintHandler(std::make_shared<Probe>(handler->renderer(), paintedWithTheNewImage));
        // 2 Hz and 0.5 s per pixel from (1000, 100).
        view.coords().x().setScale(2.0);
        view.coords().y().setScale(0.5);
        view.coords().x().setOffset(1000.0);
        view.coords().y().setOffset(100.0);
        auto workspace = itemsOf(QStringLiteral("w"), {item(QStringLiteral("i"), QRectF(1100, 110, 100, 30))});
        repository.addWorkspace(workspace);
        repository.setActivateWorkspace(workspace);

        RendererBlocker blocker(handler->renderer());
        QVERIFY(view.showAndPaint());
        QCOMPARE(handler->renderer().pendingRequest().imageSize, QSize(300, 200));
        QCOMPARE(handler->renderer().pendingRequest().valueRange, QRectF(1000, 100, 600, 100));
        QVERIFY(!paintedWithTheNewImage);
        blocker.release();
        QTRY_VERIFY(paintedWithTheNewImage);
        // The item from pixel (50, 20) to (100, 80).
        const QImage frame = view.widget->grabFramebuffer();
        const QRgb outline = SdmWorkspacePaintHandlerSettings().itemPen.color().rgb();
        COMPARE_PIXEL(frame, 50, 50, outline);
        COMPARE_PIXEL(frame, 100, 50, outline);
        COMPARE_PIXEL(frame, 75, 20, outline);
        COMPARE_PIXEL(frame, 75, 80, outline);
        QVERIFY(frame.pixel(75, 50) != outline);
        QVERIFY(frame.pixel(49, 50) != outline);
        QVERIFY(frame.pixel(101, 50) != outline);
    }

    void destroyingTheHandlerWhileARenderRunsEndsCleanly()
    {
        QList<SdmWorkspaceItem> items;
        for (int i = 0; i < 200000; ++i)
            items.append(item(QString::number(i), QRectF(i % 1000, (i / 1000) * 5, 3, 3), i % 5 == 0));
        const auto workspace = workspaceOf(QStringLiteral("w"), items);
        for (const int delayMs : {0, 5, 20, 60}) {
            auto scene = std::make_unique<Scene>(QSize(1000, 1000));
            scene->activate(workspace);
            scene->painted(); // asks for the image
            // Lands the destruction at some point of the render; nothing depends on where.
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            scene.reset();
        }
        QCOMPARE(workspace.use_count(), 1L);
    }
};

QTEST_MAIN(TestSdmWorkspacePaintHandler)
#include "tst_sdmworkspacepainthandler.moc"
