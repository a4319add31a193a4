// What servers answer, in one piece and byte by byte.
#include <gtest/gtest.h>

#include <string>

#include "sdk/description/http_answer.h"

using namespace vex;

namespace {

using description::HttpAnswer;
using State = HttpAnswer::State;

constexpr std::size_t largest_body = 1000;

HttpAnswer answer_of(const std::string& text, std::size_t piece, bool ended)
{
    HttpAnswer answer(largest_body);
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        answer.take(bytes.subspan(at, std::min(piece, bytes.size() - at)));
    }
    if (ended) {
        answer.end();
    }
    return answer;
}

/// The body, or why there is none; the same in pieces of any size.
std::string outcome(const std::string& text, bool ended = true)
{
    const auto told = [](HttpAnswer answer) {
        return answer.state() == State::complete ? std::string(answer.body().begin(), answer.body().end())
                                                 : answer.reason();
    };
    const std::string whole = told(answer_of(text, text.size() + 1, ended));
    for (const std::size_t piece : {1U, 2U, 3U, 7U}) {
        EXPECT_EQ(told(answer_of(text, piece, ended)), whole) << piece;
    }
    return whole;
}

const std::string ok = "HTTP/1.0 200 OK\r\n";

TEST(HttpAnswer, EndsTheHeadAtItsOwnBlankLineWhateverTheBodyHolds)
{
    EXPECT_EQ(outcome("HTTP/1.0 200 OK\n\n<a>\r\n\r\nContent-Length: 1\r\n</a>"),
              "<a>\r\n\r\nContent-Length: 1\r\n</a>");
    EXPECT_EQ(outcome("HTTP/1.0 200 OK\r\n\r\n<a>\n\n</a>"), "<a>\n\n</a>");
    EXPECT_EQ(outcome("HTTP/1.0 200 OK\n\r\nbody"), "body");
    EXPECT_EQ(outcome("HTTP/1.0 200 OK\r\n\nbody"), "body");
}

TEST(HttpAnswer, IsCompleteWithItsLengthOrWithTheConnection)
{
    EXPECT_EQ(answer_of(ok + "Content-Length: 4\r\n\r\nbody and more", 100, false).state(), State::complete);
    EXPECT_EQ(outcome(ok + "Content-Length: 4\r\n\r\nbody and more"), "body");
    EXPECT_EQ(answer_of(ok + "Content-Length: 0\r\n\r\n", 100, false).state(), State::complete);
    EXPECT_EQ(answer_of(ok + "\r\nbody", 100, false).state(), State::incomplete);
    EXPECT_EQ(outcome(ok + "\r\nbody"), "body");
    EXPECT_EQ(outcome(ok + "Content-Length: 9\r\n\r\nbody"), "the server sent 4 of 9 bytes");
}

TEST(HttpAnswer, LetsNoFieldHideAnEncoding)
{
    const std::string why = "the server encodes its answer";
    EXPECT_EQ(outcome(ok + "Content-Encoding: gzip\r\nTransfer-Encoding: identity\r\n\r\nbody"), why);
    EXPECT_EQ(outcome(ok + "Transfer-Encoding: identity\r\nContent-Encoding: gzip\r\n\r\nbody"), why);
    EXPECT_EQ(outcome(ok + "Transfer-Encoding: Identity\r\n\r\nbody"), "body");
}

TEST(HttpAnswer, BoundsHeadAndBody)
{
    const std::string long_field = "X: " + std::string(20'000, 'x') + "\r\n";
    EXPECT_EQ(outcome(ok + long_field + "\r\nbody"), "the server does not speak HTTP");
    EXPECT_EQ(answer_of(ok + long_field, 1000, false).state(), State::failed);
    EXPECT_EQ(answer_of(ok + "\r\n" + std::string(largest_body, 'x'), 100, true).state(), State::complete);
    EXPECT_EQ(answer_of(ok + "\r\n" + std::string(largest_body + 1, 'x'), 100, false).code(),
              PvResult::GenICamXMLError);
    EXPECT_EQ(answer_of(ok + "Content-Length: 1001\r\n\r\n", 100, false).code(), PvResult::GenICamXMLError);
}

TEST(HttpAnswer, TellsWhereARedirectLeads)
{
    HttpAnswer answer = answer_of("HTTP/1.1 302 Found\r\nLOCATION:  /there \r\n\r\nbody", 5, false);
    EXPECT_EQ(answer.state(), State::complete);
    EXPECT_EQ(answer.status(), 302);
    EXPECT_EQ(answer.location(), "/there");
    EXPECT_TRUE(answer.body().empty());

    const description::HttpAddress from{"host", 8080, "/a/b"};
    EXPECT_EQ(description::redirected(from, "/there?x"), "http://host:8080/there?x");
    EXPECT_EQ(description::redirected(from, "//other/there"), "http://other/there");
    EXPECT_EQ(description::redirected(from, "https://other/"), "https://other/");
}

}  // namespace
