// SPDX-License-Identifier: GPL-3.0-or-later
#include <set>

#include <gtest/gtest.h>

#include <QuorlHostCore/Files/EntryOrder.h>
#include <QuorlHostCore/Files/FileNames.h>

namespace quorl::test {
namespace {

std::string deduped(const std::string& offered, const std::set<std::string>& taken) {
  const auto name = dedupedName(
      offered, [&](const std::string& candidate) { return taken.contains(candidate); },
      [] { return UUID{{0xAB}}; });
  return name ? *name : "failed: " + name.error().description;
}

TEST(FileName, isSplitAtItsLastDot) {
  EXPECT_EQ(partsOf("a.tar.gz"), (NameParts{"a.tar", "gz"}));
  EXPECT_EQ(partsOf("notes"), (NameParts{"notes", ""}));
  EXPECT_EQ(partsOf(".profile"), (NameParts{".profile", ""}));
  EXPECT_EQ(partsOf("end."), (NameParts{"end.", ""}));
  EXPECT_EQ(partsOf(".."), (NameParts{"..", ""}));
  EXPECT_EQ(partsOf(""), (NameParts{"", ""}));
}

TEST(FileName, isUsedAsItIsWhenItIsFree) {
  EXPECT_EQ(deduped("report.pdf", {}), "report.pdf");
  EXPECT_EQ(deduped(" spaces and \xC3\xA4 ", {}), " spaces and \xC3\xA4 ");
}

TEST(FileName, hasUnderscoresForSlashes) {
  EXPECT_EQ(deduped("a/b.txt", {}), "a_b.txt");
  EXPECT_EQ(deduped("../../.bashrc", {}), ".._.._.bashrc");
  EXPECT_EQ(deduped("/", {}), "_");
}

TEST(FileName, getsANumberBeforeItsExtensionWhenItIsTaken) {
  EXPECT_EQ(deduped("report.pdf", {"report.pdf"}), "report 2.pdf");
  EXPECT_EQ(deduped("report.pdf", {"report.pdf", "report 2.pdf"}), "report 3.pdf");
  EXPECT_EQ(deduped("a.tar.gz", {"a.tar.gz"}), "a.tar 2.gz");
  EXPECT_EQ(deduped("notes", {"notes"}), "notes 2");
}

TEST(FileName, ofParentFolderBecomesAnOrdinaryName) {
  EXPECT_EQ(deduped("..", {".", ".."}), ".. 2");
  EXPECT_EQ(deduped("", {""}), " 2");
}

TEST(FileName, getsAUUIDWhenEveryNumberIsTaken) {
  int tries = 0;
  const auto name = dedupedName(
      "a.b.c",
      [&](const std::string& candidate) {
        ++tries;
        EXPECT_TRUE(candidate == "a.b.c" || candidate == "a.b " + std::to_string(tries) + ".c");
        return true;
      },
      [] { return UUID{{0xAB}}; });
  EXPECT_EQ(name, "a.b-AB000000-0000-0000-0000-000000000000.c");
  EXPECT_EQ(tries, 99'999);
}

TEST(FileName, failsWhenTheFolderCannotHaveIt) {
  const auto name = dedupedName(
      "x",
      [](const std::string&) -> std::expected<bool, PortError> {
        return std::unexpected(PortError{"File name too long"});
      },
      [] { return UUID{}; });
  ASSERT_FALSE(name);
  EXPECT_EQ(name.error().description, "File name too long");
}

TEST(StandardisedPath, hasNoDotsAndNoExtraSlashes) {
  EXPECT_EQ(standardisedPath("/home/anna/../anna/./a//b/"), "/home/anna/a/b");
  EXPECT_EQ(standardisedPath("/.."), "/");
  EXPECT_EQ(standardisedPath(""), "/");
  EXPECT_EQ(standardisedPath("a/b"), "/a/b");
}

TEST(ParentPath, dropsTheLastComponent) {
  EXPECT_EQ(parentPath("/home/anna"), "/home");
  EXPECT_EQ(parentPath("/home"), "/");
  EXPECT_EQ(parentPath("/"), "/");
}

TEST(PathWithinARoot, beginsWithTheRootAndASlash) {
  EXPECT_TRUE(isWithin("/home/anna", "/home/anna"));
  EXPECT_TRUE(isWithin("/home/anna/x", "/home/anna"));
  EXPECT_FALSE(isWithin("/home/annabel", "/home/anna"));
  EXPECT_FALSE(isWithin("/home", "/home/anna"));
  EXPECT_FALSE(isWithin("", "/home/anna"));
}

RemoteFileEntry entry(const std::string& name, bool isDirectory = false) {
  return {.name = name,
          .path = "/" + name,
          .isDirectory = isDirectory,
          .byteCount = 0,
          .modified = {},
          .kind = {}};
}

std::vector<std::string> sorted(const std::vector<std::string>& names, const char* locale) {
  std::vector<RemoteFileEntry> entries;
  for (const std::string& name : names) entries.push_back(entry(name));
  sortEntries(entries, locale);
  std::vector<std::string> result;
  for (const RemoteFileEntry& sortedEntry : entries) result.push_back(sortedEntry.name);
  return result;
}

TEST(EntryOrder, putsFoldersBeforeFiles) {
  std::vector<RemoteFileEntry> entries{entry("a"), entry("z", true), entry("b"), entry("y", true)};
  sortEntries(entries, "en_US");
  EXPECT_EQ(entries[0].name, "y");
  EXPECT_EQ(entries[1].name, "z");
  EXPECT_EQ(entries[2].name, "a");
  EXPECT_EQ(entries[3].name, "b");
}

TEST(EntryOrder, ignoresCaseAndKeepsEqualNamesInOrder) {
  EXPECT_EQ(sorted({"b", "B", "a", "A"}, "en_US"), (std::vector<std::string>{"a", "A", "b", "B"}));
  EXPECT_EQ(sorted({"B", "b", "A", "a"}, "en_US"), (std::vector<std::string>{"A", "a", "B", "b"}));
}

TEST(EntryOrder, followsTheLanguage) {
  EXPECT_EQ(sorted({"z", "\xC3\xA4", "a"}, "de_DE"), (std::vector<std::string>{"a", "\xC3\xA4", "z"}));
  EXPECT_EQ(sorted({"z", "\xC3\xA4", "a"}, "sv_SE"), (std::vector<std::string>{"a", "z", "\xC3\xA4"}));
}

TEST(EntryOrder, acceptsNamesThatAreNotUTF8) {
  EXPECT_EQ(sorted({"b", "\xFF\xFE", "a"}, "en_US").size(), 3U);
}

}  // namespace
}  // namespace quorl::test
