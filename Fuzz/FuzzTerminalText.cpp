// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <QuorlHostCore/Agents/Attention/AgentAttention.h>
#include <QuorlHostCore/Text/RegularExpression.h>
#include <QuorlHostCore/Text/TerminalText.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

// Terminal output. Its first byte is the position of the cut into two reads.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorl;
  static const auto noise = RegularExpression::compile(terminalNoisePattern);
  if (size == 0) return 0;
  const ByteView output(data + 1, size - 1);
  const std::size_t cut = std::min<std::size_t>(data[0], output.size());

  const std::string text = repairedUTF8(textViewOf(output));
  const std::string cleaned = cleanedTerminalText(text);
  demand(cleaned == noise->removedFrom(text));
  const auto line = lastNonEmptyLine(cleaned);
  demand(!line || cleaned.find(*line) != std::string::npos);
  const auto preview = terminalPreviewLine(output);
  demand(!preview || isValidUTF8(*preview));

  AlternateScreenScanner whole;
  whole.update(output);
  AlternateScreenScanner inTwo;
  inTwo.update(output.first(cut));
  inTwo.update(output.subspan(cut));
  demand(whole.isInAlternateScreen() == inTwo.isInAlternateScreen());

  Scrollback scrollback;
  scrollback.append(output.first(cut));
  scrollback.append(output.subspan(cut));
  demand(std::ranges::equal(scrollback.contents(), output) || output.size() > Scrollback::limit);

  for (const auto& [adapter, name] : rawValues<AgentAdapter>)
    demand(!AgentAttention::examine(output, adapter).body.empty());
  return 0;
}
