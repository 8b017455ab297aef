// The collector's reading of the wire format where the library's own hits don't take it:
// everything the sender never writes. Its legal forms, faults and ports are proved through the
// library's own tests, its JSON rendering through the web view's test.
#include "HitDecoder.h"

#include <gtest/gtest.h>

using collector::decodeHit;

namespace {

const std::string kPath = "/b/ss/suite/0/BBN-4.0.0/s12345";

collector::DecodedHit framed(const std::string &parameters) {
    return decodeHit(kPath, "AQB=1&ndh=1" + parameters + "&AQE=1");
}

} // namespace

TEST(CollectorDecode, ReportsWhatTheSenderNeverWrites) {
    for (const char *path :
         {"/", "/b/ss/suite", "/b/ss/suite/0/BBN-4.0.0", "/b/ss/suite/0/BBN-/s1",
          "/b/ss/suite/0/BBN-4/s", "/b/ss/suite/0/BBN-4/s12a", "/b/ss/suite/0/BBN-4/s100000000",
          "/b/ss/suite/0/BBN-4/s007", "/b/ss/bad%zz/0/BBN-4/s1"})
        EXPECT_FALSE(decodeHit(path, "AQB=1&ndh=1&AQE=1").wellFormed) << path;
    for (const char *query : {"ndh=1&a=1&AQE=1", "AQB=1&ndh=1&a=1", ""})
        EXPECT_FALSE(decodeHit(kPath, query).wellFormed) << query;
    std::string tooDeep = "&c.";
    for (size_t i = 0; i < collector::kMaxContextDepth + 10; ++i)
        tooDeep += "&n.";
    for (const std::string parameters :
         {"&c.&a=1", "&c.&a.&.c", "&.a", "&c.&.a&.c", "&a.b", "&x.&.x", "&c.&.c&c.&.c",
          "&c.&.c&late=1", "&c.&a=1&a=2&.c", "&c.&a.&.a&a.&.a&.c", "&&a=1", "&a=%G1", "&a=%4",
          "&a==b", "&.a.", "&c.&..&.c", "&c.&a", tooDeep.c_str()}) {
        const collector::DecodedHit hit = framed(parameters);
        EXPECT_FALSE(hit.wellFormed) << parameters;
        EXPECT_FALSE(hit.error.empty()) << parameters;
    }
    EXPECT_EQ(framed("&c.&a.&.c").error,
              "parameter 5 \".c\": closes a branch while \"a.\" is the innermost one open");
}
