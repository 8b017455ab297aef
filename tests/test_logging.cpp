// Error and debug lines: prefixes, streams and the debug switch.
#include "KEOMobile.h"
#include "KEOStatic.h"
#include "WorkDir.h"

#include <gtest/gtest.h>

TEST(Logging, ErrorLineGoesToStandardErrorWithPrefixAndNewline) {
    WorkDir dir;
    const std::string err =
        captureStderr([] { KEOStatic::logError("disk %s at %d%%", "full", 99); });
    EXPECT_EQ(err, "KEOMobile Error: disk full at 99%\n");
}

TEST(Logging, DebugLineIsSilentWhileTheSwitchIsOff) {
    WorkDir dir;
    const std::string out = captureStdout([] { KEOStatic::logDebug("hello %s", "there"); });
    EXPECT_EQ(out, "");
}

TEST(Logging, DebugLineGoesToStandardOutputOnceSwitchedOn) {
    WorkDir dir;
    KEOMobile::setDebugLogging(true);
    const std::string out = captureStdout([] { KEOStatic::logDebug("hello %s", "there"); });
    EXPECT_EQ(out, "KEOMobile Debug: hello there\n");
}

TEST(Logging, VersionIsFourZeroZero) {
    EXPECT_STREQ(KEOMobile::version, "4.0.0");
}
