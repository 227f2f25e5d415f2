// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlUnix/Descriptor.h>

#include <cerrno>

#include <fcntl.h>

#include <gtest/gtest.h>

namespace quorl {
namespace {

bool isOpen(int number) {
  return ::fcntl(number, F_GETFD) >= 0;
}

Descriptor openNull() {
  return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

TEST(Descriptor, closesAtDestruction) {
  int number = -1;
  {
    const Descriptor descriptor = openNull();
    number = descriptor.get();
    ASSERT_TRUE(isOpen(number));
  }
  EXPECT_FALSE(isOpen(number));
}

TEST(Descriptor, closesTheFormerOneWhenAnotherIsMovedIn) {
  Descriptor first = openNull();
  Descriptor second = openNull();
  const int former = first.get();
  const int latter = second.get();
  first = std::move(second);
  EXPECT_FALSE(isOpen(former));
  EXPECT_TRUE(isOpen(latter));
  EXPECT_EQ(first.get(), latter);
}

TEST(Descriptor, keepsTheErrorOfTheCallBeforeItsClose) {
  Descriptor bad(12'345);  // not open: close fails with EBADF
  errno = ENOSPC;
  bad.reset();
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_FALSE(bad.isOpen());
}

TEST(Descriptor, givesUpOwnershipOnRelease) {
  Descriptor descriptor = openNull();
  const Descriptor kept(descriptor.release());
  descriptor.reset();
  EXPECT_TRUE(isOpen(kept.get()));
}

}  // namespace
}  // namespace quorl
