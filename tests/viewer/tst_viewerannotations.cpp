// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Annotations in the viewer: workspace files opened as workspaces (the first active),
// the --workspace option, the item tooltip, the zoom on a double-clicked annotation,
// the panel of the selection, and the screenshot of a pyramid made by mivo-synth and
// mivo-tilegen with its annotations at the places their frequencies and times give.

#include "AnnotationLayer.h"
#include "AnnotationPanel.h"
#include "AnnotationWorkspaces.h"
#include "ViewerFormatters.h"
#include "ViewerOptions.h"

#include "ViewerTestSupport.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/sdm/AsyncItemRenderer.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceFileWriter.h>
#include <mivo/sdm/SdmWorkspaceMouseHandler.h>
#include <mivo/sdm/SdmWorkspacePaintHandler.h>
#include <mivo/sdm/SdmWorkspaceToolTipHandler.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMouseEvent>
#include <QPainter>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolTip>

#include <cmath>

using namespace mivo;
using namespace mivo::viewer;
using viewertest::Run;
using viewertest::runViewer;

namespace {

sdm::SdmWorkspaceItem item(const QString& id, const QRectF& rect)
{
    sdm::SdmWorkspaceItem result;
    result.id = id;
    result.rect = rect;
    return result;
}

// Writes a workspace file with @p id and @p items (labels "label of <id>") to @p fileName.
bool writeWorkspace(const QString& fileName, const QString& id, const QList<sdm::SdmWorkspaceItem>& items)
{
    sdm::SdmWorkspaceDocument document;
    document.id = id;
    document.items = items;
    for (const sdm::SdmWorkspaceItem& each : items)
        document.itemDetails[each.id].label = QStringLiteral("label of ") + each.id;
    return sdm::SdmWorkspaceFileWriter().write(fileName, document);
}

ViewerOptionsResult parse(QStringList arguments)
{
    arguments.prepend(QStringLiteral("mivo-viewer"));
    return parseViewerOptions(arguments);
}

// A drawing widget showing 0 .. 1000 Hz and 0 .. 100 s over 500 x 250 pixels with the
// annotation layer's handlers, and workspaces "w" (items "a" and "b") and "v".
struct LayerScene
{
    LayerScene()
    {
        widget.resize(500, 250);
        widget.coordSystem().x().setDisplayedPixelSpan(500);
        widget.coordSystem().y().setDisplayedPixelSpan(250);
        widget.coordSystem().setDisplayedValueRange(QRectF(0, 0, 1000, 100));
        widget.addPaintHandler(layer.paintHandler());
        widget.addMouseHandler(layer.mouseHandler());
        widget.addToolTipHandler(layer.toolTipHandler());
    }

    bool open()
    {
        return writeWorkspace(dir.filePath(QStringLiteral("w.json")), QStringLiteral("w"),
                              {item(QStringLiteral("a"), QRectF(100, 10, 100, 20)),
                               item(QStringLiteral("b"), QRectF(600, 50, 200, 40))})
            && writeWorkspace(dir.filePath(QStringLiteral("v.json")), QStringLiteral("v"),
                              {item(QStringLiteral("c"), QRectF(300, 10, 50, 10))})
            && workspaces.open(dir.filePath(QStringLiteral("w.json"))).isNull()
            && workspaces.open(dir.filePath(QStringLiteral("v.json"))).isNull();
    }

    // Press and release of the left button at @p pos, then a double-click when asked.
    void click(const QPoint& pos) { QTest::mouseClick(&widget, Qt::LeftButton, Qt::NoModifier, pos); }

