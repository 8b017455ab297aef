// The application's sandbox: where its files lie once the host asks for one, that the working
// directory stays the host's, that every file is private whatever the umask, and that a place
// where the sandbox can't be made costs one line and never the host.
#include "KEOMobile.h"
#include "KEOSharedPreferences.h"
#include "LoopbackTest.h"

#include <desktop/DesktopPlatform.h>

#include <QCoreApplication>
#include <QDir>

#include <linux/capability.h>
#include <sqlite3.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

static unsigned modeOf(const QString &path) {
    struct stat status {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

static std::string cwd() {
    return QDir::currentPath().toStdString();
}

// A host named as an application names itself, with a fresh HOME below the test's directory.
class Sandbox : public LoopbackTest {
protected:
    void SetUp() override {
        home = dir.file("home");
        QDir().mkpath(home);
        setenv("HOME", QFile::encodeName(home).constData(), 1);
        unsetenv("XDG_DATA_HOME");
        setenv("XDG_CONFIG_DIRS", QFile::encodeName(dir.file("etc")).constData(), 1);
        QCoreApplication::setOrganizationName("Org");
        QCoreApplication::setApplicationName("App");
        QCoreApplication::setApplicationVersion("2.1");
    }
    // The collector's configuration as an administrator's, the only one the sandbox can find.
    void configureAsAdministrator() {
        configure(false);
        QDir().mkpath(dir.file("etc/Org/App"));
        dir.write("etc/Org/App/KEOMobileConfig.json", dir.read("app/native/KEOMobileConfig.json"));
        QFile::remove(dir.file("app/native/KEOMobileConfig.json"));
    }
    QString home;
};

TEST_F(Sandbox, OptedInFilesLieUnderTheDataHomeAndTheWorkingDirectoryStaysTheHosts) {
    configureAsAdministrator();
    ASSERT_EQ(chdir(QFile::encodeName(home).constData()), 0);
    desktop::useApplicationSandbox();
    KEOMobile::trackAction("Tap", {});
    const std::vector<collector::Hit> hits = waitForHits(1);
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(var(hits[0], "pageName"), "App/2.1"); // from the descriptor made of Qt's names
    const QString root = home + "/.local/share/Org/App";
    EXPECT_EQ(desktop::sandboxRoot(), root);
    EXPECT_EQ(cwd(), home.toStdString());
    dir.write("home/notes.txt", "mine");
    QFile relative("notes.txt"); // a command-line host's file argument still opens
    ASSERT_TRUE(relative.open(QIODevice::ReadOnly));
    EXPECT_EQ(relative.readAll(), QByteArray("mine"));
    QFile::remove(dir.file("home/notes.txt"));
    EXPECT_EQ(QDir(home).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden),
              QStringList({".local"}));
    for (const char *directory : {"/.local", "/.local/share", "/.local/share/Org"})
        EXPECT_EQ(modeOf(home + directory), 0700u) << directory;
    for (const char *directory : {"", "/data", "/app", "/app/native"})
        EXPECT_EQ(modeOf(root + directory), 0700u) << directory;
    for (const char *file :
         {"/data/KEOAnalyticsCache.sqlite", "/data/KEOAnalyticsCache.sqlite-wal",
          "/data/KEOAnalyticsCache.sqlite-shm", "/data/KEOAnalyticsCache.sqlite.lock",
          "/data/KEOPreferences.json", "/data/KEOPreferences.json.lock",
          "/app/native/KEOMobileConfig.json", "/app/native/bar-descriptor.xml"})
        EXPECT_EQ(modeOf(root + file), 0600u) << file;
}

TEST_F(Sandbox, WithoutOptingInTheWorkingDirectoryStaysTheRoot) {
    configure(false);
    KEOMobile::trackAction("Tap", {});
    waitForHits(1);
    EXPECT_EQ(desktop::sandboxRoot(), QString());
    EXPECT_TRUE(dir.exists("data/KEOAnalyticsCache.sqlite"));
    EXPECT_FALSE(QFile::exists(home + "/.local"));
}

TEST_F(Sandbox, FlatpakDataHomeHoldsTheSandbox) {
    const QString flatpak = home + "/.var/app/org.App/data";
    setenv("XDG_DATA_HOME", QFile::encodeName(flatpak).constData(), 1);
    desktop::useApplicationSandbox();
    KEOSharedPreferences::sharedInstance()->putString("k", "v");
    EXPECT_EQ(desktop::sandboxRoot(), flatpak + "/Org/App");
    EXPECT_EQ(modeOf(flatpak + "/Org/App/data/KEOPreferences.json"), 0600u);
}

class IgnoredDataHome : public Sandbox, public ::testing::WithParamInterface<const char *> {};

TEST_P(IgnoredDataHome, RelativeOrEmptyDataHomeIsIgnoredAsXdgSays) {
    setenv("XDG_DATA_HOME", GetParam(), 1);
    desktop::useApplicationSandbox();
    EXPECT_EQ(desktop::sandboxRoot(), home + "/.local/share/Org/App");
    EXPECT_FALSE(QFile::exists(dir.file("relative")));
}

INSTANTIATE_TEST_SUITE_P(Values, IgnoredDataHome, ::testing::Values("", "relative/share"));

TEST_F(Sandbox, PackagedDescriptorIsMadeFromTheApplicationsDeclaredNameAndVersion) {
    desktop::useApplicationSandbox();
    (void)desktop::sandboxRoot();
    QFile descriptor(home + "/.local/share/Org/App/app/native/bar-descriptor.xml");
    ASSERT_TRUE(descriptor.open(QIODevice::ReadOnly));
    EXPECT_EQ(descriptor.readAll().toStdString(),
              "<qnx xmlns=\"http://www.qnx.com/schemas/application/1.0\"><name>App</name>"
              "<versionNumber>2.1</versionNumber></qnx>\n");
}

TEST_F(Sandbox, AnExistingDirectoryIsNeverMadeWider) {
    QDir().mkpath(home + "/.local/share/Org/App/data");
    chmod(QFile::encodeName(home + "/.local/share/Org/App/data").constData(), 0750);
    chmod(QFile::encodeName(home + "/.local").constData(), 0711);
    desktop::useApplicationSandbox();
    KEOSharedPreferences::sharedInstance()->putString("k", "v");
    EXPECT_EQ(modeOf(home + "/.local/share/Org/App/data"), 0750u);
    EXPECT_EQ(modeOf(home + "/.local"), 0711u);
    EXPECT_EQ(modeOf(home + "/.local/share/Org/App/data/KEOPreferences.json"), 0600u);
}

// What the library writes in a hand-made sandbox is private too, whatever the umask.
class HandMadeSandbox : public LoopbackTest, public ::testing::WithParamInterface<mode_t> {};

TEST_P(HandMadeSandbox, EveryFileIs0600WhateverTheUmask) {
    configure(false);
    dir.write("data/KEOPreferences.json", "{}");
    chmod("data/KEOPreferences.json", 0644); // made before: narrowed
    umask(GetParam());
    KEOMobile::trackAction("Tap", {});
    waitForHits(1);
    for (const char *file :
         {"data/KEOAnalyticsCache.sqlite", "data/KEOAnalyticsCache.sqlite-wal",
          "data/KEOAnalyticsCache.sqlite-shm", "data/KEOAnalyticsCache.sqlite.lock",
          "data/KEOPreferences.json", "data/KEOPreferences.json.lock"})
        EXPECT_EQ(modeOf(dir.file(file)), 0600u) << file;
}

INSTANTIATE_TEST_SUITE_P(Umasks, HandMadeSandbox, ::testing::Values(0000, 0022, 0277));

TEST_F(LoopbackTest, TableFilesThatAKilledRunLeftWideAreNarrowed) {
    configure(false);
    inChild([] { // an earlier run, under the usual umask, killed with its log still there
        umask(0022);
        sqlite3 *db = nullptr;
        sqlite3_open("data/KEOAnalyticsCache.sqlite", &db);
        sqlite3_exec(db,
                     "PRAGMA journal_mode=WAL; CREATE TABLE HITS (ID INTEGER PRIMARY KEY "
                     "AUTOINCREMENT, URL TEXT, TIMESTAMP INTEGER)",
                     nullptr, nullptr, nullptr);
        _exit(0);
    });
    ASSERT_EQ(modeOf(dir.file("data/KEOAnalyticsCache.sqlite-wal")), 0644u);
    KEOMobile::trackAction("Tap", {});
    waitForHits(1);
    for (const char *file : {"data/KEOAnalyticsCache.sqlite", "data/KEOAnalyticsCache.sqlite-wal",
                             "data/KEOAnalyticsCache.sqlite-shm"})
        EXPECT_EQ(modeOf(dir.file(file)), 0600u) << file;
}

// Root would pass by every permission; the tests meet them as the home's owner does.
static void dropCapabilities() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[2]{};
    ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
}

