// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>

#include <gtest/gtest.h>

#include <string>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlKit/Protocol/RecordCoding.h>
#include <Support/FakeFileStore.h>

namespace quorl {
namespace {

constexpr const char* path = "/data/QuorlHost/agent-catalog.json";

AgentCatalogEntry entryNamed(const std::string& name, std::uint8_t number) {
  return {.id = UUID{{number}}, .name = name, .command = name, .workingDirectory = "/", .env = {{"A", "1"}}};
}

UUID ofTheHost(int number) {
  return *UUID::parse("0B0111A0-0000-4000-A000-00000000000" + std::to_string(number));
}

std::vector<std::string> namesOf(const std::vector<AgentCatalogEntry>& entries) {
  std::vector<std::string> names;
  for (const auto& entry : entries) names.push_back(entry.name);
  return names;
}

class AgentCatalogTest : public testing::Test {
 protected:
  AgentCatalog make() { return AgentCatalog(scheduler, files, "/data/QuorlHost", "/home/kim"); }
  void store(const std::vector<AgentCatalogEntry>& entries) {
    files->files[path] = *encodeRecord(entries, JsonStyle::prettySorted);
  }
  std::vector<AgentCatalogEntry> stored() {
    return decodeRecord<std::vector<AgentCatalogEntry>>(files->files[path]).value();
  }

  SimulatedScheduler scheduler;
  std::shared_ptr<test::FakeFileStore> files = std::make_shared<test::FakeFileStore>();
};

TEST_F(AgentCatalogTest, holdsExactlyTheTwoBuiltInEntriesAtAFirstStartAndWritesNothing) {
  const AgentCatalog catalog = make();
  const auto all = catalog.all();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0],
            (AgentCatalogEntry{ofTheHost(1), "Claude Code", "claude", "/home/kim", {}, true, "sparkles"}));
  EXPECT_EQ(
      all[1],
      (AgentCatalogEntry{
          ofTheHost(2), "Codex", "codex", "/home/kim", {}, true, "chevron.left.forwardslash.chevron.right"}));
  EXPECT_TRUE(files->writes.empty());
}

TEST_F(AgentCatalogTest, lastsOverARestart) {
  make().upsert(entryNamed("mine", 9));
  EXPECT_EQ(namesOf(make().all()), (std::vector<std::string>{"Claude Code", "Codex", "mine"}));
  EXPECT_EQ(make().entry(UUID{{9}}), entryNamed("mine", 9));
  EXPECT_EQ(make().entry(UUID{{8}}), std::nullopt);
}

TEST_F(AgentCatalogTest, refusesToEditOrDeleteABuiltInEntry) {
  AgentCatalog catalog = make();
  AgentCatalogEntry edited = entryNamed("evil", 1);
  edited.id = ofTheHost(1);
  EXPECT_EQ(catalog.upsert(edited), AgentCatalog::builtinEntries("/home/kim"));
  EXPECT_EQ(catalog.remove(ofTheHost(1)), AgentCatalog::builtinEntries("/home/kim"));
  EXPECT_EQ(catalog.remove(ofTheHost(2)).size(), 2U);
  EXPECT_TRUE(files->writes.empty());
}

TEST_F(AgentCatalogTest, losesRetiredEntriesOnLoadAndAtTheNextWriteOnDisk) {
  for (int number = 3; number <= 5; ++number) {
    AgentCatalogEntry retired = entryNamed("old", 1);
    retired.id = ofTheHost(number);
    store({retired, entryNamed("kept", 7)});
    AgentCatalog catalog = make();
    EXPECT_EQ(namesOf(catalog.all()), (std::vector<std::string>{"Claude Code", "Codex", "kept"}));
    EXPECT_EQ(stored().size(), 2U);
    catalog.remove(UUID{{99}});
    EXPECT_EQ(namesOf(stored()), (std::vector<std::string>{"Claude Code", "Codex", "kept"}));
  }
}

TEST_F(AgentCatalogTest, replacesABuiltInEntryOfTheFileByTheCurrentOne) {
  AgentCatalogEntry edited = entryNamed("edited", 1);
  edited.id = ofTheHost(2);
  store({entryNamed("a", 3), edited});
  EXPECT_EQ(namesOf(make().all()), (std::vector<std::string>{"Claude Code", "Codex", "a"}));
}

TEST_F(AgentCatalogTest, replacesAnEntryInPlaceAndAppendsANewOneAsItCame) {
  AgentCatalog catalog = make();
  catalog.upsert(entryNamed("a", 3));
  catalog.upsert(entryNamed("b", 4));
  EXPECT_EQ(namesOf(catalog.upsert(entryNamed("A", 3))),
            (std::vector<std::string>{"Claude Code", "Codex", "A", "b"}));
  AgentCatalogEntry claims = entryNamed("claims", 5);
  claims.builtin = true;
  EXPECT_EQ(catalog.upsert(claims).back(), claims);
  EXPECT_EQ(namesOf(catalog.remove(UUID{{3}})),
            (std::vector<std::string>{"Claude Code", "Codex", "b", "claims"}));
  EXPECT_EQ(stored(), catalog.all());
}

TEST_F(AgentCatalogTest, treatsADamagedFileAsEmptyAndDoesNotTouchIt) {
  for (const char* damaged : {"", "{", "[{}]", "[1]", "\xff", "{\"a\":1}"}) {
    files->files[path] = bytesOf(damaged);
    EXPECT_EQ(make().all().size(), 2U) << damaged;
    EXPECT_EQ(files->text(path), damaged);
  }
}

TEST_F(AgentCatalogTest, keepsAChangeInMemoryWhenTheDiskIsFullAndWritesItNextTime) {
  AgentCatalog catalog = make();
  files->failsWrites = true;
  EXPECT_EQ(catalog.upsert(entryNamed("a", 3)).size(), 3U);
  EXPECT_FALSE(files->files.contains(path));
  files->failsWrites = false;
  catalog.upsert(entryNamed("b", 4));
  EXPECT_EQ(namesOf(stored()), (std::vector<std::string>{"Claude Code", "Codex", "a", "b"}));
}

TEST_F(AgentCatalogTest, keepsAChangeInMemoryWhenTheFolderCannotBeMade) {
  files->failsDirectories = true;
  AgentCatalog catalog = make();
  EXPECT_EQ(catalog.upsert(entryNamed("a", 3)).size(), 3U);
  EXPECT_EQ(catalog.all().size(), 3U);
}

TEST_F(AgentCatalogTest, writesPrettyJSONWithSortedKeys) {
  make().upsert(entryNamed("a", 3));
  const std::string text = files->text(path);
  EXPECT_LT(text.find("\"builtin\""), text.find("\"command\""));
  EXPECT_LT(text.find("\"command\""), text.find("\"env\""));
  EXPECT_NE(text.find("\n  "), std::string::npos);
}

TEST_F(AgentCatalogTest, aHugeEntryDoesNotDisplaceOthers) {
  {
    AgentCatalog catalog = make();
    catalog.upsert(entryNamed("mine", 9));
    AgentCatalogEntry huge = entryNamed("huge", 10);
    huge.env["LARGE"] = std::string(17U << 20, 'x');
    EXPECT_EQ(catalog.upsert(huge).size(), 4U);
    catalog.upsert(entryNamed("also mine", 11));
  }
  EXPECT_EQ(namesOf(make().all()), (std::vector<std::string>{"Claude Code", "Codex", "mine", "also mine"}));
}

}  // namespace
}  // namespace quorl
