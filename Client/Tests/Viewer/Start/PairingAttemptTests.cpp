// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/PairingAttempt.h>

#include <optional>
#include <vector>

#include <Integration/HostProcess.h>
#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../../Support/FakeHost.h"

namespace quorl::viewer {
namespace {

using client::ExitCode;
using client::test::FakeHost;
using quorl::test::eventually;
using testing::ElementsAre;
using testing::HasSubstr;

class Pairing : public testing::Test {
 protected:
  void begin(std::uint16_t port) {
    attempt_.reset();
    attempt_ = std::make_unique<PairingAttempt>(
        client::HostAddress{"127.0.0.1", port}, book_,
        PairingAttempt::Handlers{.asksForPIN =
                                     [this](const std::string& name, bool wasWrong) {
                                       const std::scoped_lock guard(lock_);
                                       questions_.push_back(wasWrong ? "again" : name);
                                     },
                                 .paired =
                                     [this](const client::PairedHost& host) {
                                       const std::scoped_lock guard(lock_);
                                       paired_ = host;
                                     },
                                 .failed =
                                     [this](const client::ClientError& error) {
                                       const std::scoped_lock guard(lock_);
                                       error_ = error;
                                     }});
  }
  bool asked(std::size_t times) {
    return eventually([&] {
      const std::scoped_lock guard(lock_);
      return questions_.size() >= times || error_;
    });
  }
  // After its end nothing changes any more.
  bool ended() {
    const bool has = eventually(
        [&] {
          const std::scoped_lock guard(lock_);
          return error_ || paired_;
        },
        std::chrono::seconds(30));
    attempt_.reset();
    return has;
  }

  quorl::test::TemporaryFolder folder_;
  client::HostBook book_{folder_.path() / "config" / "quorl"};
  std::mutex lock_;
  std::vector<std::string> questions_;
  std::optional<client::PairedHost> paired_;
  std::optional<client::ClientError> error_;
  std::unique_ptr<PairingAttempt> attempt_;
};

TEST_F(Pairing, keepsTheTokenOfTheRightPIN) {
  FakeHost host({});
  begin(host.port());
  ASSERT_TRUE(asked(1));
  attempt_->enter("012345");
  ASSERT_TRUE(ended());
  ASSERT_TRUE(paired_) << error_->what;
  EXPECT_THAT(questions_, ElementsAre("Fake host"));
  const auto contents = book_.load();
  ASSERT_TRUE(contents);
  EXPECT_EQ(contents->hosts, (std::vector<client::PairedHost>{*paired_}));
}

TEST_F(Pairing, aWrongPINMayBeCorrected) {
  FakeHost host({});
  begin(host.port());
  ASSERT_TRUE(asked(1));
  attempt_->enter("111111");
  ASSERT_TRUE(asked(2));
  attempt_->enter("012345");
  ASSERT_TRUE(ended());
  EXPECT_TRUE(paired_);
  EXPECT_THAT(questions_, ElementsAre("Fake host", "again"));
}

TEST_F(Pairing, threeWrongPINsEndIt) {
  FakeHost host({});
  begin(host.port());
  for (std::size_t attempt = 1; attempt <= 3; ++attempt) {
    ASSERT_TRUE(asked(attempt));
    attempt_->enter("111111");
  }
  ASSERT_TRUE(ended());
  ASSERT_TRUE(error_);
  EXPECT_EQ(error_->code, ExitCode::refused);
  EXPECT_EQ(error_->what, "wrong PIN");
  EXPECT_TRUE(book_.load()->hosts.empty());
}

TEST_F(Pairing, aLockOutSaysWhen) {
  FakeHost host({.lockOut = WireError{"auth.lockout", "too many failed PIN attempts; try again later"}});
  begin(host.port());
  ASSERT_TRUE(asked(1));
  attempt_->enter("012345");
  ASSERT_TRUE(ended());
  ASSERT_TRUE(error_);
  EXPECT_EQ(error_->code, ExitCode::refused);
  EXPECT_THAT(error_->advice, HasSubstr("Wait a few minutes"));
}

TEST_F(Pairing, aHostThatGoesWhileAPersonTypesIsNoticed) {
  FakeHost host({});
  begin(host.port());
  ASSERT_TRUE(asked(1));
  host.disconnectAll();
  ASSERT_TRUE(ended());
  ASSERT_TRUE(error_);
  EXPECT_THAT(error_->what, HasSubstr("closed the connection"));
}

TEST_F(Pairing, anAbsentHostIsUnreachable) {
  const auto port = FakeHost({}).port();
  begin(port);
  ASSERT_TRUE(ended());
  ASSERT_TRUE(error_);
  EXPECT_EQ(error_->code, ExitCode::unreachable);
}

TEST_F(Pairing, anotherProtocolVersionIsNamed) {
  FakeHost host({.protocolVersion = 9});
  begin(host.port());
  ASSERT_TRUE(ended());
  ASSERT_TRUE(error_);
  EXPECT_EQ(error_->code, ExitCode::refused);
  EXPECT_THAT(error_->advice, HasSubstr("update the older"));
}

TEST_F(Pairing, isCancelledAtOnce) {
  FakeHost silent({.isSilent = true});
  begin(silent.port());
  ASSERT_TRUE(silent.waitUntil([](const FakeHost& host) { return host.connections() == 1; }));
  const auto before = client::Clock::now();
  attempt_.reset();
  EXPECT_LT(client::Clock::now() - before, std::chrono::seconds(2)) << "far less than the time for an answer";
  EXPECT_FALSE(paired_);
  EXPECT_FALSE(error_) << "the person knows";
}

TEST_F(Pairing, worksWithTheRealHost) {
  const auto port = quorl::test::freePort();
  quorl::test::HostProcess host({.port = port, .home = folder_.path(), .options = {"--pin", "123456"}});
  ASSERT_TRUE(host.listens()) << host.program().output();
  begin(port);
  ASSERT_TRUE(asked(1));
  attempt_->enter("654321");
  ASSERT_TRUE(asked(2));
  attempt_->enter("123456");
  ASSERT_TRUE(ended());
  ASSERT_TRUE(paired_) << error_->what << host.program().output();
  EXPECT_EQ(paired_->port, port);
  EXPECT_EQ(paired_->token.size(), 32U);
}

}  // namespace
}  // namespace quorl::viewer
