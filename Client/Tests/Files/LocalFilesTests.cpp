// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>
#include <quorl-client/Files/BackgroundDigest.h>
#include <quorl-client/Files/LocalFiles.h>

namespace quorl::client {
namespace {

using Existing = LocalTarget::Existing;
using quorl::test::TemporaryFolder;

std::string textOfFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::size_t entriesIn(const std::filesystem::path& folder) {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

TEST(LocalSource, readsAFileInPieces) {
  const TemporaryFolder folder;
  auto source = LocalSource::open(folder.write("a", "hello"));
  ASSERT_TRUE(source);
  EXPECT_EQ(source->size(), 5U);
  Bytes piece;
  for (const std::string text : {"hel", "lo", ""}) {
    ASSERT_TRUE(source->read(piece, 3));
    EXPECT_EQ(textOf(piece), text);
  }
}

TEST(LocalSource, refusesFoldersPipesAndMissingFiles) {
  const TemporaryFolder folder;
  EXPECT_EQ(LocalSource::open(folder.path()).error().code, ExitCode::usage);
  EXPECT_EQ(LocalSource::open(folder / "missing").error().code, ExitCode::usage);
  ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
  EXPECT_EQ(LocalSource::open(folder / "pipe").error().code, ExitCode::usage);
}

TEST(LocalTarget, appearsWhenItIsKept) {
  const TemporaryFolder folder;
  auto target = LocalTarget::create(folder / "a", Existing::keep);
  ASSERT_TRUE(target);
  ASSERT_TRUE(target->write(0, viewOf("hello")));
  EXPECT_FALSE(std::filesystem::exists(folder / "a"));
  ASSERT_TRUE(target->keep());
  EXPECT_EQ(textOfFile(folder / "a"), "hello");
  EXPECT_EQ(entriesIn(folder.path()), 1U);
}

TEST(LocalTarget, leavesNothingIfItIsNotKept) {
  const TemporaryFolder folder;
  {
    auto target = LocalTarget::create(folder / "a", Existing::keep);
    ASSERT_TRUE(target);
    auto moved = std::move(*target);
    ASSERT_TRUE(moved.write(0, viewOf("hello")));
    EXPECT_EQ(entriesIn(folder.path()), 1U);
  }
  EXPECT_EQ(entriesIn(folder.path()), 0U);
}

TEST(LocalTarget, neverOverwritesUnlessAsked) {
  const TemporaryFolder folder;
  folder.write("a", "old");
  EXPECT_FALSE(LocalTarget::create(folder / "a", Existing::keep));
  auto target = LocalTarget::create(folder / "b", Existing::keep);
  ASSERT_TRUE(target);
  folder.write("b", "of another program");
  EXPECT_FALSE(target->keep());
  EXPECT_EQ(textOfFile(folder / "b"), "of another program");
  auto replacing = LocalTarget::create(folder / "a", Existing::replace);
  ASSERT_TRUE(replacing);
  ASSERT_TRUE(replacing->write(0, viewOf("new")));
  ASSERT_TRUE(replacing->keep());
  EXPECT_EQ(textOfFile(folder / "a"), "new");
}

TEST(LocalTarget, takesANameOf255Bytes) {
  const TemporaryFolder folder;
  const std::string name(255, 'n');
  auto target = LocalTarget::create(folder / name, Existing::keep);
  ASSERT_TRUE(target);
  EXPECT_TRUE(target->keep());
  EXPECT_TRUE(std::filesystem::exists(folder / name));
}

TEST(LocalName, isAPlainNameInTheFolder) {
  EXPECT_EQ(localName("a.txt"), "a.txt");
  EXPECT_EQ(localName("../../etc/passwd"), ".._.._etc_passwd");
  for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a\0b", 3)})
    EXPECT_FALSE(localName(name)) << name;
}

TEST(BackgroundDigest, isThatOfAllPiecesInOrder) {
  std::mt19937 random(1);
  Bytes all;
  BackgroundDigest digest;
  for (int piece = 0; piece < 200; ++piece) {
    Bytes bytes(random() % 100'000);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    all.insert(all.end(), bytes.begin(), bytes.end());
    digest.add(shareBytes(std::move(bytes)));
  }
  EXPECT_EQ(digest.finish(), sha256(all));
}

TEST(BackgroundDigest, ofNothingIsThatOfEmptyData) {
  BackgroundDigest digest;
  EXPECT_EQ(digest.finish(), sha256({}));
}

TEST(BackgroundDigest, mayBeDroppedUnfinished) {
  BackgroundDigest digest;
  for (int piece = 0; piece < 10; ++piece) digest.add(shareBytes(Bytes(1 << 20)));
}

}  // namespace
}  // namespace quorl::client
