// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Storage/HostSupportPaths.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlKit/Auth/Pairing.h>
#include <QuorlKit/Foundation/Base64.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

class TrustStoreTest : public testing::Test {
 protected:
  std::unique_ptr<TrustStore> open() {
    return std::make_unique<TrustStore>(platform_.platform(), std::string("/trust"));
  }
  void put(const std::string& name, std::string_view text) {
    platform_.files->files["/trust/" + name] = bytesOf(text);
  }
  static UUID deviceNumber(std::uint8_t number) {
    UUID id;
    id.bytes[15] = number;
    return id;
  }
  static AgentSpawnConfig config(const std::string& command) {
    AgentSpawnConfig made;
    made.command = command;
    return made;
  }

  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  const Bytes nonce_ = Bytes(16, 3);
};

TEST_F(TrustStoreTest, usesAGivenFolderAsItIsAndElseItsOwnInThePlatforms) {
  EXPECT_EQ(open()->directory(), "/trust");
  EXPECT_EQ(TrustStore(platform_.platform(), std::nullopt).directory(), "/home/anna/data/QuorlHost");
  EXPECT_EQ(platform_.files->directories, (std::vector<std::string>{"/trust", "/home/anna/data/QuorlHost"}));
}

TEST_F(TrustStoreTest, listsADeviceWithAnInvalidTokenAndNeverMatchesIt) {
  put("trust.json",
      R"([{"deviceID":"00000000-0000-0000-0000-000000000001","name":"Odd","tokenBase64":"*","addedAt":5}])");
  const auto store = open();
  ASSERT_EQ(store->trustedDevices().size(), 1U);
  EXPECT_EQ(store->trustedDevices()[0].name, "Odd");
  EXPECT_FALSE(store->matchesAnyToken(Pairing::tokenProof(bytesOf("*"), nonce_), nonce_));
  EXPECT_FALSE(store->matchesAnyToken(Pairing::tokenProof({}, nonce_), nonce_));
}

TEST_F(TrustStoreTest, neverMatchesAnEmptyToken) {
  put("trust.json",
      R"([{"deviceID":"00000000-0000-0000-0000-000000000001","name":"Odd","tokenBase64":"","addedAt":5}])");
  const auto store = open();
  ASSERT_EQ(store->trustedDevices().size(), 1U);
  EXPECT_FALSE(store->matchesAnyToken(Pairing::tokenProof({}, nonce_), nonce_));
}

TEST_F(TrustStoreTest, matchesTheTokenItGaveOnlyOverTheSameNonce) {
  const auto store = open();
  const Bytes token = store->addDevice(deviceNumber(1), "Tablet");
  EXPECT_EQ(token.size(), 32U);
  EXPECT_TRUE(store->matchesAnyToken(Pairing::tokenProof(token, nonce_), nonce_));
  EXPECT_FALSE(store->matchesAnyToken(Pairing::tokenProof(token, Bytes(16, 4)), nonce_));
  EXPECT_TRUE(open()->matchesAnyToken(Pairing::tokenProof(token, nonce_), nonce_)) << "survives a restart";
}

TEST_F(TrustStoreTest, replacesADeviceThatPairsAgainAndForgetsItsOldToken) {
  const auto store = open();
  const Bytes old = store->addDevice(deviceNumber(1), "Tablet");
  const Bytes fresh = store->addDevice(deviceNumber(1), "Tablet again");
  ASSERT_EQ(store->trustedDevices().size(), 1U);
  EXPECT_EQ(store->trustedDevices()[0].name, "Tablet again");
  EXPECT_FALSE(store->matchesAnyToken(Pairing::tokenProof(old, nonce_), nonce_));
  EXPECT_TRUE(store->matchesAnyToken(Pairing::tokenProof(fresh, nonce_), nonce_));
}

