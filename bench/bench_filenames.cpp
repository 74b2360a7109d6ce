// SPDX-License-Identifier: GPL-3.0-or-later
// What composing file names costs the main thread for a large selection:
// after the rename panel is confirmed, its caller asks for one name per
// selected game; while it is open, the token menu checks every represented
// game for each key. Both run for 10,000 games, with the pattern
// "title [id] region" composed in the panel's token field.

#include "panels/qbfilenamepattern.h"
#include "panels/qbrenamepanel.h"
#include "panels/qbtokenfield.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMenu>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int games = 10000;
constexpr double goalMs = 100;

[[noreturn]] void fail(const QString &message)
{
    std::fprintf(stderr, "bench_filenames: %s\n", qUtf8Printable(message));
    std::exit(1);
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

}

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 7;

    QList<QVariantMap> selection;
    for (int i = 0; i < games; ++i) {
        selection << QVariantMap{{QStringLiteral("id"), QStringLiteral("RQ%1").arg(i, 4, 36, QLatin1Char('0'))},
                                 {QStringLiteral("title"), QStringLiteral("Space Race: Part %1").arg(i)},
                                 {QStringLiteral("region"), QStringLiteral("PAL")},
                                 {QStringLiteral("players"), 4}};
    }
    QBRenamePanel panel;
    QBTokenField *field = panel.tokenField();
    field->setRepresentedGames(selection);
    field->addToken(QStringLiteral("title"));
    field->insertPlainText(QStringLiteral(" ["));
    field->addToken(QStringLiteral("id"));
    field->insertPlainText(QStringLiteral("] "));
    field->addToken(QStringLiteral("region"));
    if (panel.stringForGame(selection.first()) != QStringLiteral("Space Race Part 0 [RQ0000] PAL"))
        fail(QStringLiteral("unexpected name %1").arg(panel.stringForGame(selection.first())));

    QList<double> names;
    QList<double> menu;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer timer;
        timer.start();
        qsizetype length = 0;
        for (const QVariantMap &game : std::as_const(selection))
            length += panel.stringForGame(game).size();
        names << timer.nsecsElapsed() / 1e6;
        if (length < qsizetype(games) * 28)
            fail(QStringLiteral("names too short: %1 characters").arg(length));

        timer.restart();
        int enabled = 0;
        for (QAction *item : field->menuButton()->tokenMenu()->actions())
            enabled += field->validateMenuItem(item) ? 1 : 0;
        menu << timer.nsecsElapsed() / 1e6;
        if (enabled != 4)
            fail(QStringLiteral("%1 token items enabled, expected 4").arg(enabled));
    }
    std::printf("%d games, %d runs\n", games, runs);
    std::printf("names:           median %.2f ms, worst %.2f ms\n", median(names),
                *std::max_element(names.cbegin(), names.cend()));
    std::printf("menu validation: median %.2f ms, worst %.2f ms\n", median(menu),
                *std::max_element(menu.cbegin(), menu.cend()));
    const bool met = median(names) < goalMs && median(menu) < goalMs;
    std::printf("goal (each under %.0f ms): %s\n", goalMs, met ? "met" : "missed");
    return 0;
}
