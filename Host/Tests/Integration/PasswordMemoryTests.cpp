// SPDX-License-Identifier: GPL-3.0-or-later
// The memory of the real program after it has handled passwords: it holds none of them.
#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <QuorlUnix/Descriptor.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

namespace quorl::test {
namespace {

/// The places of a text in the writable memory of a process. Absent if the memory may not be read.
std::optional<std::vector<std::string>> placesOf(const std::string& text, pid_t process) {
  const auto folder = "/proc/" + std::to_string(process);
  const Descriptor memory(::open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC));
  if (!memory.isOpen()) return std::nullopt;
  std::vector<std::string> places;
  std::ifstream maps(folder + "/maps");
  std::string content;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t first = 0;
    std::uintptr_t end = 0;
    char dash = 0;
    std::string rights;
    std::istringstream(line) >> std::hex >> first >> dash >> end >> rights;
    if (!rights.starts_with("rw")) continue;
    content.resize(end - first);
    const auto count = ::pread(memory.get(), content.data(), content.size(), static_cast<off_t>(first));
    if (count <= 0) continue;
    content.resize(static_cast<std::size_t>(count));
    if (content.find(text) != std::string::npos) places.push_back(line);
  }
  return places;
}

class PasswordMemoryTest : public testing::Test {
 protected:
  XServer display;
  TemporaryFolder home;
  const std::uint16_t port = freePort();
  HostProcess host{{.port = port,
                    .home = home.path(),
                    .options = {"--pin", "314159"},
                    .environment = {"DISPLAY=" + display.display()}}};
};

TEST_F(PasswordMemoryTest, holdsNoPasswordAfterItsUse) {
  ASSERT_TRUE(host.listens()) << host.program().output();
  RawClient client(port);
  ASSERT_TRUE(client.pair("314159"));
  // The quotation mark is an escape in JSON, so that the text is decoded to another place. The length keeps
  // later messages from overwriting the marks.
  const std::string verified = "\"" + std::string(400, 'v') + "Zx7kQ2";
  const std::string typed = "\"" + std::string(300, 't') + "Mw4rT9";
  const std::string unused = "\"" + std::string(60'000, 'u') + "Hb3nY6";
  client.send(message::SwitchUser{{4242, SecretText(unused)}});
  const auto switched = client.next<message::UserSwitchResult>();
  ASSERT_TRUE(switched);
  EXPECT_EQ(switched->_0.status, UserSwitchStatus::unavailable);
  client.send(message::VerifyCredentials{{"root", SecretText(verified)}});
  const auto checked = client.next<message::CredentialResult>();
  ASSERT_TRUE(checked);
  EXPECT_FALSE(checked->_0.valid);
  client.send(message::UnlockSession{SecretText(typed)});
  const auto unlocked = client.next<message::UserSwitchResult>();
  ASSERT_TRUE(unlocked);
  EXPECT_EQ(unlocked->_0.status, UserSwitchStatus::unlockAttempted);
  // Text is typed in order, so this password is typed once the next text is.
  EXPECT_TRUE(client.echoes());
  const auto known = placesOf("314159", host.program().pid());
  if (!known) GTEST_SKIP() << "the memory of another process may not be read here";
  EXPECT_FALSE(known->empty()) << "the search finds what is there";
  for (const auto* part : {"Hb3nY6", "Zx7kQ2", "Mw4rT9"})
    EXPECT_TRUE(
        eventually([&] { return placesOf(part, host.program().pid())->empty(); }, std::chrono::seconds(30)))
        << part << " in " << placesOf(part, host.program().pid())->front();
  EXPECT_EQ(host.program().output().find("Zx7kQ2"), std::string::npos);
}

TEST_F(PasswordMemoryTest, holdsNoPartOfAPasswordThatArrivesInTwoPieces) {
  ASSERT_TRUE(host.listens()) << host.program().output();
  RawClient client(port);
  ASSERT_TRUE(client.pair("314159"));
  const std::string password = std::string(3'000, 'p') + "Kd5wL8" + std::string(40, 'q');
  const auto message = ControlCoder::encode(message::SwitchUser{{4242, SecretText(password)}});
  ASSERT_TRUE(message);
  const Bytes frame = Frame{FrameType::control, *message}.encoded();
  Bytes first = Frame{FrameType::ping, bytesOf("first")}.encoded();
  const std::size_t beyondTheMark = frame.size() - 30;
  first.insert(first.end(), frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(beyondTheMark));
  ASSERT_TRUE(client.peer().write(first));
  ASSERT_TRUE(client.nextFrame(FrameType::pong)) << "the first piece is read";
  ASSERT_TRUE(client.peer().write(ByteView(frame).subspan(beyondTheMark)));
  const auto switched = client.next<message::UserSwitchResult>();
  ASSERT_TRUE(switched);
  EXPECT_EQ(switched->_0.status, UserSwitchStatus::unavailable);
  if (!placesOf("314159", host.program().pid()))
    GTEST_SKIP() << "the memory of another process may not be read here";
  EXPECT_TRUE(eventually([&] { return placesOf("Kd5wL8", host.program().pid())->empty(); },
                         std::chrono::seconds(10)));
}

}  // namespace
}  // namespace quorl::test
