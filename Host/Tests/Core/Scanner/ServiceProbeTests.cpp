// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/ServiceProbe.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/FakeWeb.h>

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using Answer = ProbeResult::Answer;

class ServiceProbeTest : public testing::Test {
 protected:
  /// The result, if the probe ends within `wait`.
  std::optional<ProbeResult> probe(std::uint16_t port = 8080, milliseconds wait = milliseconds(0)) {
    begin(port);
    web_.settle();
    simulation_.advance(wait);
    return result_;
  }
  void begin(std::uint16_t port = 8080) {
    result_.reset();
    probe_ = std::make_shared<ServiceProbe>(queue_, web_.network, port);
    queue_.async([this] {
      probe_->start([this](const ProbeResult& result) {
        EXPECT_FALSE(result_) << "a probe completes once";
        result_ = result;
      });
    });
    simulation_.runReady();
  }
  std::shared_ptr<FakePeer> peer() { return web_.network->opened.back().peer; }

  static ProbeResult http(std::optional<std::string> title = std::nullopt) {
    return {Answer::http, std::move(title)};
  }

  SimulatedScheduler simulation_;
  FakeWeb web_{simulation_};
  const SerialQueue queue_{simulation_, "test", QueueRank::service};
  std::shared_ptr<ServiceProbe> probe_;
  std::optional<ProbeResult> result_;
};

TEST_F(ServiceProbeTest, asksTheLoopbackForTheRootPage) {
  web_.serve(8080, FakeWeb::page("Wiki"));
  EXPECT_EQ(probe(), http("Wiki"));
  EXPECT_EQ(web_.network->opened.at(0).address, (HostPort{"127.0.0.1", 8080}));
  EXPECT_THAT(web_.requests,
              testing::ElementsAre(testing::StartsWith("GET / HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n")));
  EXPECT_THAT(web_.requests[0], testing::EndsWith("\r\n\r\n"));
}

TEST_F(ServiceProbeTest, namesNoPortInTheRequestToPort80) {
  web_.serve(80, FakeWeb::page("x"));
  EXPECT_EQ(probe(80), http("x"));
  EXPECT_THAT(web_.requests.at(0), testing::HasSubstr("Host: 127.0.0.1\r\n"));
}

