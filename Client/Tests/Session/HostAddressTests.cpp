// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Base/Printable.h>
#include <quorl-client/Session/HostAddress.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

TEST(HostAddress, readsEveryFormOfAnAddress) {
  const std::vector<std::pair<std::string, HostAddress>> table{
      {"desk.local", {"desk.local", 47900}},
      {"desk.local:1", {"desk.local", 1}},
      {"10.0.0.2:65535", {"10.0.0.2", 65535}},
      {"::1", {"::1", 47900}},
      {"fe80::1%eth0", {"fe80::1%eth0", 47900}},
      {"[::1]", {"::1", 47900}},
      {"[fe80::1%eth0]:47905", {"fe80::1%eth0", 47905}},
  };
  for (const auto& [text, expected] : table) EXPECT_EQ(HostAddress::parse(text), expected) << text;
}

TEST(HostAddress, rejectsOtherText) {
  for (const auto* text : {"", ":47900", "desk:", "desk:0", "desk:65536", "desk:x", "desk:1x", "[::1", "[]",
                           "[]:1", "[::1]x", "[::1]:", "a b", "a/b", "desk:+1", "desk\n"})
    EXPECT_EQ(HostAddress::parse(text), std::nullopt) << text;
}

TEST(HostAddress, writesWhatItReads) {
  for (const HostAddress& address :
       {HostAddress{"desk", 47900}, HostAddress{"desk", 1}, HostAddress{"::1", 47900},
        HostAddress{"::1", 47905}, HostAddress{"10.0.0.2", 80}})
    EXPECT_EQ(HostAddress::parse(address.text()), address) << address.text();
  EXPECT_EQ((HostAddress{"::1", 80}.text()), "[::1]:80");
}

TEST(Printable, leavesOrdinaryTextAlone) {
  EXPECT_EQ(printable("Küche – 日本 🙂"), "Küche – 日本 🙂");
}

TEST(Printable, escapesWhatCouldControlATerminal) {
  EXPECT_EQ(printable("a\x1b[2Jb\n"), "a\\x1b[2Jb\\x0a");
  EXPECT_EQ(printable("\x7f"), "\\x7f");
  EXPECT_EQ(printable("\xc2\x9b"), "\\x9b");
  EXPECT_EQ(printable("\xe2\x80\xae"), "\\u202e");
  EXPECT_EQ(printable("\xff\xfe"), "\\xff\\xfe");
}

}  // namespace
}  // namespace quorl::client
