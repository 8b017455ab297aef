// Device and application facts: each failure's line and fallback, and the application
// descriptor's reading rules. What each answer becomes in a hit is the hit composition's test.
#include "KEOStatic.h"
#include "WorkDir.h"

#include <desktop/DesktopPlatform.h>

#include <gtest/gtest.h>

#include <cerrno>

namespace {

QByteArray descriptor(const char *body,
                      const char *ns = "http://www.qnx.com/schemas/application/1.0") {
    return QString("<?xml version=\"1.0\"?>\n<qnx xmlns=\"%1\">%2</qnx>\n").arg(ns, body).toUtf8();
}

const char *kCannotLoad = "KEOMobile Error: Cannot load app name and version from BAR file.\n";

} // namespace

TEST(Descriptor, NameAndVersionOfTheRootsDirectChildrenInItsNamespace) {
    struct Case {
        QByteArray xml; // empty: no file
        const char *line, *id, *name, *version;
    };
    const Case cases[] = {
        {descriptor("<name>Shop</name><versionNumber>1.2.3</versionNumber>"), "", "Shop/1.2.3",
         "Shop", "1.2.3"},
        {"", "KEOMobile Error: Unable to load bar file(2)\n", "", "", ""},
        {"<qnx><name>Shop</nam", "KEOMobile Error: Unable to load bar file(", "", "", ""},
        {descriptor("<name>Shop</name><versionNumber>1</versionNumber>", ""), kCannotLoad, "", "",
         ""},
        {descriptor("<name>First</name><name>Second</name><versionNumber>2</versionNumber>"), "",
         "Second/2", "Second", "2"},
        {descriptor("<asset><name>Nested</name></asset><versionNumber>2</versionNumber>"),
         kCannotLoad, "", "", "2"},
        {descriptor("<NAME>Shop</NAME><versionNumber>2</versionNumber>"), kCannotLoad, "", "", "2"},
        {descriptor("<name>Shop</name>"), kCannotLoad, "", "Shop", ""}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.xml.toStdString());
        inChild([&] {
            WorkDir dir;
            if (!c.xml.isEmpty())
                dir.write("app/native/bar-descriptor.xml", c.xml);
            QString id;
            const std::string err = captureStderr([&] { id = KEOStatic::getApplicationID(); });
            EXPECT_EQ(err.rfind(c.line, 0), 0u) << err;
            EXPECT_EQ(countOf(err, "\n"), *c.line ? 1u : 0u) << err;
            EXPECT_EQ(id, QString(c.id));
            EXPECT_EQ(KEOStatic::getApplicationName(), QString(c.name));
            EXPECT_EQ(KEOStatic::getApplicationVersion(), QString(c.version));
            // Read once per process, failure included.
            dir.write("app/native/bar-descriptor.xml",
                      descriptor("<name>B</name><versionNumber>9</versionNumber>"));
            EXPECT_EQ(
                captureStderr([&] { EXPECT_EQ(KEOStatic::getApplicationID(), QString(c.id)); }),
                "");
        });
    }
}

TEST(DeviceFacts, MissingAnswersGiveTheirFallbacks) {
    WorkDir dir;
    desktop::failDeviceInfo(EIO);
    desktop::setCarrierName("");
    desktop::failLocale(true);
    const std::string err = captureStderr([] {
        EXPECT_EQ(KEOStatic::getRawOSVersion(), QString(""));
        EXPECT_EQ(KEOStatic::getOperatingSystem(), QString("BB "));
    });
    EXPECT_EQ(err, "KEOMobile Error: Failed to get device os version(5\n");
    EXPECT_EQ(KEOStatic::getCarrier(), QString("unknown"));
    EXPECT_EQ(KEOStatic::getLocale(), QString("en-us"));
}
