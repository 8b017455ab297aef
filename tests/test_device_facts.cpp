// Device and application facts: what each platform answer becomes, each failure's line, and
// the application descriptor's reading rules.
#include "KEOStatic.h"
#include "WorkDir.h"

#include <desktop/DesktopPlatform.h>

#include <gtest/gtest.h>

#include <cerrno>

namespace {

const char *NS = "http://www.qnx.com/schemas/application/1.0";

class Descriptor : public ::testing::Test {
protected:
    void writeXml(const QString &body, const char *ns = NS) {
        dir.write("app/native/bar-descriptor.xml",
                  QString("<?xml version=\"1.0\"?>\n<qnx xmlns=\"%1\">%2</qnx>\n")
                      .arg(ns, body)
                      .toUtf8());
    }
    std::string readId() {
        return captureStderr([this] { id = KEOStatic::getApplicationID(); });
    }
    WorkDir dir;
    QString id;
};

} // namespace

TEST_F(Descriptor, NameAndVersionGiveTheIdentifier) {
    writeXml("<name>Shop</name><versionNumber>1.2.3</versionNumber>");
    EXPECT_EQ(readId(), "");
    EXPECT_EQ(id, QString("Shop/1.2.3"));
    EXPECT_EQ(KEOStatic::getApplicationName(), QString("Shop"));
    EXPECT_EQ(KEOStatic::getApplicationVersion(), QString("1.2.3"));
}

TEST_F(Descriptor, MissingFileLogsItsErrno) {
    EXPECT_EQ(readId(), "KEOMobile Error: Unable to load bar file(2)\n");
    EXPECT_EQ(id, QString(""));
}

TEST_F(Descriptor, MalformedFileLogsUnableToLoad) {
    dir.write("app/native/bar-descriptor.xml", "<qnx><name>Shop</nam");
    const std::string err = readId();
    EXPECT_EQ(err.rfind("KEOMobile Error: Unable to load bar file(", 0), 0u) << err;
    EXPECT_EQ(id, QString(""));
}

TEST_F(Descriptor, ElementsOutsideTheNamespaceAreNotFound) {
    dir.write("app/native/bar-descriptor.xml",
              "<qnx><name>Shop</name><versionNumber>1</versionNumber></qnx>");
    EXPECT_EQ(readId(), "KEOMobile Error: Cannot load app name and version from BAR file.\n");
    EXPECT_EQ(id, QString(""));
}

TEST_F(Descriptor, LastOfTwoNamesWins) {
    writeXml("<name>First</name><name>Second</name><versionNumber>2</versionNumber>");
    readId();
    EXPECT_EQ(id, QString("Second/2"));
}

TEST_F(Descriptor, NestedNameIsNotSelected) {
    writeXml("<asset><name>Nested</name></asset><versionNumber>2</versionNumber>");
    EXPECT_EQ(readId(), "KEOMobile Error: Cannot load app name and version from BAR file.\n");
    EXPECT_EQ(KEOStatic::getApplicationName(), QString(""));
    EXPECT_EQ(KEOStatic::getApplicationVersion(), QString("2"));
}

TEST_F(Descriptor, UpperCaseElementIsNotMatched) {
    writeXml("<NAME>Shop</NAME><versionNumber>2</versionNumber>");
    readId();
    EXPECT_EQ(KEOStatic::getApplicationName(), QString(""));
}

TEST_F(Descriptor, NameWithoutVersionKeepsTheNameOnly) {
    writeXml("<name>Shop</name>");
    EXPECT_EQ(readId(), "KEOMobile Error: Cannot load app name and version from BAR file.\n");
    EXPECT_EQ(KEOStatic::getApplicationName(), QString("Shop"));
    EXPECT_EQ(KEOStatic::getApplicationVersion(), QString(""));
    EXPECT_EQ(id, QString(""));
}

TEST_F(Descriptor, FailureIsNotRetriedInTheSameProcess) {
    readId();
    writeXml("<name>Shop</name><versionNumber>1</versionNumber>");
    EXPECT_EQ(readId(), "");
    EXPECT_EQ(id, QString(""));
}

TEST(DeviceFacts, OperatingSystemIsBbAndTheVersion) {
    desktop::setOsVersion("10.3.2.2639");
    EXPECT_EQ(KEOStatic::getOperatingSystem(), QString("BB 10.3.2.2639"));
}

TEST(DeviceFacts, FailedDeviceDetailsLogWithoutClosingParenthesisAndGiveEmptyVersion) {
    desktop::failDeviceInfo(EIO);
    QString version;
    const std::string err = captureStderr([&] { version = KEOStatic::getRawOSVersion(); });
    EXPECT_EQ(err, "KEOMobile Error: Failed to get device os version(5\n");
    EXPECT_EQ(version, QString(""));
}

TEST(DeviceFacts, UserAgentNamesPlatformAndVersion) {
    desktop::setDeviceName("Q10");
    desktop::setOsVersion("10.3.1");
    EXPECT_EQ(KEOStatic::getUserAgent(),
              QString("User-Agent: Mozilla/5.0 (BB10; Q10) AppleWebKit/537.10+ (KHTML, like "
                      "Gecko) Version/10.3.1 Mobile Safari/537.10+"));
}

TEST(DeviceFacts, EmptyCarrierIsUnknown) {
    desktop::setCarrierName("");
    EXPECT_EQ(KEOStatic::getCarrier(), QString("unknown"));
}

TEST(DeviceFacts, CarrierNameIsTakenAsItStands) {
    desktop::setCarrierName("Rogers Wireless");
    EXPECT_EQ(KEOStatic::getCarrier(), QString("Rogers Wireless"));
}

TEST(DeviceFacts, ResolutionIsWidthByHeight) {
    desktop::setDisplaySize(QSize(720, 1280));
    EXPECT_EQ(KEOStatic::getResolution(), QString("720x1280"));
}

TEST(DeviceFacts, LocaleGetsADashAndLowerCase) {
    desktop::setLocale("fr_CA");
    EXPECT_EQ(KEOStatic::getLocale(), QString("fr-ca"));
}

TEST(DeviceFacts, MissingLocaleFallsBackToEnUs) {
    desktop::failLocale(true);
    EXPECT_EQ(KEOStatic::getLocale(), QString("en-us"));
}

TEST(DeviceFacts, FactsAreFetchedOncePerProcess) {
    desktop::setCarrierName("First");
    EXPECT_EQ(KEOStatic::getCarrier(), QString("First"));
    desktop::setCarrierName("Second");
    EXPECT_EQ(KEOStatic::getCarrier(), QString("First"));
}
