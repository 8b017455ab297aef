// What each kind of server fault does to a hit, with offline tracking on and off: kept and
// retried, deleted, and whether the worker pauses before the next hit. Each test tracks "A" then
// "B" against a collector that already misbehaves and checks what can be seen within a few
// seconds: the rows left, the error lines, what arrived, and that nothing is sent in a pause.
#include "KEOMobile.h"
#include "LoopbackTest.h"

#include <thread>

using namespace std::chrono;
using namespace std::chrono_literals;

namespace {

class DeliveryFaults : public LoopbackTest {
protected:
    // Tracks "A" and "B" with the server in the given fault, then runs check, all with standard
    // error captured; returns the number of "Unable to send hit" lines written meanwhile.
    template <typename Check>
    size_t trackTwoThen(bool offline, collector::Fault fault, int param, Check check) {
        configure(offline);
        server.setFault(fault, param);
        const std::string err = captureStderr([&] {
            KEOMobile::trackState("A", {});
            KEOMobile::trackState("B", {});
            check();
        });
        return countOf(libraryLines(err), "KEOMobile Error: Analytics - Unable to send hit(");
    }
    std::vector<std::string> pages() const { return ::pages(server.hits()); }
};

using collector::Fault;

} // namespace

// Offline tracking on.

TEST_F(DeliveryFaults, OfflineOnRefusedKeepsTheHitAndSendsNothingInThePause) {
    const size_t lines = trackTwoThen(true, Fault::Refuse, 0, [&] {
        std::this_thread::sleep_for(1500ms);
        EXPECT_EQ(dir.hitRows(), 2);
        server.setFault(Fault::None);
        std::this_thread::sleep_for(2s);
    });
    EXPECT_EQ(lines, 1u);
    EXPECT_EQ(server.count(), 0u);
    EXPECT_EQ(dir.hitRows(), 2);
}

TEST_F(DeliveryFaults, OfflineOnTimeOutDeletesTheHitAndSendsNothingInThePause) {
    const size_t lines = trackTwoThen(true, Fault::Delay, 12000, [&] {
        EXPECT_TRUE(waitForRows(1, 15s));
        server.setFault(Fault::None);
        std::this_thread::sleep_for(1500ms);
    });
    EXPECT_EQ(lines, 1u);
    EXPECT_EQ(pages(), (std::vector<std::string>{"A"}));
    EXPECT_EQ(dir.hitRows(), 1);
}

TEST_F(DeliveryFaults, OfflineOnHttpErrorStatusDeliversBothWithoutALine) {
    const size_t lines = trackTwoThen(true, Fault::HttpError, 503, [&] {
        server.waitForHits(2, 5s);
        EXPECT_TRUE(waitForRows(0, 2s));
    });
    EXPECT_EQ(lines, 0u);
    EXPECT_EQ(pages(), (std::vector<std::string>{"A", "B"}));
}

TEST_F(DeliveryFaults, OfflineOnClosedConnectionDeletesTheHitAndSendsNothingInThePause) {
    const size_t lines = trackTwoThen(true, Fault::CloseConnection, 0, [&] {
        EXPECT_TRUE(waitForRows(1, 3s));
        server.setFault(Fault::None);
        std::this_thread::sleep_for(2s);
    });
    EXPECT_EQ(lines, 1u);
    EXPECT_EQ(pages(), (std::vector<std::string>{"A"}));
    EXPECT_EQ(dir.hitRows(), 1);
}

TEST_F(DeliveryFaults, OfflineOnSlowAnswerInTimeDeliversBothWithoutALine) {
    const size_t lines = trackTwoThen(true, Fault::Slow, 1500, [&] {
        server.waitForHits(2, 6s);
        EXPECT_TRUE(waitForRows(0, 3s));
    });
    EXPECT_EQ(lines, 0u);
    EXPECT_EQ(pages(), (std::vector<std::string>{"A", "B"}));
}

// Offline tracking off: a fresh hit that fails is retried at once, with no pause.

TEST_F(DeliveryFaults, OfflineOffRefusedRetriesAtOnceAndDeliversAsSoonAsTheServerIsBack) {
    const size_t lines = trackTwoThen(false, Fault::Refuse, 0, [&] {
        std::this_thread::sleep_for(1s);
        EXPECT_EQ(dir.hitRows(), 2);
        server.setFault(Fault::None);
        server.waitForHits(2, 2s);
    });
    EXPECT_GE(lines, 2u);
    EXPECT_EQ(pages(), (std::vector<std::string>{"A", "B"}));
}

// The one attempt outlasts the five seconds, so its failure isn't logged and the hit goes; the
// next is sent at once.
TEST_F(DeliveryFaults, OfflineOffTimeOutDeletesTheHitWithoutALineAndSendsTheNextAtOnce) {
    const size_t lines = trackTwoThen(false, Fault::Delay, 12000, [&] {
        EXPECT_TRUE(server.waitForHits(2, 15s));
        EXPECT_EQ(dir.hitRows(), 1);
    });
    EXPECT_EQ(lines, 0u);
    EXPECT_EQ(pages(), (std::vector<std::string>{"A", "B"}));
}

TEST_F(DeliveryFaults, OfflineOffHttpErrorStatusDeliversBothWithoutALine) {
    const size_t lines = trackTwoThen(false, Fault::HttpError, 404, [&] {
        server.waitForHits(2, 5s);
        EXPECT_TRUE(waitForRows(0, 2s));
    });
    EXPECT_EQ(lines, 0u);
    EXPECT_EQ(pages(), (std::vector<std::string>{"A", "B"}));
}

// Nothing behind the failing hit is tried while it is retried.
TEST_F(DeliveryFaults, OfflineOffClosedConnectionRetriesTheFirstHitAtOnceAndKeepsBoth) {
    const size_t lines = trackTwoThen(false, Fault::CloseConnection, 0, [&] {
        std::this_thread::sleep_for(1500ms);
        EXPECT_EQ(dir.hitRows(), 2);
    });
    const std::vector<std::string> sent = pages();
    EXPECT_GE(sent.size(), 2u);
    EXPECT_EQ(sent, std::vector<std::string>(sent.size(), "A"));
    EXPECT_GE(lines, 2u);
}

TEST_F(DeliveryFaults, OfflineOffSlowAnswerInTimeDeliversBothWithoutALine) {
    const size_t lines = trackTwoThen(false, Fault::Slow, 1500, [&] {
        server.waitForHits(2, 6s);
        EXPECT_TRUE(waitForRows(0, 3s));
    });
    EXPECT_EQ(lines, 0u);
    EXPECT_EQ(pages(), (std::vector<std::string>{"A", "B"}));
}
