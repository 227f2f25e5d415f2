// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/SecretText.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::test {
namespace {

// The kernel's flags of the mapping that holds the address (proc(5), smaps).
std::string flagsOfMapping(const void* address) {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream maps("/proc/self/smaps");
  bool isInside = false;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream words(line);
    std::uintptr_t first = 0;
    std::uintptr_t end = 0;
    char dash = 0;
    if (words >> std::hex >> first >> dash >> end && dash == '-') isInside = wanted >= first && wanted < end;
    if (isInside && line.starts_with("VmFlags:")) return line + " ";
  }
  return {};
}

TEST(SecretMemory, isLeftOutOfCoreDumps) {
  protectSecrets();
  const SecretText secret("a password");
  EXPECT_THAT(flagsOfMapping(secret.view().data()), testing::HasSubstr(" dd "));
  const std::string ordinary(1'000, 'x');
  EXPECT_THAT(flagsOfMapping(ordinary.data()), testing::Not(testing::HasSubstr(" dd ")));
}

TEST(SecretMemory, mayBeLargerThanItsReserve) {
  protectSecrets();
  const SecretText large(std::string(1'000'000, 'x'));
  EXPECT_EQ(large.view().size(), 1'000'000U);
  EXPECT_EQ(SecretText(large), large);
}

}  // namespace
}  // namespace quorl::test