TEST_F(ServiceProbeTest, countsAnErrorStatusAsHTTP) {
  web_.serve(8080, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(probe(), http());
  web_.serve(8080, "HTTP/1.1 500 Oh\r\n\r\n<title>Error</title>");
  EXPECT_EQ(probe(), http("Error"));
}

TEST_F(ServiceProbeTest, hasNoTitleWithoutATitleElement) {
  web_.serve(8080, "HTTP/1.1 200 OK\r\n\r\n{\"status\":\"up\"}");
  EXPECT_EQ(probe(), http());
}

TEST_F(ServiceProbeTest, findsATitleWithinTheFirst65536BytesOnly) {
  const auto pageOf = [](std::size_t size) {
    const std::string title = "<title>t</title>";
    return "HTTP/1.1 200 OK\r\n\r\n" + std::string(size - title.size(), ' ') + title;
  };
  web_.serve(8080, pageOf(65'536));
  EXPECT_EQ(probe(), http("t"));
  web_.serve(8080, pageOf(65'537));
  EXPECT_EQ(probe(), http());
}

TEST_F(ServiceProbeTest, hasNoTitleIfThePageIsNotUTF8) {
  web_.serve(8080, "HTTP/1.1 200 OK\r\n\r\n<title>caf\xE9</title>");
  EXPECT_EQ(probe(), http());
}

TEST_F(ServiceProbeTest, keepsTheTitleOfAPageThatIsCutInsideACharacter) {
  std::string page = "<title>t</title>";
  page += std::string(65'535 - page.size(), 'x') + "é";
  web_.serve(8080, "HTTP/1.1 200 OK\r\n\r\n" + page);
  EXPECT_EQ(probe(), http("t"));
}

TEST_F(ServiceProbeTest, findsNoHTTPAtAPortThatRefuses) {
  EXPECT_EQ(probe(), (ProbeResult{Answer::none, {}}));
}

TEST_F(ServiceProbeTest, findsNoHTTPInAnotherProtocol) {
  web_.serve(22, "SSH-2.0-OpenSSH_9.2\r\n");
  EXPECT_EQ(probe(22), (ProbeResult{Answer::otherProtocol, {}}));
  web_.serve(443, "\x15\x03\x01\x02\x02\x46");
  EXPECT_EQ(probe(443), (ProbeResult{Answer::otherProtocol, {}})) << "a TLS alert";
  web_.serve(8080, "HTTP/1.1 2");
  EXPECT_EQ(probe(8080), (ProbeResult{Answer::closed, {}})) << "cut off in the status line";
}

TEST_F(ServiceProbeTest, reportsAConnectionThatIsClosedWithoutAByte) {
  web_.serve(5432, "");
  EXPECT_EQ(probe(5432), (ProbeResult{Answer::closed, {}}));
}

TEST_F(ServiceProbeTest, endsAfterItsTimeLimit) {
  web_.hang(8080);
  EXPECT_EQ(probe(8080, milliseconds(699)), std::nullopt);
  simulation_.advance(milliseconds(1));
  EXPECT_EQ(result_, (ProbeResult{Answer::none, {}})) << "not connected";

  web_.network->setAnswer({"127.0.0.1", 8081}, FakeAnswer::accepts);
  EXPECT_EQ(probe(8081, milliseconds(700)), (ProbeResult{Answer::none, {}})) << "no answer";
  EXPECT_EQ(web_.network->liveConnections(), 0U);
}

TEST_F(ServiceProbeTest, countsAnAnswerThatNeverEndsAsHTTPWithTheTitleSoFar) {
  web_.network->setAnswer({"127.0.0.1", 8080}, FakeAnswer::accepts);
  begin();
  peer()->write(viewOf("HTTP/1.1 200 OK\r\n\r\n<title>Live</title>data: 1\n"));
  simulation_.advance(milliseconds(699));
  EXPECT_EQ(result_, std::nullopt);
  simulation_.advance(milliseconds(1));
  EXPECT_EQ(result_, http("Live"));
}

TEST_F(ServiceProbeTest, findsNoHTTPInAHeadThatIsNotCompleteInTime) {
  web_.network->setAnswer({"127.0.0.1", 8080}, FakeAnswer::accepts);
  begin();
  peer()->write(viewOf("HTTP/1.1 200 OK\r\nServer: slow\r\n"));
  simulation_.advance(milliseconds(700));
  EXPECT_EQ(result_, (ProbeResult{Answer::none, {}}));
}

TEST_F(ServiceProbeTest, acceptsAnAnswerThatIsBrokenOffAfterItsHead) {
  web_.network->setAnswer({"127.0.0.1", 8080}, FakeAnswer::accepts);
  begin();
  peer()->write(viewOf("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n<title>Half</title>"));
  simulation_.runReady();
  EXPECT_EQ(result_, std::nullopt);
  peer()->fail("Connection reset by peer");
  simulation_.runReady();
  EXPECT_EQ(result_, http("Half"));
}

TEST_F(ServiceProbeTest, followsRedirectsWithinTheServer) {
  web_.serve(8080, FakeWeb::redirect("/login"));
  web_.serve(8080, FakeWeb::redirect("http://localhost:8080/app/"), "/login");
  web_.serve(8080, FakeWeb::page("Sign in"), "/app/");
  EXPECT_EQ(probe(), http("Sign in"));
  EXPECT_EQ(web_.requests.size(), 3U);
}

TEST_F(ServiceProbeTest, hasNoTitleAfterARedirectToAnotherServer) {
  for (const char* location : {"https://127.0.0.1:8080/", "http://example.org/", "http://127.0.0.1:9090/"}) {
    web_.serve(8080, FakeWeb::redirect(location));
    web_.serve(9090, FakeWeb::page("Other"));
    EXPECT_EQ(probe(), http()) << location;
  }
  EXPECT_EQ(web_.requests.size(), 3U) << "no request to another server";
}

TEST_F(ServiceProbeTest, givesUpAfterFourRedirects) {
  for (int at = 0; at < 10; ++at)
    web_.serve(8080, FakeWeb::redirect("/" + std::to_string(at + 1)),
               at == 0 ? "/" : "/" + std::to_string(at));
  EXPECT_EQ(probe(), http());
  EXPECT_EQ(web_.requests.size(), 5U);
}

TEST_F(ServiceProbeTest, isHTTPEvenIfTheServerFailsAfterARedirect) {
  web_.serve(8080, FakeWeb::redirect("/login"));
  web_.serve(8080, "rubbish", "/login");
  EXPECT_EQ(probe(), http());
  web_.serve(8080, FakeWeb::redirect("/silent"));
  EXPECT_EQ(probe(8080, milliseconds(699)), std::nullopt);
  simulation_.advance(milliseconds(1));
  EXPECT_EQ(result_, http()) << "one time limit for all requests";
}

TEST_F(ServiceProbeTest, isSilentAfterItsDestruction) {
  web_.serve(8080, FakeWeb::page("x"));
  begin();
  probe_.reset();
  web_.settle();
  simulation_.advance(std::chrono::seconds(2));
  EXPECT_EQ(result_, std::nullopt);
  EXPECT_EQ(web_.network->liveConnections(), 0U);
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

}  // namespace
}  // namespace quorl::test
