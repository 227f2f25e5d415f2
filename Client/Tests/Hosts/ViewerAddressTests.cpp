// SPDX-License-Identifier: GPL-3.0-or-later
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <quorl-client/Hosts/ViewerAddress.h>

namespace quorl::client {
namespace {

TEST(ViewerAddress, readsHostsPortsAndTargets) {
  EXPECT_EQ(ViewerAddress::parse("quorl://desk"), (ViewerAddress{"desk", 47900, viewTarget::MainDisplay{}}));
  EXPECT_EQ(ViewerAddress::parse("QUORL://desk.lan:50000/"),
            (ViewerAddress{"desk.lan", 50000, viewTarget::MainDisplay{}}));
  EXPECT_EQ(ViewerAddress::parse("quorl://[fe80::1%eth0]:1/display/2"),
            (ViewerAddress{"fe80::1%eth0", 1, viewTarget::Display{2}}));
  EXPECT_EQ(ViewerAddress::parse("quorl://10.0.0.2/window/a%2Fb%20%C3%A9"),
            (ViewerAddress{"10.0.0.2", 47900, viewTarget::Window{"a/b é"}}));
  EXPECT_EQ(ViewerAddress::parse("quorl://desk/app/org.example.editor"),
            (ViewerAddress{"desk", 47900, viewTarget::App{"org.example.editor"}}));
}

TEST(ViewerAddress, writesWhatItReads) {
  for (const auto* text :
       {"quorl://desk", "quorl://desk:1", "quorl://[::1]:50000", "quorl://[::1]", "quorl://desk/display/7",
        "quorl://desk/window/50%25%20%3Cb%3E", "quorl://desk/app/a.b"}) {
    const auto address = ViewerAddress::parse(text);
    ASSERT_TRUE(address) << text;
    EXPECT_EQ(address->text(), text);
  }
}

TEST(ViewerAddress, refusesEverythingElse) {
  for (const auto* text : {"",
                           "quorl",
                           "quorl:",
                           "quorl:/desk",
                           "quorl://",
                           "quorl:///",
                           "http://desk",
                           "quorl://desk:0",
                           "quorl://desk:65536",
                           "quorl://desk:",
                           "quorl://desk:1:2",
                           "quorl://desk:+1",
                           "quorl://user@desk",
                           "quorl://-oProxyCommand=x",
                           "quorl://desk;reboot",
                           "quorl://desk%20x",
                           "quorl://desk/..",
                           "quorl://desk/../etc/passwd",
                           "quorl://desk/file/x",
                           "quorl://desk/display/",
                           "quorl://desk/display/-1",
                           "quorl://desk/display/1/2",
                           "quorl://desk/display/99999999999",
                           "quorl://desk/window/",
                           "quorl://desk/window/a/b",
                           "quorl://desk/window/%00",
                           "quorl://desk/window/%1B%5Bm",
                           "quorl://desk/window/%zz",
                           "quorl://desk/window/%4",
                           "quorl://desk/window/%FF",
                           "quorl://desk/window/%C2%9B",
                           "quorl://desk/window/%E2%80%AE",
                           "quorl://desk/window/a?b",
                           "quorl://desk/window/a#b",
                           "quorl://desk/app/%2Fbin%2Fsh",
                           "quorl://desk/app/..",
                           "quorl://desk/app/-x",
                           "quorl://[::1",
                           "quorl://[desk]",
                           "quorl://[]",
                           "quorl://[::1]x",
                           "quorl://::1"})
    EXPECT_FALSE(ViewerAddress::parse(text)) << text;
  EXPECT_FALSE(ViewerAddress::parse("quorl://desk/window/" + std::string(5'000, 'a')));
  EXPECT_FALSE(ViewerAddress::parse("quorl://" + std::string(300, 'a')));
  EXPECT_FALSE(ViewerAddress::parse(std::string("quorl://desk\0", 13)));
}

TEST(ViewerAddress, isTheSameAfterWritingAndReadingWhateverCameIn) {
  constexpr std::string_view pieces[] = {"quorl://", "desk", "[::1]", ":1",   "/",  "display",
                                         "window",   "app",  "%41",   "%2F",  "..", "-",
                                         "@",        "%",    "é",     "\x80", "7",  "%C3%A9"};
  std::mt19937 random(3);
  int read = 0;
  for (int round = 0; round < 100'000; ++round) {
    std::string text = random() % 8 != 0 ? "quorl://desk/" : "";
    for (auto count = random() % 6; count > 0; --count) text += pieces[random() % std::size(pieces)];
    const auto address = ViewerAddress::parse(text);
    if (!address) continue;
    ++read;
    ASSERT_EQ(ViewerAddress::parse(address->text()), address) << text;
  }
  EXPECT_GT(read, 1'000);
}

TEST(ViewTarget, isReadWithoutAHostToo) {
  EXPECT_EQ(parseTarget(""), ViewTarget(viewTarget::MainDisplay{}));
  EXPECT_EQ(parseTarget("display"), ViewTarget(viewTarget::MainDisplay{}));
  EXPECT_EQ(parseTarget("display/0"), ViewTarget(viewTarget::Display{0}));
  EXPECT_EQ(parseTarget("app/x"), ViewTarget(viewTarget::App{"x"}));
  EXPECT_EQ(parseTarget("window"), std::nullopt);
  EXPECT_EQ(textOf(ViewTarget(viewTarget::Window{"a b"})), "window/a%20b");
}

}  // namespace
}  // namespace quorl::client
