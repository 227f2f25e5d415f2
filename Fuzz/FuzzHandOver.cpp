// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <QuorlHostCore/Handover/HandOver.h>

// What is read is written back in the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const quorl::ByteView input(data, size);
  const auto handOver = quorl::HandOverFormat::decode(input);
  if (!handOver) return 0;
  const quorl::Bytes again = quorl::HandOverFormat::encode(*handOver);
  if (again.size() != size || !std::equal(again.begin(), again.end(), input.begin())) std::abort();
  return 0;
}