TEST_F(TrustStoreTest, writesPrettySortedJsonWithSecondsSince1970) {
  const auto store = open();
  const Bytes token = store->addDevice(deviceNumber(1), "Tablet");
  const std::string text = platform_.files->text("/trust/trust.json");
  EXPECT_NE(text.find('\n'), std::string::npos);
  const auto at = [&](std::string_view key) { return text.find(key); };
  EXPECT_LT(at("\"addedAt\""), at("\"deviceID\""));
  EXPECT_LT(at("\"deviceID\""), at("\"name\""));
  EXPECT_LT(at("\"name\""), at("\"tokenBase64\""));
  EXPECT_NE(at("00000000-0000-0000-0000-000000000001"), std::string::npos);
  EXPECT_NE(at(base64Encoded(token)), std::string::npos);
  EXPECT_EQ(store->trustedDevices()[0].addedAt, Date{1'700'000'000});
}

TEST_F(TrustStoreTest, forgetsAllDevicesAtOnce) {
  const auto store = open();
  const Bytes token = store->addDevice(deviceNumber(1), "Tablet");
  int changes = 0;
  store->onTrustChanged([&] { changes += store->trustedDevices().empty() ? 1 : 100; });
  store->revokeAll();
  EXPECT_EQ(changes, 1);
  EXPECT_FALSE(store->matchesAnyToken(Pairing::tokenProof(token, nonce_), nonce_));
  EXPECT_TRUE(open()->trustedDevices().empty());
}

TEST_F(TrustStoreTest, pushesOutTheOldestOfElevenRememberedConfigs) {
  const auto store = open();
  for (int number = 0; number < 11; ++number) store->rememberSpawnConfig(config(std::to_string(number)));
  const auto recent = store->settings().recentAgentConfigs;
  ASSERT_EQ(recent.size(), 10U);
  EXPECT_EQ(recent.front().command, "10");
  EXPECT_EQ(recent.back().command, "1");
}

TEST_F(TrustStoreTest, movesARepeatedConfigToTheFront) {
  const auto store = open();
  for (const char* command : {"a", "b", "c", "a"}) store->rememberSpawnConfig(config(command));
  const auto recent = store->settings().recentAgentConfigs;
  ASSERT_EQ(recent.size(), 3U);
  EXPECT_EQ(recent[0].command, "a");
  EXPECT_EQ(recent[1].command, "c");
}

TEST_F(TrustStoreTest, loadsSettingsWithoutAnIdentityAndCreatesOneAtFirstUse) {
  put("settings.json", R"({"magnifyAsCommandScroll":true})");
  const auto store = open();
  EXPECT_TRUE(store->settings().magnifyAsCommandScroll);
  EXPECT_EQ(store->settings().hostDeviceID, std::nullopt);
  EXPECT_TRUE(platform_.files->writes.empty()) << "loading writes nothing";
  const UUID identity = store->hostDeviceID();
  EXPECT_EQ(store->hostDeviceID(), identity);
  EXPECT_EQ(platform_.files->writes.size(), 1U);
  EXPECT_EQ(open()->hostDeviceID(), identity);
  EXPECT_TRUE(open()->settings().magnifyAsCommandScroll);
}

TEST_F(TrustStoreTest, treatsAFileWithAValueOfTheWrongTypeAsDamaged) {
  put("settings.json", R"({"magnifyAsCommandScroll":1,"hostDeviceID":null})");
  put("trust.json",
      R"([{"deviceID":"00000000-0000-0000-0000-000000000001","name":"A","tokenBase64":7,"addedAt":5}])");
  const std::string before = platform_.files->text("/trust/trust.json");
  const auto store = open();
  EXPECT_EQ(store->settings(), HostSettings{});
  EXPECT_TRUE(store->trustedDevices().empty());
  EXPECT_EQ(platform_.files->text("/trust/trust.json"), before)
      << "a damaged file stays until the next write";
  store->addDevice(deviceNumber(2), "B");
  EXPECT_EQ(open()->trustedDevices().size(), 1U);
}

TEST_F(TrustStoreTest, leavesAnAbsentIdentityOutOfItsFileAndAlwaysWritesTheOtherFields) {
  open()->setSettings(HostSettings{});
  const std::string text = platform_.files->text("/trust/settings.json");
  EXPECT_NE(text.find("magnifyAsCommandScroll"), std::string::npos);
  EXPECT_NE(text.find("recentAgentConfigs"), std::string::npos);
  EXPECT_EQ(text.find("hostDeviceID"), std::string::npos);
}

TEST_F(TrustStoreTest, returnsAWorkingTokenEvenIfTheDiskIsFull) {
  LogRecorder log;
  platform_.files->failsWrites = true;
  const auto store = open();
  const Bytes token = store->addDevice(deviceNumber(1), "Tablet");
  EXPECT_TRUE(store->matchesAnyToken(Pairing::tokenProof(token, nonce_), nonce_));
  EXPECT_TRUE(log.has(LogLevel::error, "auth", "trust store write failed: No space left on device"));
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(open()->trustedDevices().empty());
}

TEST_F(TrustStoreTest, opensEvenIfItsFolderCannotBeCreated) {
  platform_.files->failsDirectories = true;
  EXPECT_TRUE(open()->trustedDevices().empty());
}

TEST_F(TrustStoreTest, cutsADeviceNameThatWouldEmptyTheListAtTheNextStart) {
  const Bytes old = open()->addDevice(deviceNumber(1), "Tablet");
  const Bytes added = open()->addDevice(deviceNumber(2), "é" + std::string(17U << 20, 'x'));
  const auto store = open();
  ASSERT_EQ(store->trustedDevices().size(), 2U);
  EXPECT_EQ(store->trustedDevices()[1].name, "é" + std::string(254, 'x'));
  EXPECT_TRUE(store->matchesAnyToken(Pairing::tokenProof(old, nonce_), nonce_));
  EXPECT_TRUE(store->matchesAnyToken(Pairing::tokenProof(added, nonce_), nonce_));
}

TEST_F(TrustStoreTest, keepsTheHostsIdentityWhateverTheCommandsThatAreRemembered) {
  UUID identity;
  {
    const auto store = open();
    identity = store->hostDeviceID();
    store->rememberSpawnConfig(config("small"));
    for (const char* command : {"one", "two"}) {
      AgentSpawnConfig large = config(command);
      large.env["LARGE"] = std::string(10U << 20, 'x');
      store->rememberSpawnConfig(large);
    }
    EXPECT_EQ(store->settings().recentAgentConfigs.size(), 3U);
  }
  const auto store = open();
  EXPECT_EQ(store->settings().hostDeviceID, identity);
  const auto recent = store->settings().recentAgentConfigs;
  ASSERT_EQ(recent.size(), 2U) << "one of the two has room";
  EXPECT_EQ(recent[1].command, "small");
}

}  // namespace
}  // namespace quorl::test
