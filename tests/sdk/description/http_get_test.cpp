// Downloads from a server in this program.
#include <gtest/gtest.h>

#include <mutex>
#include <string>

#include "sdk/description/http_get.h"
#include "tests/sdk/net/local_server.h"

using namespace vex;

namespace {

using description::http_get;
using net_test::LocalServer;

const std::string ok = "HTTP/1.0 200 OK\r\n";

struct Download {
    PvResult result;
    std::string body;
};

class HttpGet : public testing::Test {
protected:
    Download get(const std::string& path = "/camera.xml") { return get_url(server.url(path)); }
    Download get_url(const std::string& url)
    {
        std::vector<std::uint8_t> body;
        shown_to_server();
        PvResult result = http_get(url, limits, body);
        shown_to_server();
        return {result, {body.begin(), body.end()}};
    }
    void expect_failure(PvResult::Code code, const std::string& text, const std::string& path = "/camera.xml")
    {
        const Download done = get(path);
        EXPECT_EQ(done.result.GetCode(), code) << done.result.description();
        EXPECT_NE(done.result.description().find(text), std::string::npos) << done.result.description();
        EXPECT_NE(done.result.description().find(server.url(path)), std::string::npos) << done.result.description();
    }

    /// Orders what the test and the server's thread do with what they share.
    void shown_to_server() { const std::scoped_lock lock(shared); }