    QTemporaryDir dir;
    AnnotationWorkspaces workspaces;
    BaseDrawWidget widget;
    AnnotationLayer layer{widget, workspaces};
};

// The pyramid of a 4 s synthetic scene with its annotations, made once for the suite.
struct Scene
{
    QTemporaryDir dir;
    QString source; // the source directory, holding workspace.json
    QJsonArray items; // as workspace.json lists them
    QString error; // why the scene could not be made
};

// Runs mivo-synth and mivo-tilegen into @p s's directory; sets its error on failure.
void make(Scene& s)
{
    const QString base = s.dir.filePath(QStringLiteral("scene"));
    QProcess synth;
    synth.start(QStringLiteral(SYNTH_EXECUTABLE), {QStringLiteral("--duration"), QStringLiteral("4"), base});
    if (!synth.waitForFinished(120000) || synth.exitCode() != 0) {
        s.error = QStringLiteral("mivo-synth failed");
        return;
    }
    QProcess tilegen;
    tilegen.start(QStringLiteral(TILEGEN_EXECUTABLE),
                  {base + QStringLiteral(".sigmf-meta"), s.dir.filePath(QStringLiteral("tiles")),
                   QStringLiteral("-q")});
    if (!tilegen.waitForFinished(120000) || tilegen.exitCode() != 0) {
        s.error = QStringLiteral("mivo-tilegen failed");
        return;
    }
    s.source = s.dir.filePath(QStringLiteral("tiles/scene"));
    QFile file(s.source + QStringLiteral("/workspace.json"));
    if (!file.open(QIODevice::ReadOnly)) {
        s.error = QStringLiteral("no workspace.json");
        return;
    }
    s.items = QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("items")).toArray();
}

Scene& scene()
{
    static Scene made;
    static const bool once = (make(made), true);
    Q_UNUSED(once)
    return made;
}

// The view of the screenshots: 99.94 .. 100.04 MHz over 500 pixels (200 Hz a pixel,
// coarser than the finest tiles' 122 Hz) and the 4 s of the scene with 0.5 s before and
// after over 400 pixels (12.5 ms a pixel).
constexpr double viewLeft = 99.94e6;
constexpr double hertzPerPixel = 200.0;
constexpr double sceneStart = 1704110400.0; // mivo-synth's default start
constexpr double viewTop = sceneStart - 0.5;
constexpr double secondsPerPixel = 0.0125;

QStringList screenshotArguments(const QString& png)
{
    return {QStringLiteral("--screenshot"),
            png,
            QStringLiteral("--size"),
            QStringLiteral("500x400"),
            QStringLiteral("--frequency-range"),
            QStringLiteral("99.94M:100.04M"),
            QStringLiteral("--time-range"),
            QString::number(viewTop, 'f', 1) + QLatin1Char(':') + QString::number(viewTop + 5.0, 'f', 1)};
}

QPointF toPixel(double hertz, double seconds)
{
    return QPointF((hertz - viewLeft) / hertzPerPixel, (seconds - viewTop) / secondsPerPixel);
}

QImage screenshot(const QStringList& arguments, QString* error)
{
    const Run run = runViewer(arguments);
    if (run.exitCode != 0 || !run.err.isEmpty()) {
        *error = QStringLiteral("exit %1: %2").arg(run.exitCode).arg(run.err);
        return QImage();
    }
    return QImage(arguments.at(arguments.indexOf(QStringLiteral("--screenshot")) + 1))
        .convertToFormat(QImage::Format_RGB32);
}

// Whether a pixel of @p image in row @p y, columns @p x - 1 .. @p x + 1, is @p colour.
bool colourNear(const QImage& image, int x, int y, QRgb colour)
{
    for (int dx = -1; dx <= 1; ++dx) {
        if (image.pixel(x + dx, y) == colour)
            return true;
    }
    return false;
}

// The same for a horizontal line: @p colour at (@p x, @p y) or a pixel above or below.
bool colourNearVertically(const QImage& image, int x, int y, QRgb colour)
{
    for (int dy = -1; dy <= 1; ++dy) {
        if (image.pixel(x, y + dy) == colour)
            return true;
    }
    return false;
}

