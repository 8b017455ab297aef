// The hit's TLS server is verified by libcurl's defaults: a certificate that no trusted authority
// signed, or one made out to another host, is refused before any request is sent, and the hit
// then meets the rule for any other error (offline tracking on: deleted after that one try). The
// server is Python's ssl module on loopback with certificates made here by openssl. Where the
// test's authority must be trusted, the sender runs in a mount namespace whose system bundle is
// that authority (root only); the last case, delivered, proves the trick.
#include "KEOMobile.h"
#include "SelfProcess.h"
#include "WorkDir.h"

#include <QFile>

#include <unistd.h>

using namespace std::chrono;

namespace {

const char *kMakeCertificates = R"(set -e
ec="-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2"
openssl req -x509 $ec -keyout ca.key -out ca.pem -subj "/CN=Test authority"
openssl req -x509 $ec -keyout self.key -out self.pem -subj /CN=127.0.0.1 \
  -addext subjectAltName=IP:127.0.0.1
for cert in other:DNS:other.example local:IP:127.0.0.1; do
  name=${cert%%:*}
  echo "subjectAltName=${cert#*:}" > $name.ext
  openssl req $ec -keyout $name.key -out $name.csr -subj /CN=$name
  openssl x509 -req -in $name.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 \
    -extfile $name.ext -out $name.pem
done)";

// Serves TLS with the certificate and key given, prints its port, then "GET <path>" per request.
const char *kServer = R"(import http.server, ssl, sys
class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        print("GET " + self.path, flush=True)
        self.send_response(200)
        self.end_headers()
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(sys.argv[1], sys.argv[2])
server.socket = context.wrap_socket(server.socket, server_side=True)
print(server.server_address[1], flush=True)
server.serve_forever())";

struct Case {
    const char *certificate;
    bool trustTestAuthority;
    const char *libraryLines; // empty: delivered
};

} // namespace

TEST(TlsVerification, UntrustedOrMisnamedCertificatesGetNoHitAndCostItsOneTry) {
    WorkDir dir;
    ASSERT_EQ(system(("sh -c '" + std::string(kMakeCertificates) + "' >/dev/null 2>&1").c_str()),
              0);
    const Case cases[] = {
        {"self", false,
         "KEOMobile Error: Analytics - Unable to send hit(SSL certificate problem: self-signed "
         "certificate)\n"},
        {"other", true,
         "KEOMobile Error: Analytics - Unable to send hit(SSL: no alternative certificate subject "
         "name matches target host name '127.0.0.1')\n"},
        {"local", true, ""},
    };
    for (const Case &c : cases) {
        if (c.trustTestAuthority && getuid() != 0) {
            printf("%s: skipped, a mount namespace needs root\n", c.certificate);
            continue;
        }
        const QString name = c.certificate;
        SelfProcess server({}, {"-c", kServer, name + ".pem", name + ".key"},
                           QProcess::ForwardedErrorChannel, "/usr/bin/python3");
        std::vector<std::string> port;
        server.readUntil(steady_clock::now() + seconds(10), port, 1);
        ASSERT_EQ(port.size(), 1u);
        dir.writeConfig(QString("127.0.0.1:%1").arg(port[0].c_str()), true, R"("ssl": true)");

        const QString self = QFile::symLinkTarget("/proc/self/exe");
        const QStringList trusting{
            "--mount", "sh", "-c",
            "mount --bind ca.pem /etc/ssl/certs/ca-certificates.crt && exec \"$0\"", self};
        SelfProcess sender({"KEO_TLS_SENDER=1"}, c.trustTestAuthority ? trusting : QStringList(),
                           QProcess::MergedChannels,
                           c.trustTestAuthority ? "/usr/bin/unshare" : self);
        EXPECT_EQ(sender.wait(30000), 0) << c.certificate << ": the row was kept";
        EXPECT_EQ(libraryLines(sender.output().toStdString()), c.libraryLines) << c.certificate;

        std::vector<std::string> requests;
        server.readUntil(steady_clock::now() + milliseconds(300), requests);
        EXPECT_EQ(requests.size(), *c.libraryLines ? 0u : 1u) << c.certificate;
        if (!requests.empty()) {
            EXPECT_EQ(requests[0].rfind("GET /b/ss/rsid1/0/", 0), 0u) << requests[0];
        }
    }
}

int main(int argc, char **argv) {
    if (getenv("KEO_TLS_SENDER")) { // one hit, then wait until the table is empty
        KEOMobile::trackState("Secure", {});
        _exit(waitFor([] { return hitRowsAt("data/KEOAnalyticsCache.sqlite") == 0; }, seconds(20))
                  ? 0
                  : 1);
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