// Runs a track and returns the sandbox's one line; the hit itself is lost with the library's
// own lines, and the host runs on.
static std::string sandboxLines() {
    const std::string err = libraryLines(captureStderr([] {
        desktop::useApplicationSandbox();
        KEOMobile::trackAction("Tap", {});
    }));
    std::string lines;
    std::istringstream in(err);
    for (std::string line; std::getline(in, line);)
        if (line.find("Sandbox") != std::string::npos)
            lines += line + "\n";
    return lines;
}

TEST_F(Sandbox, UnwritableHomeCostsOneLineNamingThePathAndTheRule) {
    chmod(QFile::encodeName(home).constData(), 0555);
    dropCapabilities();
    EXPECT_EQ(sandboxLines(), "KEOMobile Error: Sandbox unavailable (" + home.toStdString() +
                                  "/.local: each directory of the sandbox is its user's own, "
                                  "made 0700: Permission denied)\n");
    chmod(QFile::encodeName(home).constData(), 0755);
}

TEST_F(Sandbox, AFileWhereTheRootsDirectoryShouldBeCostsOneLine) {
    QDir().mkpath(home + "/.local/share");
    dir.write("home/.local/share/Org", "not a directory");
    EXPECT_EQ(sandboxLines(), "KEOMobile Error: Sandbox unavailable (" + home.toStdString() +
                                  "/.local/share/Org: each directory of the sandbox is its "
                                  "user's own, made 0700: Not a directory)\n");
}

TEST_F(Sandbox, AFullDiskCostsOneLine) {
    configureAsAdministrator();
    const QString full = home + "/full";
    QDir().mkpath(full);
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
        mount("tmpfs", QFile::encodeName(full).constData(), "tmpfs", 0, "size=16k") != 0)
        GTEST_SKIP() << "no mount of a small file system here";
    setenv("XDG_DATA_HOME", QFile::encodeName(full).constData(), 1);
    QDir().mkpath(full + "/Org/App/app/native");
    QFile filler(full + "/filler");
    ASSERT_TRUE(filler.open(QIODevice::WriteOnly));
    while (filler.write(QByteArray(4096, 'x')) > 0 && filler.flush()) {
    }
    filler.close();
    EXPECT_EQ(sandboxLines(), "KEOMobile Error: Sandbox unavailable (" + full.toStdString() +
                                  "/Org/App/app/native/KEOMobileConfig.json: the packaged files "
                                  "are copied into app/native/, 0600: No space left on device)\n");
    umount2(QFile::encodeName(full).constData(), MNT_DETACH);
}
