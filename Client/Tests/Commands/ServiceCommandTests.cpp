// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"
#include "../Support/SampleState.h"

namespace quorl::client {
namespace {

using test::FakeHost;
using test::sampleNetwork;
using testing::HasSubstr;
using testing::Not;

class ServiceCommandTest : public testing::Test {
 protected:
  static test::HostBehaviour behaviour() {
    return {.networkStatus = sampleNetwork(),
            .services = {{3000, "node", 42, "Wiki\x1b[2J", true}, {8080, "mine", 0, std::nullopt, false}}};
  }
  // Runs the command until it has taken all pushes, and interrupts it then.
  test::CommandResult follow(const std::vector<std::string>& words) {
    test::HostBehaviour pushing = behaviour();
    pushing.pushes = {
        *OutgoingFrame::control(ControlMessage(message::NetworkStatus{sampleNetwork()})),
        *OutgoingFrame::control(ControlMessage(message::ServiceList{{{9000, "later", 7, "New", true}}})),
        OutgoingFrame::raw(FrameType::ping, shareBytes(bytesOf("end")))};
    FakeHost host(std::move(pushing));
    run_.addHost(host.pairedHost());
    const Descriptor interruption(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    run_.interruptDescriptor = interruption.get();
    test::CommandResult result;
    std::thread person([&] { result = run_(words); });
    EXPECT_TRUE(host.waitUntil([](const FakeHost& seen) { return !seen.pongs().empty(); }));
    const std::uint64_t one = 1;
    EXPECT_EQ(::write(interruption.get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
    person.join();
    return result;
  }

  test::CommandRun run_;
};

TEST_F(ServiceCommandTest, listsTheWebServices) {
  FakeHost host(behaviour());
  run_.addHost(host.pairedHost());
  const auto result = run_({"services"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_EQ(result.out,
            "  PORT  PID  PROCESS  REACH      TITLE\n"
            "  3000   42  node     host only  Wiki\\x1b[2J\n"
            "  8080    -  mine     network    \n");
  EXPECT_EQ(host.messagesOf<message::RequestServiceList>().size(), 1U);
}

TEST_F(ServiceCommandTest, listsTheWebServicesAsJSON) {
  FakeHost host(behaviour());
  run_.addHost(host.pairedHost());
  EXPECT_THAT(run_({"services", "--json"}).out,
              HasSubstr(R"([{"port":3000,"processName":"node","pid":42,"title":"Wiki)"));
}

TEST_F(ServiceCommandTest, saysThatThereAreNoWebServices) {
  FakeHost host({});
  run_.addHost(host.pairedHost());
  const auto result = run_({"services"});
  EXPECT_EQ(result.code, ExitCode::ok);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.notes, HasSubstr("No web services."));
}

TEST_F(ServiceCommandTest, followsTheWebServices) {
  const auto result = follow({"services", "--follow"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_LT(result.out.find("3000"), result.out.find("9000"));
  EXPECT_NE(result.out.find("9000"), std::string::npos);
  EXPECT_THAT(result.out, Not(HasSubstr("tailscale")));
}

TEST_F(ServiceCommandTest, showsTheNetwork) {
  NetworkStatus status = sampleNetwork();
  status.guidance = "Open Tailscale and sign in";
  status.actionURL = URL{"https://example.org/download"};
  FakeHost host({.networkStatus = status});
  run_.addHost(host.pairedHost());
  const auto result = run_({"network"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  for (const char* part : {"tailscale (online)", "100.64.0.1", "relay port 47901",
                           "Open Tailscale and sign in", "https://example.org/download"})
    EXPECT_THAT(result.out, HasSubstr(part));
  EXPECT_THAT(run_({"network", "--json"}).out, HasSubstr(R"({"overlay":"tailscale","health":"online")"));
}

TEST_F(ServiceCommandTest, followsTheNetwork) {
  const auto result = follow({"network", "--follow"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_THAT(result.out, HasSubstr("tailscale (online)"));
  EXPECT_THAT(result.out, Not(HasSubstr("9000")));
}

TEST_F(ServiceCommandTest, timesOutWithoutAnAnswer) {
  FakeHost host({});
  run_.addHost(host.pairedHost());
  EXPECT_EQ(run_({"network", "--timeout", "0.2"}).code, ExitCode::timedOut);
  EXPECT_EQ(run_({"open", "3000", "--timeout", "0.2"}).code, ExitCode::timedOut);
}

TEST_F(ServiceCommandTest, printsTheURLOfAServiceWithTheToken) {
  FakeHost host(behaviour());
  PairedHost paired = host.pairedHost();
  run_.addHost(paired);
  const auto result = run_({"open", "3000", "/a b"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_THAT(result.out,
              testing::StartsWith("http://" + paired.address + ":47901/p/3000/a%20b?quorl_token="));
  EXPECT_THAT(result.out, Not(testing::EndsWith("=\n")));
  EXPECT_THAT(result.notes, HasSubstr("The URL carries this client's token"));
  EXPECT_THAT(run_({"open", "8080"}).out, HasSubstr("/p/8080/?quorl_token="));
}

TEST_F(ServiceCommandTest, printsNoURLOfAPortWithoutAService) {
  FakeHost host(behaviour());
  run_.addHost(host.pairedHost());
  const auto result = run_({"open", "3001"});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.notes, HasSubstr("the host has found no web service on port 3001"));
}

TEST_F(ServiceCommandTest, refusesWhatIsNoPort) {
  for (const char* word : {"0", "65536", "http", "3000x", ""})
    EXPECT_EQ(run_({"open", word}).code, ExitCode::usage) << word;
  EXPECT_EQ(run_({"open"}).code, ExitCode::usage);
}

/// With a script in place of xdg-open.
class BrowserTest : public ServiceCommandTest {
 protected:
  BrowserTest() : path_(::getenv("PATH")) {
    ::setenv("PATH", (run_.folder().file("bin") + ":" + path_).c_str(), 1);
  }
  ~BrowserTest() override { ::setenv("PATH", path_.c_str(), 1); }

  void setBrowser(const std::string& script) {
    const auto program = run_.folder().write("bin/xdg-open", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  }
  std::string textOf(const std::string& file) {
    std::ifstream stream(run_.folder().file(file));
    return std::string(std::istreambuf_iterator<char>(stream), {});
  }

  const std::string path_;
};

TEST_F(BrowserTest, getsTheURL) {
  setBrowser("printf %s \"$1\" > " + run_.folder().file("opened"));
  FakeHost host(behaviour());
  run_.addHost(host.pairedHost());
  const auto printed = run_({"open", "3000"});
  const auto result = run_({"open", "3000", "--browser"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_EQ(result.out, "") << "the token is not printed";
  EXPECT_EQ(textOf("opened") + "\n", printed.out);

  setBrowser("exit 3");
  EXPECT_EQ(run_({"open", "3000", "--browser"}).code, ExitCode::failure);
  ASSERT_EQ(::setenv("PATH", run_.folder().file("empty").c_str(), 1), 0);
  EXPECT_EQ(run_({"open", "3000", "--browser"}).code, ExitCode::failure);
}

// The client itself ignores them.
TEST_F(BrowserTest, doesNotIgnoreBrokenPipes) {
  setBrowser("sed -n 's/^SigIgn:.//p' /proc/self/status > " + run_.folder().file("ignored"));
  FakeHost host(behaviour());
  run_.addHost(host.pairedHost());
  const auto before = std::signal(SIGPIPE, SIG_IGN);
  const auto result = run_({"open", "3000", "--browser"});
  std::signal(SIGPIPE, before);
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  const std::string ignored = textOf("ignored");
  ASSERT_FALSE(ignored.empty());
  EXPECT_EQ(std::stoull(ignored, nullptr, 16) >> (SIGPIPE - 1) & 1, 0U) << ignored;
}

// On some desktops xdg-open runs until the browser ends.
TEST_F(BrowserTest, staysOpenWhenTheCommandIsInterrupted) {
  const auto fifo = run_.folder().file("started");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  setBrowser("echo $$ > " + fifo + "\nexec sleep 100");
  FakeHost host(behaviour());
  run_.addHost(host.pairedHost());
  const Descriptor interruption(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  run_.interruptDescriptor = interruption.get();
  test::CommandResult result;
  std::thread command([&] { result = run_({"open", "3000", "--browser"}); });
  pid_t browser = 0;
  std::ifstream(fifo) >> browser;
  const std::uint64_t one = 1;
  EXPECT_EQ(::write(interruption.get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  command.join();
  EXPECT_EQ(result.code, ExitCode::interrupted) << result.notes;
  ASSERT_GT(browser, 0);
  EXPECT_EQ(::kill(browser, SIGKILL), 0) << "it should still run";
}

}  // namespace
}  // namespace quorl::client
