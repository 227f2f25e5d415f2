// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/Waker.h>

#include <array>

#include <unistd.h>

namespace quorl {

Waker::Waker() : pipe_(openPipe()) {}

void Waker::wake() const {
  const char byte = 1;
  // A full pipe (EAGAIN) is readable already.
  [[maybe_unused]] const auto written = ::write(pipe_.writeEnd.get(), &byte, 1);
}

void Waker::drain() const {
  std::array<char, 256> bytes{};
  while (::read(pipe_.readEnd.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size())) {
  }
}

}  // namespace quorl
