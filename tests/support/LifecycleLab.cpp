#include "LifecycleLab.h"
#include "SelfProcess.h"

#include "KEOLifecycle.h"
#include "KEOMobile.h"

#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>
#include <unistd.h>

namespace {

// Freezes libfaketime's clock at `when` and checks that the process sees it, so that a child
// without the preload fails instead of testing the real clock.
void setClock(const QString &when) {
    bool isEpoch = false;
    const qint64 epoch = when.toLongLong(&isEpoch);
    const QString wall =
        isEpoch ? QDateTime::fromSecsSinceEpoch(epoch).toString(Qt::ISODate) : when;
    // Replaced whole at once: the library's worker may read the clock meanwhile.
    QSaveFile file("lab-clock");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QString(wall).replace('T', ' ').toLatin1());
    ASSERT_TRUE(file.commit());
    ASSERT_EQ(QDateTime::currentDateTime().toString(Qt::ISODate), wall) << "clock not faked";
}

// Waits until the worker has delivered every stored hit; the parent's deadline bounds it.
void drainHits() {
    waitFor([] { return hitRowsAt("data/KEOAnalyticsCache.sqlite") <= 0; }, std::chrono::hours(1),
            std::chrono::milliseconds(10));
}

// One line per step: the preferences file as the step left it.
void recordPrefs() {
    QFile out("lab-steps.jsonl"), prefs("data/KEOPreferences.json");
    ASSERT_TRUE(out.open(QIODevice::Append));
    out.write((prefs.open(QIODevice::ReadOnly) ? prefs.readAll().simplified() : "") + "\n");
}

// Makes the first collectLifecycleData() of a race of two threads.
void collectAtOnce() {
    static std::atomic<int> ready{0};
    for (++ready; ready < 2;) {
    }
    KEOMobile::collectLifecycleData();
}

// The child's entry, registered only in a child so that test discovery never lists it.
class ChildSteps : public testing::Test {
    void TestBody() override {
        static int argc = 1;
        static char name[] = "lab", *argv[] = {name, nullptr};
        for (const QString &step : qEnvironmentVariable("KEO_LAB_STEPS").split(' ')) {
            const QString action = step.section('@', 0, 0);
            if (step.contains('@'))
                ASSERT_NO_FATAL_FAILURE(setClock(step.section('@', 1)));
            if (action == "app") // lives as long as the child
                new bb::cascades::Application(argc, argv);
            if (action == "collect")
                KEOMobile::collectLifecycleData();
            if (action == "race") {
                std::thread first(collectAtOnce), second(collectAtOnce);
                first.join(), second.join();
            }
            if (action == "awake" || action == "asleep")
                EXPECT_TRUE(action == "awake" ? desktop::emitAwake() : desktop::emitAsleep());
            if (action == "start" || action == "launch")
                KEOLifecycle::start();
            if (action == "stop" || action == "launch")
                KEOLifecycle::stop();
            if (action == "kill")
                drainHits();
            recordPrefs();
            if (action == "kill")
                kill(getpid(), SIGKILL);
        }
        drainHits();
        fflush(nullptr);
        // Without static destructors: the library's worker may still be winding down.
        _exit(HasFailure() ? 1 : 0);
    }
};

const bool childRegistered =
    qEnvironmentVariableIsSet("KEO_LAB_STEPS") &&
    (testing::RegisterTest("LabChild", "Steps", nullptr, nullptr, __FILE__, __LINE__,
                           []() -> testing::Test * { return new ChildSteps; }),
     true);

} // namespace

LifecycleLab::LifecycleLab() {
    EXPECT_TRUE(collector.start());
    play("timeout=300 app=Lab/1.0");
}

QString LifecycleLab::play(const QString &script) {
    QString output;
    for (const QString &run : script.split(" | ")) {
        QStringList steps;
        for (const QString &word : run.split(' ', Qt::SkipEmptyParts)) {
            const QString value = word.section('=', 1);
            if (word.startsWith("TZ="))
                _zone = value;
            else if (word.startsWith("app="))
                dir.writeDescriptor(value.section('/', 0, 0), value.section('/', 1));
            else if (word.startsWith("timeout="))
                dir.writeConfig(QString::fromStdString(collector.baseServer()), false,
                                "\"lifecycleTimeout\": " + value);
            else if (word.startsWith("prefs="))
                dir.write("data/KEOPreferences.json", value.toUtf8());
            else
                steps << word;
        }
        if (steps.isEmpty())
            continue;
        SelfProcess child(
            SelfProcess::fakeClock("FAKETIME_TIMESTAMP_FILE=" + dir.file("lab-clock").toStdString(),
                                   {"FAKETIME_NO_CACHE=1", "TZ=" + _zone.toStdString(),
                                    "KEO_LAB_STEPS=" + steps.join(' ').toStdString()}),
            {"--gtest_filter=LabChild.Steps"}, QProcess::MergedChannels);
        const int status = child.wait(20000);
        output = child.output();
        EXPECT_TRUE(status < 0 ? run.contains("kill") : status == 0 && !run.contains("kill"))
            << run.toStdString() << "\n"
            << output.toStdString();
    }
    return output;
}

std::string LifecycleLab::launches(const QStringList &keys, int skip) const {
    const QStringList everyHit = {"internal", "Resolution", "DeviceName", "OSVersion",
                                  "CarrierName"};
    QStringList launches;
    for (const collector::Hit &hit : collector.hits()) {
        const collector::ContextNode *a = hit.decoded.context.find("a");
        if (!a || hit.decoded.var("pev2") != std::optional<std::string>("KEOINTERNAL:Lifecycle") ||
            skip-- > 0)
            continue;
        QStringList found;
        for (const auto &[key, node] : a->children) {
            const QString name = QString::fromStdString(key),
                          value = QString::fromStdString(node.value);
            if (node.hasValue && (keys.isEmpty() ? !everyHit.contains(name) : keys.contains(name)))
                found << (value == name ? name : name + "=" + value);
        }
        launches << (found.isEmpty() ? "-" : found.join(", "));
    }
    return launches.join(" | ").toStdString();
}

std::string LifecycleLab::prefs(const QStringList &keys, bool everyStep) const {
    QStringList steps;
    for (const QByteArray &line : (everyStep ? dir.read("lab-steps.jsonl").trimmed()
                                             : dir.read("data/KEOPreferences.json").simplified())
                                      .split('\n')) {
        const QVariantMap prefs = QJsonDocument::fromJson(line).object().toVariantMap();
        QStringList values;
        for (const QString &key : keys)
            values << (prefs.contains(key) ? prefs.value(key).toString() : "-");
        steps << values.join('/');
    }
    return steps.join(' ').toStdString();
}
