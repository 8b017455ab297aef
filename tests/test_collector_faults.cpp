// The collector against a real libcurl client set up as the sender sets it up: every fault must
// give the client the error it would meet in the field.
#include "Collector.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <chrono>

using collector::Collector;
using collector::Fault;

namespace {

const std::string kQuery = "?AQB=1&ndh=1&pageName=Home&c.&a.&OSVersion=10.0&.a&.c&AQE=1";

size_t keepBody(char *data, size_t size, size_t count, void *body) {
    static_cast<std::string *>(body)->append(data, size * count);
    return size * count;
}

// One easy handle, reused like the sender's worker reuses its own, so keep-alive is exercised.
class Client {
public:
    explicit Client(long timeoutSeconds) : _curl(curl_easy_init()) {
        _headers = curl_slist_append(_headers, "User-Agent: TestAgent/1.0");
        _headers = curl_slist_append(_headers, "Accept-Language: en-GB");
        curl_easy_setopt(_curl, CURLOPT_HTTPHEADER, _headers);
        curl_easy_setopt(_curl, CURLOPT_HTTPGET, 1L);
        curl_easy_setopt(_curl, CURLOPT_TIMEOUT, timeoutSeconds);
        curl_easy_setopt(_curl, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(_curl, CURLOPT_WRITEFUNCTION, keepBody);
        curl_easy_setopt(_curl, CURLOPT_WRITEDATA, &body);
    }
    ~Client() {
        curl_easy_cleanup(_curl);
        curl_slist_free_all(_headers);
    }

    CURLcode get(const Collector &server, const std::string &random = "1") {
        const std::string url =
            "http://" + server.baseServer() + "/b/ss/suite/0/BBN-4.0.0/s" + random + kQuery;
        body.clear();
        status = 0;
        curl_easy_setopt(_curl, CURLOPT_URL, url.c_str());
        const CURLcode result = curl_easy_perform(_curl);
        curl_easy_getinfo(_curl, CURLINFO_RESPONSE_CODE, &status);
        return result;
    }

    long status = 0;
    std::string body;

private:
    CURL *_curl;
    curl_slist *_headers = nullptr;
};

} // namespace

TEST(CollectorServer, AnswersOkWithEmptyBodyAndRecordsTheHit) {
    Collector server;
    ASSERT_TRUE(server.start());
    ASSERT_GT(server.port(), 0);
    Client client(2);
    EXPECT_EQ(client.get(server, "42"), CURLE_OK);
    EXPECT_EQ(client.status, 200);
    EXPECT_EQ(client.body, "");

    ASSERT_TRUE(server.waitForHits(1, std::chrono::seconds(2)));
    const collector::Hit hit = server.hits().at(0);
    EXPECT_EQ(hit.method, "GET");
    EXPECT_EQ(hit.path, "/b/ss/suite/0/BBN-4.0.0/s42");
    EXPECT_EQ(hit.rawQuery, kQuery.substr(1));
    EXPECT_EQ(hit.userAgent, "TestAgent/1.0");
    EXPECT_EQ(hit.acceptLanguage, "en-GB");
    EXPECT_EQ(hit.fault, Fault::None);
    EXPECT_TRUE(hit.decoded.wellFormed) << hit.decoded.error;
    EXPECT_EQ(hit.decoded.ctx("a.OSVersion"), "10.0");
}

TEST(CollectorServer, CallsOnHitAndClears) {
    Collector server;
    std::atomic<int> calls{0};
    server.onHit = [&](const collector::Hit &hit) {
        if (hit.decoded.var("pageName") == "Home")
            ++calls;
    };
    ASSERT_TRUE(server.start());
    Client client(2);
    EXPECT_EQ(client.get(server), CURLE_OK);
    EXPECT_EQ(client.get(server), CURLE_OK);
    EXPECT_EQ(calls.load(), 2);
    EXPECT_EQ(server.count(), 2u);
    server.clear();
    EXPECT_EQ(server.count(), 0u);
    EXPECT_FALSE(server.waitForHits(1, std::chrono::milliseconds(10)));
}

TEST(CollectorFaults, RefuseGivesCouldntConnectAndRecordsNothing) {
    Collector server;
    ASSERT_TRUE(server.start());
    Client client(2);
    ASSERT_EQ(client.get(server), CURLE_OK); // leaves a kept-alive connection behind
    ASSERT_TRUE(server.setFault(Fault::Refuse));
    EXPECT_EQ(client.get(server), CURLE_COULDNT_CONNECT);
    EXPECT_EQ(server.count(), 1u);
}

TEST(CollectorFaults, NoneAfterRefuseListensAgainOnTheSamePort) {
    Collector server;
    ASSERT_TRUE(server.start());
    const int port = server.port();
    Client client(2);
    ASSERT_EQ(client.get(server), CURLE_OK);
    ASSERT_TRUE(server.setFault(Fault::Refuse));
    ASSERT_EQ(client.get(server), CURLE_COULDNT_CONNECT);
    ASSERT_TRUE(server.setFault(Fault::None));
    EXPECT_EQ(server.port(), port);
    EXPECT_EQ(client.get(server), CURLE_OK);
    EXPECT_EQ(server.count(), 2u);
}

TEST(CollectorFaults, RefuseBeforeStartStillReservesAPort) {
    Collector server;
    server.setFault(Fault::Refuse);
    ASSERT_TRUE(server.start());
    ASSERT_GT(server.port(), 0);
    Client client(2);
    EXPECT_EQ(client.get(server), CURLE_COULDNT_CONNECT);
    ASSERT_TRUE(server.setFault(Fault::None));
    EXPECT_EQ(client.get(server), CURLE_OK);
}

TEST(CollectorFaults, HttpErrorIsACompletedTransfer) {
    Collector server;
    ASSERT_TRUE(server.start());
    server.setFault(Fault::HttpError, 503);
    Client client(2);
    EXPECT_EQ(client.get(server), CURLE_OK);
    EXPECT_EQ(client.status, 503);
    EXPECT_EQ(client.body, "");
    ASSERT_EQ(server.count(), 1u);
    EXPECT_EQ(server.hits()[0].fault, Fault::HttpError);
    EXPECT_EQ(server.hits()[0].faultParam, 503);
}

TEST(CollectorFaults, HttpErrorDefaultsTo500) {
    Collector server;
    ASSERT_TRUE(server.start());
    server.setFault(Fault::HttpError);
    Client client(2);
    EXPECT_EQ(client.get(server), CURLE_OK);
    EXPECT_EQ(client.status, 500);
}

TEST(CollectorFaults, CloseConnectionGivesAnEmptyReplyButRecordsTheHit) {
    Collector server;
    ASSERT_TRUE(server.start());
    server.setFault(Fault::CloseConnection);
    Client client(2);
    EXPECT_EQ(client.get(server), CURLE_GOT_NOTHING);
    ASSERT_EQ(server.count(), 1u);
    EXPECT_EQ(server.hits()[0].fault, Fault::CloseConnection);

    server.setFault(Fault::None);
    EXPECT_EQ(client.get(server), CURLE_OK);
}

TEST(CollectorFaults, DelayPastTheClientTimeOutGivesOperationTimedOut) {
    Collector server;
    ASSERT_TRUE(server.start());
    server.setFault(Fault::Delay, 2000);
    Client client(1);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(client.get(server), CURLE_OPERATION_TIMEDOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(900));
    ASSERT_EQ(server.count(), 1u);
    EXPECT_EQ(server.hits()[0].fault, Fault::Delay);
    EXPECT_EQ(server.hits()[0].faultParam, 2000);
}

TEST(CollectorFaults, StopCutsAWaitingDelayShort) {
    Collector server;
    ASSERT_TRUE(server.start());
    server.setFault(Fault::Delay); // the default 12 s
    Client client(1);
    EXPECT_EQ(client.get(server), CURLE_OPERATION_TIMEDOUT);
    const auto stopping = std::chrono::steady_clock::now();
    server.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - stopping, std::chrono::seconds(2));
}

TEST(CollectorFaults, SlowAnswersWithinTheTimeOut) {
    Collector server;
    ASSERT_TRUE(server.start());
    server.setFault(Fault::Slow, 300);
    Client client(2);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(client.get(server), CURLE_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(300));
    EXPECT_EQ(client.status, 200);
}

TEST(CollectorServer, ExplicitPortIsBoundAgainAfterAStop) {
    int port = 0;
    {
        Collector first;
        ASSERT_TRUE(first.start());
        port = first.port();
        Client client(2);
        ASSERT_EQ(client.get(first), CURLE_OK);
    }
    Collector second(port);
    ASSERT_TRUE(second.start());
    EXPECT_EQ(second.baseServer(), "127.0.0.1:" + std::to_string(port));
    Client client(2);
    EXPECT_EQ(client.get(second), CURLE_OK);
}

TEST(CollectorServer, APortInUseCanNotBeShared) {
    Collector first;
    ASSERT_TRUE(first.start());
    Collector second(first.port());
    EXPECT_FALSE(second.start());
}
