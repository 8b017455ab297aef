// Error and debug lines: prefixes, streams and the debug switch.
#include "KEOMobile.h"
#include "KEOStatic.h"
#include "WorkDir.h"

#include <gtest/gtest.h>

TEST(Logging, ErrorLinesAlwaysDebugLinesOnlyOnceSwitchedOn) {
    WorkDir dir;
    EXPECT_EQ(captureStderr([] { KEOStatic::logError("disk %s at %d%%", "full", 99); }),
              "KEOMobile Error: disk full at 99%\n");
    EXPECT_FALSE(KEOMobile::getDebugLogging());
    EXPECT_EQ(captureStdout([] { KEOStatic::logDebug("hello %s", "there"); }), "");
    KEOMobile::setDebugLogging(true);
    EXPECT_TRUE(KEOMobile::getDebugLogging());
    EXPECT_EQ(captureStdout([] { KEOStatic::logDebug("hello %s", "there"); }),
              "KEOMobile Debug: hello there\n");
}
