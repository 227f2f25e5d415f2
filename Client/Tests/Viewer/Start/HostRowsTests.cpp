// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/HostRows.h>

#include <sys/stat.h>

#include <Support/TemporaryFolder.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quorl-viewer/Start/LastUsed.h>

namespace quorl::viewer {
namespace {

using client::DiscoveredHost;
using client::PairedHost;
using testing::ElementsAre;

PairedHost paired(const std::string& name, const std::string& address) {
  return {name, address, 47900, UUID::random(), Bytes(32)};
}

std::vector<std::string> titles(const std::vector<HostRow>& rows) {
  std::vector<std::string> result;
  for (const auto& row : rows) result.push_back(row.title);
  return result;
}

TEST(HostRows, theLastUsedHostComesFirst) {
  const client::HostBookContents book{UUID::random(), {paired("A", "a"), paired("B", "b"), paired("C", "c")}};
  EXPECT_THAT(titles(hostRows(book, {}, std::nullopt)), ElementsAre("A", "B", "C"));
  EXPECT_THAT(titles(hostRows(book, {book.hosts[2].deviceID, book.hosts[1].deviceID}, std::nullopt)),
              ElementsAre("C", "B", "A"));
}

TEST(HostRows, aPairedHostThatIsNotSeenStaysAndIsMarked) {
  const client::HostBookContents book{
      UUID::random(), {paired("Desk", "desk.local"), paired("Attic", "10.0.0.9"), paired("S", "ssh://s")}};
  const auto unknown = hostRows(book, {}, std::nullopt);
  for (const auto& row : unknown) EXPECT_EQ(row.presence, HostRow::Presence::unknown);
  const auto rows = hostRows(book, {}, std::vector<DiscoveredHost>{{"x", "Desk.local.", "10.0.0.2", 47900}});
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].presence, HostRow::Presence::here);
  EXPECT_EQ(rows[1].presence, HostRow::Presence::notSeen);
  EXPECT_EQ(rows[2].presence, HostRow::Presence::unknown) << "nobody announces an address of ssh";
}

TEST(HostRows, discoveredHostsFollowOnceEach) {
  const client::HostBookContents book{UUID::random(), {paired("Desk", "desk.local")}};
  const auto rows = hostRows(book, {},
                             std::vector<DiscoveredHost>{{"Sofa", "sofa.local", "10.0.0.3", 47900},
                                                         {"Sofa", "sofa.local", "fe80::3", 47900},
                                                         {"attic", "attic.local", "10.0.0.4", 47905},
                                                         {"Desk", "desk.local", "10.0.0.2", 47900}});
  EXPECT_THAT(titles(rows), ElementsAre("Desk", "attic", "Sofa"));
  EXPECT_FALSE(rows[1].deviceID);
  EXPECT_EQ(rows[1].detail, "attic.local:47905");
}

TEST(HostRows, aHostileNameIsPrintable) {
  const auto rows =
      hostRows({}, {}, std::vector<DiscoveredHost>{{"<b>x</b>\x1b[2J\n", "h.local", "10.0.0.3", 47900}});
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].title, "<b>x</b>\\x1b[2J\\x0a");
}

TEST(LastUsedHosts, theNewestComesFirstAndOnce) {
  const quorl::test::TemporaryFolder folder;
  const LastUsed hosts(folder.path());
  EXPECT_TRUE(hosts.load().empty());
  const auto a = UUID::random();
  const auto b = UUID::random();
  for (const auto& host : {a, b, a}) hosts.note(host);
  EXPECT_THAT(hosts.load(), ElementsAre(a, b));
  struct stat status{};
  ASSERT_EQ(::stat((folder.path() / "viewer" / "last-used").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

}  // namespace
}  // namespace quorl::viewer
