// The desktop platform: the host's facts read from its files as its user would name them, and
// the application object following a GUI host's own state.
#include "WorkDir.h"

#include <bb/cascades/Application>
#include <bb/device/DisplayInfo>
#include <bb/device/HardwareInfo>
#include <bps/deviceinfo.h>
#include <bps/locale.h>
#include <desktop/DesktopPlatform.h>

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMetaEnum>
#include <QTimer>

TEST(HostFacts, AreReadFromTheHostsFilesAsItsUserWouldNameThem) {
    const std::string dmi = "sys/class/dmi/id/product_name", drm = "sys/class/drm/card0-";
    const std::pair<const char *, std::vector<std::pair<std::string, QByteArray>>> cases[] = {
        {"Pi 4 Model B Rev 1.4, Raspbian GNU/Linux 11, 1920x1080",
         {{dmi, "To Be Filled By O.E.M.\n"},
          {"sys/firmware/devicetree/base/model", QByteArray("Pi 4 Model B Rev 1.4\0", 21)},
          {"etc/os-release",
           "PRETTY_NAME=\"Raspbian\"\nNAME=\"Raspbian GNU/Linux\"\nVERSION_ID='11'"},
          {drm + "DP-1/status", "disconnected\n"},
          {drm + "DP-1/modes", "2560x1440\n"},
          {drm + "HDMI-A-2/status", "connected\n"},
          {drm + "HDMI-A-2/modes", "1920x1080\n1280x720\n"}}},
        {"ThinkPad X1 Carbon Gen 9, Arch \"rolling\", 0x0",
         {{dmi, "ThinkPad X1 Carbon Gen 9 \n"},
          {"usr/lib/os-release", "NAME=\"Arch Linux\"\nPRETTY_NAME=\"Arch \\\"rolling\\\"\"\n"}}},
        {"Linux x86_64, Debian GNU/Linux 12, 0x0", // a placeholder in another case
         {{dmi, "default STRING"}, {"etc/os-release", "NAME=Debian GNU/Linux\nVERSION_ID=12\n"}}},
    };
    for (const auto &[expected, files] : cases) {
        SCOPED_TRACE(expected);
        WorkDir dir;
        for (const auto &[path, content] : files) {
            QDir().mkpath(QFileInfo(dir.file(QString::fromStdString("root/" + path))).path());
            dir.write(QString::fromStdString("root/" + path), content);
        }
        desktop::setHostRoot(dir.file("root"));
        deviceinfo_details_t *details = nullptr;
        ASSERT_EQ(deviceinfo_get_details(&details), BPS_SUCCESS);
        const QSize size = bb::device::DisplayInfo().pixelSize();
        const QString facts = bb::device::HardwareInfo().deviceName() + ", " +
                              deviceinfo_details_get_device_os_version(details) +
                              QString(", %1x%2").arg(size.width()).arg(size.height());
        EXPECT_EQ(facts.toStdString(), expected);
        deviceinfo_free_details(&details);
    }
}

TEST(ApplicationObject, FollowsAGuiHostsStateInAlternationAndEndsWithAsleep) {
    qputenv("QT_QPA_PLATFORM", "minimal");
    int argc = 1;
    char *argv[] = {const_cast<char *>("gui-host"), nullptr};
    QGuiApplication host(argc, argv); // made by the host: the platform makes its own object
    bb::cascades::Application *app = bb::cascades::Application::instance();
    ASSERT_NE(app, nullptr);
    std::string heard;
    QObject::connect(app, &bb::cascades::Application::awake, [&] { heard += "awake"; });
    QObject::connect(app, &bb::cascades::Application::asleep, [&] { heard += "asleep"; });
    // What happens to the host, then what the application object says.
    const char *steps[] = {"ApplicationInactive:",    "ApplicationActive:awake",
                           "ApplicationActive:",      "ApplicationHidden:asleep",
                           "ApplicationSuspended:",   "quit:",
                           "ApplicationActive:awake", "quit:asleep",
                           "ApplicationInactive:"};
    for (const char *step : steps) {
        SCOPED_TRACE(step);
        const std::string event = QString(step).section(':', 0, 0).toStdString();
        heard.clear();
        if (event == "quit") {
            QTimer::singleShot(0, &host, &QCoreApplication::quit);
            host.exec();
        } else {
            const int state = QMetaEnum::fromType<Qt::ApplicationState>().keyToValue(event.c_str());
            emit host.applicationStateChanged(Qt::ApplicationState(state));
        }
        EXPECT_EQ(heard, QString(step).section(':', 1).toStdString());
    }
}

TEST(HostFacts, LanguageIsThePosixEnvironmentsWithoutCodesetOrModifier) {
    const std::pair<std::vector<const char *>, const char *> cases[] = {
        {{"", "", "fr_CA.UTF-8"}, "fr_CA"},
        {{"de_DE@euro", "it_IT", "fr_CA"}, "de_DE"},
        {{nullptr, "pt_BR", "fr_CA"}, "pt_BR"},
        {{"", "C.UTF-8", "fr_CA"}, "<none>"},
        {{nullptr, nullptr, nullptr}, "<none>"}};
    for (const auto &[values, expected] : cases) {
        const char *names[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
        for (int i = 0; i < 3; ++i)
            values[i] ? setenv(names[i], values[i], 1) : unsetenv(names[i]);
        char *locale = nullptr;
        const bool answered = locale_get_locale(&locale) == BPS_SUCCESS;
        EXPECT_EQ(answered ? std::string(locale) : "<none>", expected);
        free(locale);
    }
}
