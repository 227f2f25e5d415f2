// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include <QuorlKit/Terminal/EscapeSequences.h>
#include <QuorlKit/Terminal/TerminalModes.h>
#include <quorl-client/Terminal/DetachKey.h>
#include <quorl-client/Terminal/SeenOutput.h>

namespace {

using namespace quorl;
using namespace quorl::client;

// Longer sequences are given up at a point that depends on how they are cut.
constexpr std::size_t maxInput = 4096;

void demand(bool holds) {
  if (!holds) std::abort();
}

void checkReplay(ByteView output) {
  const Bytes once = fitForReplay(output);
  demand(once.size() <= output.size());
  demand(fitForReplay(once) == once);
}

void checkModes(ByteView output, std::size_t cut) {
  TerminalModes whole;
  whole.follow(output);
  TerminalModes inTwo;
  inTwo.follow(output.first(cut));
  inTwo.follow(output.subspan(cut));
  demand(whole.restoring() == inTwo.restoring());
  demand(whole.isInAlternateScreen() == inTwo.isInAlternateScreen());
}

void checkJoin(ByteView output, std::size_t cut) {
  SeenOutput seen;
  seen.append(output.first(cut));
  // The whole is a replay of a session that was shown up to the cut.
  const auto join = seen.join(output);
  demand(join.newFrom <= output.size());
  demand(join.kind == SeenOutput::Join::Kind::follows);
}

void checkKeys(ByteView typed, std::size_t cut) {
  KeyFilter filter(DetachKey::parse("ctrl-a d").value());
  Bytes passed;
  bool hasDetached = false;
  for (const auto part : {typed.first(cut), typed.subspan(cut)}) {
    if (hasDetached) break;
    const auto result = filter.feed(part, {});
    passed.insert(passed.end(), result.passed.begin(), result.passed.end());
    hasDetached = result.hasDetached;
  }
  // Nothing is invented or reordered: only detach keys are missing.
  auto from = typed.begin();
  for (const std::uint8_t byte : passed) {
    from = std::find(from, typed.end(), byte);
    demand(from != typed.end());
    ++from;
  }
}

}  // namespace

// Program output or typed keys. The first two bytes are the position of the cut into two reads.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2 || size > maxInput) return 0;
  const ByteView bytes(data + 2, size - 2);
  const std::size_t cut = std::min<std::size_t>(data[0] + std::size_t{256} * data[1], bytes.size());
  checkReplay(bytes);
  checkModes(bytes, cut);
  checkJoin(bytes, cut);
  checkKeys(bytes, cut);
  return 0;
}