bool yellowish(QRgb pixel)
{
    return qRed(pixel) >= 230 && qGreen(pixel) >= 190 && qBlue(pixel) <= 80;
}

} // namespace

class TestViewerAnnotations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theWorkspaceOptionRepeats()
    {
        const ViewerOptionsResult none = parse({QStringLiteral("tiles")});
        QVERIFY(none.options);
        QVERIFY(none.options->workspaceFiles.isEmpty());
        const ViewerOptionsResult two
            = parse({QStringLiteral("tiles"), QStringLiteral("--workspace"), QStringLiteral("a.json"),
                     QStringLiteral("--workspace"), QStringLiteral("b.json")});
        QVERIFY(two.options);
        QCOMPARE(two.options->workspaceFiles, (QStringList{QStringLiteral("a.json"), QStringLiteral("b.json")}));
    }

    void theFirstWorkspaceOpenedIsActive()
    {
        LayerScene s;
        QVERIFY(s.open());
        const sdm::SdmWorkspaceRepository& repository = s.workspaces.repository();
        QCOMPARE(repository.workspaces().size(), 2);
        QCOMPARE(repository.activeWorkspace()->id(), QStringLiteral("w"));
        QCOMPARE(repository.activeWorkspace()->itemCount(), 2);
        QCOMPARE(repository.workspace(QStringLiteral("v"))->itemCount(), 1);
        const std::optional<Annotation> b = s.workspaces.activeAnnotation(QStringLiteral("b"));
        QVERIFY(b);
        QCOMPARE(b->label, QStringLiteral("label of b"));
        QCOMPARE(b->rect, QRectF(600, 50, 200, 40));
        // Only the active workspace's items are looked up.
        QVERIFY(!s.workspaces.activeAnnotation(QStringLiteral("c")));
    }

    void brokenOrRepeatedFilesAreRefusedWithAReason()
    {
        LayerScene s;
        QVERIFY(s.open());
        const QString again = s.workspaces.open(s.dir.filePath(QStringLiteral("v.json")));
        QCOMPARE(again,
                 QStringLiteral("%1: a workspace with the id \"v\" is open already")
                     .arg(s.dir.filePath(QStringLiteral("v.json"))));
        const QString missing = s.dir.filePath(QStringLiteral("missing.json"));
        QVERIFY(s.workspaces.open(missing).startsWith(missing));
        testtiles::writeFile(s.dir.filePath(QStringLiteral("bad.json")), "{\"id\": \"x\"}");
        QVERIFY(!s.workspaces.open(s.dir.filePath(QStringLiteral("bad.json"))).isEmpty());
        QCOMPARE(s.workspaces.repository().workspaces().size(), 2);
    }

    void aSourceDirectoryBringsItsWorkspaceFile()
    {
        QTemporaryDir dir;
        QCOMPARE(sourceWorkspaceFile(QUrl::fromLocalFile(dir.path()).toString()), QString());
        testtiles::writeFile(dir.filePath(QStringLiteral("workspace.json")), "{}");
        QCOMPARE(sourceWorkspaceFile(QUrl::fromLocalFile(dir.path()).toString()),
                 QDir(dir.path()).filePath(QStringLiteral("workspace.json")));
        QCOMPARE(sourceWorkspaceFile(QStringLiteral("http://127.0.0.1:1/tiles")), QString());
    }

    void theToolTipNamesLabelFrequenciesAndTimes()
    {
        LayerScene s;
        QVERIFY(s.open());
        // 2 Hz and 0.4 s a pixel.
        const QString expected = QStringLiteral("label of b\n%1\n%2 – %3 UTC")
                                     .arg(formatFrequencyRange(600, 800, 2.0), formatTime(50, 0.4),
                                          formatTime(90, 0.4, startsNewDay(90, 40)));
        QCOMPARE(s.layer.itemToolTip(QStringLiteral("b")), expected);
        QCOMPARE(s.layer.itemToolTip(QStringLiteral("nothing")), QStringLiteral("nothing"));

        s.widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&s.widget));
        const QPoint onB(350, 175); // 700 Hz, 70 s
        QHelpEvent event(QEvent::ToolTip, onB, s.widget.mapToGlobal(onB));
        QVERIFY(s.layer.toolTipHandler()->handleToolTip(&event, false));
        QTRY_COMPARE(QToolTip::text(), expected);
        QToolTip::hideText();
    }

    void aClickSelectsAndThePanelDescribesTheSelection()
    {
        LayerScene s;
        QVERIFY(s.open());
        s.widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&s.widget));
        AnnotationPanel& panel = s.layer.panel();
        QVERIFY(!panel.hasInfo());
        QSignalSpy hasInfo(&panel, &IInfoWidget::si_hasInfoChanged);
        s.click(QPoint(75, 50)); // 150 Hz, 20 s: on "a"
        QCOMPARE(hasInfo.count(), 1);
        QVERIFY(panel.hasInfo());
        QCOMPARE(panel.infoArea(), QRectF(100, 10, 100, 20));
        QCOMPARE(panel.text(),
                 QStringList({QStringLiteral("label of a"),
                              QStringLiteral("Frequency: ") + formatFrequencyRange(100, 200, 2.0),
                              QStringLiteral("Bandwidth: ") + formatFrequency(100, 2.0),
                              QStringLiteral("Time: ") + formatTime(10, 0.4) + QStringLiteral(" – ")
                                  + formatTime(30, 0.4, false) + QStringLiteral(" UTC"),
                              QStringLiteral("Duration: ") + formatDuration(20, 0.4)})
                     .join(QLatin1Char('\n')));
        QTest::mouseClick(&s.widget, Qt::LeftButton, Qt::ControlModifier, QPoint(350, 175));
        QVERIFY(panel.hasInfo());
        QCOMPARE(panel.infoArea(), QRectF(100, 10, 700, 80));
        QVERIFY(panel.text().startsWith(QStringLiteral("2 annotations\n")));
        s.click(QPoint(250, 200)); // on nothing: the selection is cleared
        QVERIFY(!panel.hasInfo());
        QCOMPARE(panel.text(), QString());
        QCOMPARE(hasInfo.count(), 2);
    }

    void aDoubleClickedAnnotationFillsTheViewWithAMargin()
    {
        LayerScene s;
        QVERIFY(s.open());
        s.widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&s.widget));
        QSignalSpy doubleClicked(s.layer.mouseHandler().get(), &sdm::SdmWorkspaceMouseHandler::si_itemDoubleClicked);
        QTest::mouseDClick(&s.widget, Qt::LeftButton, Qt::NoModifier, QPoint(350, 175));
        QCOMPARE(doubleClicked.count(), 1);
        QCOMPARE(doubleClicked.at(0).at(0).toString(), QStringLiteral("b"));
        const CoordSystem& coords = s.widget.coordSystem();
        // Zoomed in (perhaps animated) until the item, and a margin around it, fill it.
        QTRY_VERIFY(coords.displayedValueRange().width() < 300.0);
        QTRY_VERIFY(coords.displayedValueRange().height() < 60.0);
        const QRectF shown = coords.displayedValueRange();
        QVERIFY2(
            shown.contains(QRectF(600, 50, 200, 40)),
            qPrintable(
                QStringLiteral("%1 %2 %3 %4").arg(shown.x()).arg(shown.y()).arg(shown.width()).arg(shown.height())));
        QVERIFY(shown.left() < 600.0 && shown.right() > 800.0 && shown.top() < 50.0 && shown.bottom() > 90.0);
    }

    // What the screenshot waits for: the image of the last paint's request, made for
    // the active workspace.
    void settledOnceTheActiveWorkspacesImageIsMade()
    {
        LayerScene s;
        QVERIFY(s.layer.isSettled()); // nothing to draw
        QVERIFY(s.open());
        QVERIFY(!s.layer.isSettled()); // no paint has asked yet
        QImage frame(500, 250, QImage::Format_ARGB32_Premultiplied);
        const auto paint = [&s, &frame] {
            QPainter painter(&frame);
            s.layer.paintHandler()->handlePaint(painter);
        };
        paint();
        QTRY_VERIFY(s.layer.isSettled());
        // Another workspace becomes active: its image has not been asked for yet.
        s.workspaces.repository().setActivateWorkspace(s.workspaces.repository().workspace(QStringLiteral("v")));
        QVERIFY(!s.layer.isSettled());
        paint();
        QTRY_VERIFY(s.layer.isSettled());
        QCOMPARE(s.layer.paintHandler()->renderer().lastResult().first.workspace,
                 s.workspaces.repository().workspace(QStringLiteral("v")));
    }

    // The program: the pyramid's own workspace in the screenshot.

    void screenshotShowsTheAnnotationsWhereTheyBelong()
    {
        Scene& made = scene();
        QVERIFY2(made.error.isEmpty(), qPrintable(made.error));
        QVERIFY(made.items.size() > 5);
        QTemporaryDir dir;
        QString error;
        const QImage annotated
            = screenshot(QStringList{made.source} + screenshotArguments(dir.filePath(QStringLiteral("a.png"))), &error);
        QVERIFY2(!annotated.isNull(), qPrintable(error));
        // The same without the workspace file.
        QVERIFY(
            QFile::rename(made.source + QStringLiteral("/workspace.json"), dir.filePath(QStringLiteral("moved.json"))));
        const QImage plain
            = screenshot(QStringList{made.source} + screenshotArguments(dir.filePath(QStringLiteral("b.png"))), &error);
        QVERIFY(
            QFile::rename(dir.filePath(QStringLiteral("moved.json")), made.source + QStringLiteral("/workspace.json")));
        QVERIFY2(!plain.isNull(), qPrintable(error));
        QCOMPARE(annotated.size(), QSize(500, 400));

        // Each annotation's left edge, half-way down, in the items' outline colour
        // (#FFBFBF, opaque), except where the workspace's outline lies over it.
        QRectF bounds;
        int checked = 0;
        for (const QJsonValue& value : qAsConst(made.items)) {
            const QJsonObject object = value.toObject();
            const QRectF rect(object.value(QStringLiteral("x")).toDouble(),
                              object.value(QStringLiteral("y")).toDouble(),
                              object.value(QStringLiteral("width")).toDouble(),
                              object.value(QStringLiteral("height")).toDouble());
            bounds = bounds.isNull() ? rect : bounds.united(rect);
            const QPointF topLeft = toPixel(rect.left(), rect.top());
            const QPointF bottomLeft = toPixel(rect.left(), rect.bottom());
            const int x = int(std::lround(topLeft.x()));
            const int y = int((topLeft.y() + bottomLeft.y()) / 2.0);
            if (x <= 62) // the workspace's outline
                continue;
            QVERIFY2(
                colourNear(annotated, x, y, qRgb(0xFF, 0xBF, 0xBF)),
                qPrintable(
                    QStringLiteral("%1 at (%2, %3)").arg(object.value(QStringLiteral("id")).toString()).arg(x).arg(y)));
            QVERIFY(!colourNear(plain, x, y, qRgb(0xFF, 0xBF, 0xBF)));
            ++checked;
        }
        QVERIFY(checked >= 10);

        // The active workspace's outline (#FFE100, 3 pixels) around all of them: the
        // items' bounding box.
        const QPointF workspaceTopLeft = toPixel(bounds.left(), bounds.top());
        const QPointF workspaceBottomRight = toPixel(bounds.right(), bounds.bottom());
        const int left = int(std::lround(workspaceTopLeft.x()));
        const int right = int(std::lround(workspaceBottomRight.x()));
        const int bottom = int(std::lround(workspaceBottomRight.y()));
        for (int y : {260, 290, 320})
            QVERIFY2(colourNear(annotated, left, y, qRgb(0xFF, 0xE1, 0x00)), qPrintable(QString::number(y)));
        // (The bottom edge rather than the right one, which the action bar covers, and
        // right of its middle: the time label in the bottom-left corner covers the
        // edge's left part as far as the platform's font makes it wide, to x = 215 with
        // the offscreen platform's.)
        const int middle = (left + right) / 2;
        for (int x : {middle, middle + 50, middle + 100})
            QVERIFY2(colourNearVertically(annotated, x, bottom, qRgb(0xFF, 0xE1, 0x00)),
                     qPrintable(QString::number(x)));
        QVERIFY(!colourNear(plain, left, 290, qRgb(0xFF, 0xE1, 0x00)));

        // Its caption, the id "scene" in the outline's colour, in the bottom-right corner
        // inside the 8 pixel margin: yellow where the plain shot has none.
        int captionPixels = 0;
        for (int y = bottom - 40; y < bottom - 6; ++y) {
            for (int x = right - 80; x < right - 6; ++x)
                captionPixels += yellowish(annotated.pixel(x, y)) && !yellowish(plain.pixel(x, y)) ? 1 : 0;
        }
        QVERIFY2(captionPixels >= 15, qPrintable(QString::number(captionPixels)));
        // Just outside the workspace, nothing is drawn: the shots agree.
        for (int y = 60; y < 340; y += 20) {
            QCOMPARE(annotated.pixel(left - 4, y), plain.pixel(left - 4, y));
            QCOMPARE(annotated.pixel(right + 4, y), plain.pixel(right + 4, y));
        }
    }

    // A further workspace from the command line, inactive, drawn as its outline in the
    // inactive colour (#FFFBB3, 1 pixel).
    void moreWorkspacesComeFromTheCommandLine()
    {
        Scene& made = scene();
        QVERIFY2(made.error.isEmpty(), qPrintable(made.error));
        QTemporaryDir dir;
        const QString extra = dir.filePath(QStringLiteral("extra.json"));
        // 99.941 .. 99.947 MHz over 2.75 .. 3.75 s: pixels 5 .. 35, 260 .. 340, left of
        // the active workspace (the action bar covers the right-hand side).
        QVERIFY(writeWorkspace(extra, QStringLiteral("extra"),
                               {item(QStringLiteral("x1"), QRectF(99.941e6, sceneStart + 2.75, 6.0e3, 1.0))}));
        QString error;
        const QImage shot = screenshot(QStringList{made.source, QStringLiteral("--workspace"), extra}
                                           + screenshotArguments(dir.filePath(QStringLiteral("c.png"))),
                                       &error);
        QVERIFY2(!shot.isNull(), qPrintable(error));
        for (int y : {280, 300, 320}) {
            QVERIFY2(colourNear(shot, 5, y, qRgb(0xFF, 0xFB, 0xB3)), qPrintable(QString::number(y)));
            QVERIFY2(colourNear(shot, 35, y, qRgb(0xFF, 0xFB, 0xB3)), qPrintable(QString::number(y)));
        }
    }

    void aBrokenWorkspaceFileEndsTheProgram()
    {
        QTemporaryDir dir;
        viewertest::writeUniformPyramid(dir.path());
        const QString bad = dir.filePath(QStringLiteral("bad.json"));
        testtiles::writeFile(bad, "{\"id\": 3}");
        const Run run = runViewer({dir.path(), QStringLiteral("--workspace"), bad, QStringLiteral("--screenshot"),
                                   dir.filePath(QStringLiteral("x.png"))});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.startsWith(QStringLiteral("mivo-viewer: ") + bad), qPrintable(run.err));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("x.png"))));
    }
};

QTEST_MAIN(TestViewerAnnotations)
#include "tst_viewerannotations.moc"
