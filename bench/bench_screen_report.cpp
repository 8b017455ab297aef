// The GUI thread's cost of one page reported by KEOScreen as it appears, with five context keys
// given as a JavaScript object, against trackState with the same keys called directly, timed
// alternately while the worker delivers to a loopback collector. The QML module's types are
// linked in, so that the library is in the process once.
#include "BenchSupport.h"
#include "KEOMobile.h"
#include "KEOMobileQuick.h"
#include "KEOScreen.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>

#include <cstdio>
#include <memory>

namespace {

const char *const kPage = R"(import QtQuick 2.15
import QtQuick.Window 2.15
import KEOMobile 4.0
Window {
    visible: true
    Item {
        objectName: "page"
        KEOScreen.name: "Home"
        KEOScreen.data: ({ shop: { cart: { items: "3", value: "42.50" } }, user: { tier: "gold" },
                           campaign: "spring", screen: { orientation: "portrait" } })
    }
})";

struct Summary {
    double reportMedian = 0, reportP99 = 0, trackMedian = 0;
    std::string workDir;
} summary;

} // namespace

static void BM_ScreenReportFiveKeys(benchmark::State &state) {
    static collector::Collector server;
    static bool started = server.start();
    if (!started)
        std::abort();
    summary.workDir = bench::makeWorkDir(server.baseServer(), true);
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(kPage, QUrl());
    std::unique_ptr<QObject> window(component.create());
    while (QGuiApplication::applicationState() != Qt::ApplicationActive)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    auto *page = window->findChild<QQuickItem *>(QStringLiteral("page"));
    auto *screen = page->findChild<KEOScreen *>();
    const QHash<QString, QString> fiveKeys{{"shop.cart.items", "3"},
                                           {"shop.cart.value", "42.50"},
                                           {"user.tier", "gold"},
                                           {"campaign", "spring"},
                                           {"screen.orientation", "portrait"}};
    bench::Latencies report;
    bench::Latencies track;
    for (auto _ : state) {
        page->setVisible(false);
        QCoreApplication::processEvents(); // gone from view: not seen
        page->setVisible(true);
        // The look that the visibility change scheduled, run here to be timed: one report.
        report.time([&] { QMetaObject::invokeMethod(screen, "settle"); });
        QCoreApplication::processEvents();
        track.time([&] { KEOMobile::trackState("Home", fiveKeys); });
    }
    report.report(state);
    summary.reportMedian = bench::percentile(report.micros(), 0.50);
    summary.reportP99 = bench::percentile(report.micros(), 0.99);
    summary.trackMedian = bench::percentile(track.micros(), 0.50);
    state.counters["trackState_median_us"] = summary.trackMedian;
    // Every report and every direct call is one hit: nothing more, nothing less.
    if (!server.waitForHits(2 * state.iterations(), std::chrono::seconds(60)))
        state.SkipWithError(("hits at the collector: " + std::to_string(server.count())).c_str());
}
BENCHMARK(BM_ScreenReportFiveKeys)->Iterations(2000)->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication app(argc, argv);
    KEOMobileQuick::registerTypes("KEOMobile");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::printf("KEOScreen report median %.1f us, p99 %.1f us; trackState with the same keys "
                "median %.1f us; ratio %.2f\n",
                summary.reportMedian, summary.reportP99, summary.trackMedian,
                summary.reportMedian / summary.trackMedian);
    return summary.workDir.empty() || std::system(("rm -rf " + summary.workDir).c_str()) == 0 ? 0
                                                                                              : 1;
}
