// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <unistd.h>

#include <QuorlHostLinux/System/LinuxMachineFacts.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

class MachineFactsTest : public ::testing::Test {
 protected:
  // `path` begins with a slash, as it does on a real machine.
  void write(const std::string& path, const std::string& text) { folder.write(path.substr(1), text); }

  TemporaryFolder folder;
  std::string root = folder.path().string();
};

TEST_F(MachineFactsTest, nameTheComputerByItsPrettyHostName) {
  write("/etc/machine-info", "CHASSIS=laptop\nPRETTY_HOSTNAME=\"Küche \\\"Süd\\\"\"\n");
  EXPECT_EQ(LinuxMachineFacts(root).computerName(), "Küche \"Süd\"");
}

TEST_F(MachineFactsTest, nameTheComputerByItsHostNameOtherwise) {
  char name[256] = {};
  ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
  const std::string host = name;
  EXPECT_EQ(LinuxMachineFacts(root).computerName(), host.substr(0, host.find('.')));
}

TEST_F(MachineFactsTest, takeTheModelAndSkipPlaceholders) {
  LinuxMachineFacts facts(root);
  EXPECT_EQ(facts.hardwareModel(), "");
  write("/proc/device-tree/model", std::string("Raspberry Pi 5 Model B Rev 1.0\0", 31));
  EXPECT_EQ(facts.hardwareModel(), "Raspberry Pi 5 Model B Rev 1.0");
  write("/sys/class/dmi/id/product_name", "System Product Name\n");
  write("/sys/class/dmi/id/board_name", "PRIME B650M-A\n");
  EXPECT_EQ(facts.hardwareModel(), "PRIME B650M-A");
  write("/sys/class/dmi/id/product_name", "ThinkPad X1 Carbon\n");
  EXPECT_EQ(facts.hardwareModel(), "ThinkPad X1 Carbon");
}

TEST_F(MachineFactsTest, nameTheSystemByItsPrettyName) {
  LinuxMachineFacts facts(root);
  EXPECT_EQ(facts.operatingSystemVersion(), "");
  write("/usr/lib/os-release", "NAME=Plain\n");
  EXPECT_EQ(facts.operatingSystemVersion(), "Plain");
  write("/etc/os-release",
        "# a comment\nNAME=\"Debian GNU/Linux\"\nPRETTY_NAME='Debian GNU/Linux 12 (bookworm)'\n");
  EXPECT_EQ(facts.operatingSystemVersion(), "Debian GNU/Linux 12 (bookworm)");
}

TEST(AssignmentValue, resolvesQuotesAndTheirEscapes) {
  EXPECT_EQ(assignmentValue("A=plain\n", "A"), "plain");
  EXPECT_EQ(assignmentValue("A=\"a \\$ \\\\ b\"\n", "A"), "a $ \\ b");
  EXPECT_EQ(assignmentValue("A='a \\ b'", "A"), "a \\ b");
  EXPECT_EQ(assignmentValue("AB=1\n", "A"), "");
  EXPECT_EQ(assignmentValue("A=\"", "A"), "\"");
  EXPECT_EQ(assignmentValue("A=1\nA=2\n", "A"), "2");
}

}  // namespace
}  // namespace quorl::test
