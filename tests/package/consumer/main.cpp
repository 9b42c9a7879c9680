// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// A minimal host: builds against the installed package and checks that the library
// is really there (its translation context, its resources, a working widget).

#include <mivo/mivo.h>
#include <quillo/TranslationCenter.h>

#include <QApplication>
#include <QFile>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);

    if (!TranslationCenter::Instance().registeredContexts().contains(QStringLiteral("MshCommandsXml"))) {
        std::fprintf(stderr, "translation context of the library is not registered\n");
        return 1;
    }
    if (!QFile::exists(QStringLiteral(":/mivo/Reset.svg"))) {
        std::fprintf(stderr, "icon resources of the library are missing\n");
        return 1;
    }

    mivo::BaseDrawWidget widget;
    mivo::CoordSystem& coords = widget.coordSystem();
    coords.x().setDisplayedPixelSpan(400.0);
    coords.y().setDisplayedPixelSpan(100.0);
    coords.setDisplayedValueRange(QRectF(100.0, 0.0, 200.0, 50.0));
    if (coords.x().scale() != 0.5 || coords.x().offset() != 100.0) {
        std::fprintf(stderr, "unexpected x axis: scale %g, offset %g\n", coords.x().scale(), coords.x().offset());
        return 1;
    }
    std::printf("host built against the installed mivo package works\n");
    return 0;
}
