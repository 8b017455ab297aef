// Where the library's files go: nowhere without a working directory, below the very bytes the
// system gave, and preferences in place only where data/ refuses new files.
#include "KEOMobile.h"
#include "KEOSharedPreferences.h"
#include "LoopbackTest.h"

#include <linux/capability.h>
#include <regex>
#include <sys/stat.h>
#include <sys/syscall.h>

static ino_t inode(const char *path) {
    struct stat status {};
    return stat(path, &status) == 0 ? status.st_ino : 0;
}

TEST(FilePaths, DeletedWorkingDirectoryOpensNothingAndLosesTheHitWithALine) {
    char pattern[] = "/tmp/keotest-XXXXXX";
    ASSERT_EQ(chdir(mkdtemp(pattern)), 0);
    ASSERT_EQ(rmdir(pattern), 0);
    const std::string err = libraryLines(captureStderr([] { KEOMobile::trackState("Home", {}); }));
    EXPECT_EQ(std::regex_replace(err, std::regex("url\\(.*"), "url("), // the URL varies
              "KEOMobile Error: Unable to write JSON Defaults file (No file name specified)\n"
              "KEOMobile Error: Analytics - Unable to open database "
              "((null)/data/KEOAnalyticsCache.sqlite)\n"
              "KEOMobile Error: Analytics - Unable to insert url(\n");
}

TEST_F(LoopbackTest, FilesGoBelowTheBytesOfANonUtf8WorkingDirectoryNotBelowTheirReading) {
    configure(false);
    ASSERT_EQ(std::system("mkdir -p '\xff/data' && cp -r app '\xff/'"), 0);
    ASSERT_EQ(chdir("\xff"), 0);
    KEOMobile::trackState("Home", {});
    waitForHits(1); // the configuration was read from app/native below these bytes
    EXPECT_NE(inode("data/KEOPreferences.json"), 0u);
    EXPECT_NE(inode("data/KEOAnalyticsCache.sqlite"), 0u);
    EXPECT_EQ(inode("../\xEF\xBF\xBD"), 0u); // the directory that reading would name
    ASSERT_EQ(chdir("..") | std::system("rm -rf '\xff'"), 0);
}

class PreferencesWrite : public ::testing::TestWithParam<bool> {
protected:
    WorkDir dir;
};

TEST_P(PreferencesWrite, RenamedWhereDataTakesNewFilesWrittenInPlaceWhereOnlyTheFileIsWritable) {
    dir.write("data/KEOPreferences.json", R"({"k": "old"})");
    const ino_t before = inode("data/KEOPreferences.json");
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[2]{}; // root then meets permissions as their owner does
    ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
    ASSERT_EQ(chmod("data", GetParam() ? 0755 : 0555), 0);
    const std::string err = libraryLines(
        captureStderr([] { KEOSharedPreferences::sharedInstance()->putString("k", "new"); }));
    chmod("data", 0755);
    EXPECT_EQ(err, "");
    EXPECT_TRUE(dir.read("data/KEOPreferences.json").contains("\"k\": \"new\""));
    EXPECT_EQ(inode("data/KEOPreferences.json") == before, !GetParam());
}

INSTANTIATE_TEST_SUITE_P(DataWritable, PreferencesWrite, ::testing::Bool());
