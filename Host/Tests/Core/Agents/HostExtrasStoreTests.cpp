// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>

#include <gtest/gtest.h>

#include <string>

#include <QuorlHostCore/Agents/Stores/ServiceURL.h>
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakeFileStore.h>

namespace quorl {
namespace {

CustomService serviceAt(std::optional<std::uint16_t> port, std::optional<std::string> url,
                        std::uint8_t number = 1) {
  return {.id = UUID{{number}}, .name = "svc", .port = port, .urlString = std::move(url), .note = "note"};
}

std::optional<ServiceDescriptor> described(const std::string& url) {
  return HostExtrasStore::descriptorOf(serviceAt(std::nullopt, url));
}

class HostExtrasStoreTest : public testing::Test {
 protected:
  HostExtrasStore make() { return HostExtrasStore(scheduler, files, "/data/QuorlHost"); }

  SimulatedScheduler scheduler;
  std::shared_ptr<test::FakeFileStore> files = std::make_shared<test::FakeFileStore>();
};

TEST_F(HostExtrasStoreTest, isEmptyAtAFirstStartAndWritesNothing) {
  const HostExtrasStore store = make();
  EXPECT_TRUE(store.customServices().empty());
  EXPECT_TRUE(store.guiAgentBundles().empty());
  EXPECT_TRUE(files->writes.empty());
}

TEST_F(HostExtrasStoreTest, movesAnEditedServiceToTheEnd) {
  HostExtrasStore store = make();
  store.addService(serviceAt(1, std::nullopt, 1));
  store.addService(serviceAt(2, std::nullopt, 2));
  store.addService(serviceAt(3, std::nullopt, 1));
  ASSERT_EQ(store.customServices().size(), 2U);
  EXPECT_EQ(store.customServices()[0].port, 2);
  EXPECT_EQ(store.customServices()[1].port, 3);
  store.removeService(UUID{{2}});
  EXPECT_EQ(make().customServices(), std::vector{serviceAt(3, std::nullopt, 1)});
}

TEST_F(HostExtrasStoreTest, trimsBundlesAndDropsTheEmptyAndTheRepeated) {
  make().setGUIAgentBundles({"a", " a ", "", "b", "\t"});
  EXPECT_EQ(make().guiAgentBundles(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(HostExtrasStoreTest, loadsEachFileByItself) {
  files->files["/data/QuorlHost/custom-services.json"] = bytesOf("nonsense");
  files->files["/data/QuorlHost/gui-agent-bundles.json"] = bytesOf("[\"x\"]");
  const HostExtrasStore store = make();
  EXPECT_TRUE(store.customServices().empty());
  EXPECT_EQ(store.guiAgentBundles(), std::vector<std::string>{"x"});
}

TEST_F(HostExtrasStoreTest, keepsAChangeInMemoryWhenItCannotBeWritten) {
  HostExtrasStore store = make();
  files->failsWrites = true;
  store.addService(serviceAt(1, std::nullopt));
  store.setGUIAgentBundles({"a"});
  EXPECT_EQ(store.customServices().size(), 1U);
  EXPECT_EQ(store.guiAgentBundles().size(), 1U);
}

TEST_F(HostExtrasStoreTest, describesEachServiceThatNamesAPlaceInOrder) {
  HostExtrasStore store = make();
  store.addService(serviceAt(3000, std::nullopt, 1));
  store.addService(serviceAt(std::nullopt, std::nullopt, 2));
  store.addService(serviceAt(std::nullopt, "https://example.org/x", 3));
  const auto descriptors = store.serviceDescriptors();
  ASSERT_EQ(descriptors.size(), 2U);
  EXPECT_EQ(descriptors[0], (ServiceDescriptor{3000, "svc", 0, "note", true}));
  EXPECT_EQ(descriptors[1], (ServiceDescriptor{443, "svc", 0, "note", false}));
}

TEST(ServiceDescriptors, takeAPortOverAURL) {
  const auto descriptor = HostExtrasStore::descriptorOf(serviceAt(3000, "https://example.org:8443/"));
  EXPECT_EQ(descriptor, (ServiceDescriptor{3000, "svc", 0, "note", true}));
}

TEST(ServiceDescriptors, useTheSchemesPortWithoutAnExplicitOne) {
  EXPECT_EQ(described("https://example.org")->port, 443);
  EXPECT_EQ(described("HTTPS://example.org")->port, 443);
  EXPECT_EQ(described("http://localhost")->port, 80);
  EXPECT_EQ(described("//example.org/x")->port, 80);
  EXPECT_EQ(described("ws://example.org:/")->port, 80);
}

TEST(ServiceDescriptors, areLoopbackOnlyForTheThreeNamesExactly) {
  EXPECT_TRUE(described("http://localhost")->loopbackOnly);
  EXPECT_TRUE(described("http://127.0.0.1:8080/")->loopbackOnly);
  EXPECT_TRUE(described("http://[::1]:8080/")->loopbackOnly);
  EXPECT_FALSE(described("http://LOCALHOST")->loopbackOnly);
  EXPECT_FALSE(described("http://127.0.0.2")->loopbackOnly);
  EXPECT_FALSE(described("https://example.org")->loopbackOnly);
}

TEST(ServiceDescriptors, rejectAnInvalidPort) {
  EXPECT_EQ(described("http://localhost:65535")->port, 65535);
  EXPECT_FALSE(described("http://localhost:65536").has_value());
  EXPECT_FALSE(described("http://localhost:99999999999999999999999").has_value());
  EXPECT_FALSE(described("http://localhost:80a").has_value());
}

TEST(ServiceDescriptors, rejectATextWithoutAHost) {
  for (const char* text : {"", "localhost:3000", "http:", "http://", "http:///x", "/path", "mailto:a@b",
                           "http://a b/", "http://[::1", "http://x%zz/", "ht tp://x", "http://:80/"})
    EXPECT_FALSE(described(text).has_value()) << text;
}

TEST(ServiceURLs, areTakenApart) {
  EXPECT_EQ(ServiceURL::parse("http://user:pw@Host.example:8080/a?b#c"),
            (ServiceURL{"http", "Host.example", 8080}));
  EXPECT_EQ(ServiceURL::parse("http://h?q"), (ServiceURL{"http", "h", std::nullopt}));
  EXPECT_EQ(ServiceURL::parse("//[fe80::1]:1/"), (ServiceURL{"", "fe80::1", 1}));
}

TEST_F(HostExtrasStoreTest, aHugeServiceDoesNotDisplaceOthers) {
  {
    HostExtrasStore store = make();
    store.addService(serviceAt(3000, std::nullopt, 1));
    CustomService huge = serviceAt(3001, std::nullopt, 2);
    huge.note = std::string(17U << 20, 'x');
    store.addService(huge);
    EXPECT_EQ(store.customServices().size(), 2U);
    store.addService(serviceAt(3002, std::nullopt, 3));
  }
  const auto services = make().customServices();
  ASSERT_EQ(services.size(), 2U);
  EXPECT_EQ(services[0].port, 3000);
  EXPECT_EQ(services[1].port, 3002);
}

}  // namespace
}  // namespace quorl