    std::mutex shared;
    std::string answer = ok + "\r\n<xml/>";
    std::string request;
    LocalServer server{[this](const std::string& received) {
        const std::scoped_lock lock(shared);
        request = received;
        return answer;
    }};
    description::HttpLimits limits{.largest_body = 1000, .time = std::chrono::seconds(20)};
};

TEST_F(HttpGet, AsksForThePathAndGivesTheBody)
{
    const Download done = get("/a/camera.xml?version=2#part");
    EXPECT_TRUE(done.result.IsOK()) << done.result.description();
    EXPECT_EQ(done.body, "<xml/>");
    EXPECT_TRUE(request.starts_with("GET /a/camera.xml?version=2 HTTP/1.0\r\n")) << request;
    EXPECT_NE(request.find("\r\nHost: " + server.endpoint().to_string() + "\r\n"), std::string::npos) << request;
    EXPECT_TRUE(request.ends_with("\r\n\r\n"));
}

TEST_F(HttpGet, TakesAnAddressWithoutAPath)
{
    EXPECT_TRUE(get("").result.IsOK());
    EXPECT_TRUE(request.starts_with("GET / HTTP/1.0\r\n")) << request;
}

TEST_F(HttpGet, FindsAHostByName)
{
    const Download done = get_url("HTTP://localhost:" + std::to_string(server.endpoint().port) + "/c.xml");
    EXPECT_TRUE(done.result.IsOK()) << done.result.description();
}

TEST_F(HttpGet, EndsWithTheLengthThatTheServerTells)
{
    answer = "HTTP/1.1 200 OK\nContent-Length: 4\n\nbodyandmore";
    EXPECT_EQ(get().body, "body");
}

TEST_F(HttpGet, FollowsRedirectsToOtherAddressesAndPaths)
{
    LocalServer other([this](const std::string& received) {
        return received.starts_with("GET /there ") ? "HTTP/1.0 302 Found\r\nlocation: /here\r\n\r\n" : answer;
    });
    answer = "HTTP/1.0 301 Moved\r\nLocation: " + other.url("/there") + "\r\n\r\n";
    // the other server answers with what it is asked for next
    const std::string first = answer;
    LocalServer start([&](const std::string&) {
        answer = ok + "\r\nfound";
        return first;
    });
    const Download done = get_url(start.url("/"));
    EXPECT_TRUE(done.result.IsOK()) << done.result.description();
    EXPECT_EQ(done.body, "found");
    EXPECT_EQ(other.requests(), 2);
}

TEST_F(HttpGet, GivesUpOnRedirectsThatGoOn)
{
    answer = "HTTP/1.0 302 Found\r\nLocation: /again\r\n\r\n";
    expect_failure(PvResult::NetworkError, "on and on");
    EXPECT_EQ(server.requests(), 4);
}

TEST_F(HttpGet, DoesNotFollowElsewhere)
{
    answer = "HTTP/1.0 302 Found\r\nLocation: https://maker.example/c.xml\r\n\r\n";
    expect_failure(PvResult::NotSupported, "https");
    answer = "HTTP/1.0 302 Found\r\nLocation: file:///etc/passwd\r\n\r\n";
    expect_failure(PvResult::InvalidParameter, "file:///etc/passwd");
}

TEST_F(HttpGet, AsksOnlyWhoMayBeAsked)
{
    limits.only_from = loopback_address;
    EXPECT_TRUE(get().result.IsOK());
    EXPECT_TRUE(get_url("http://localhost:" + std::to_string(server.endpoint().port) + "/").result.IsOK());
    // nobody listens there, which would be another failure
    limits.how_to_allow = "; ask the user";
    answer = "HTTP/1.0 302 Found\r\nLocation: http://127.0.0.77:9/c.xml\r\n\r\n";
    expect_failure(PvResult::NotSupported, "the server 127.0.0.77 is not 127.0.0.1; ask the user");

    limits.only_from = Ipv4Address{0x7F00004D};
    const int before = server.requests();
    expect_failure(PvResult::NotSupported, "the server 127.0.0.1 is not 127.0.0.77");
    const Download done = get_url("http://localhost:" + std::to_string(server.endpoint().port) + "/");
    EXPECT_NE(done.result.description().find("localhost (127.0.0.1) is not"), std::string::npos)
        << done.result.description();
    EXPECT_EQ(server.requests(), before);
}

TEST_F(HttpGet, TellsWhatTheServerAnswered)
{
    answer = "HTTP/1.0 404 Not Found\r\n\r\nno such file";
    expect_failure(PvResult::NotFound, "404");
    answer = "HTTP/1.0 500 Broken\r\n\r\n";
    expect_failure(PvResult::NetworkError, "500");
}

TEST_F(HttpGet, RefusesWhatIsNotHttp)
{
    for (const char* text :
         {"", "\r\n\r\n", "<xml/>", "HTTP/1.0\r\n\r\n", "HTTP/1.0 abc\r\n\r\n", "SSH-2.0-x\r\n\r\n"}) {
        answer = text;
        expect_failure(PvResult::NetworkError, "does not speak HTTP");
    }
    answer = ok + std::string(100'000, 'x');
    expect_failure(PvResult::NetworkError, "does not speak HTTP");
    answer = ok + "Transfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n\r\n";
    expect_failure(PvResult::NetworkError, "encodes");
}

TEST_F(HttpGet, RefusesMoreThanAllowed)
{
    answer = ok + "Content-Length: 1001\r\n\r\n";
    expect_failure(PvResult::GenICamXMLError, "1001 bytes are more than the 1000");
    answer = ok + "Content-Length: 99999999999999999999\r\n\r\n" + std::string(100'000, 'x');
    expect_failure(PvResult::GenICamXMLError, "more than the 1000");
    answer = ok + "\r\n" + std::string(1000, 'x');
    EXPECT_TRUE(get().result.IsOK());
}

TEST_F(HttpGet, TellsWhenAFileIsCutShort)
{
    answer = ok + "Content-Length: 900\r\n\r\n" + std::string(89, 'x');
    expect_failure(PvResult::NetworkError, "89 of 900 bytes");
}

TEST_F(HttpGet, WaitsOnlySoLong)
{
    server.hold(true);
    limits.time = std::chrono::milliseconds(50);
    expect_failure(PvResult::Timeout, "");
}

TEST_F(HttpGet, TellsWhenNobodyListens)
{
    const std::string url = "http://" + net_test::closed_endpoint().to_string() + "/c.xml";
    const Download done = get_url(url);
    EXPECT_EQ(done.result.GetCode(), PvResult::NetworkError) << done.result.description();
    EXPECT_NE(done.result.description().find(url), std::string::npos);
}

TEST_F(HttpGet, RefusesAddressesThatNoRequestCanBeMadeOf)
{
    for (const char* url :
         {"", "http:", "http://", "http:///c.xml", "http://host:/c.xml", "http://host:0/", "http://host:65536/",
          "http://host:80x/", "http://user@host/", "http://[::1]/", "ftp://host/c.xml", "http://127.0.0.1/a b",
          "http://127.0.0.1/a\r\nX: y", "http://127.0.0.1/\xC3\xA4"}) {
        EXPECT_EQ(get_url(url).result.GetCode(), PvResult::InvalidParameter) << url;
    }
    EXPECT_EQ(get_url("https://127.0.0.1/c.xml").result.GetCode(), PvResult::NotSupported);
}

}  // namespace
