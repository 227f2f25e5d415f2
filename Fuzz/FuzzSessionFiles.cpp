// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <string_view>

#include <QuorlHostCore/Agents/Discovery/Transcript.h>
#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/UTF8.h>

// Session files are written by other programs: any bytes give a value with valid fields.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorl;
  const ByteView bytes(data, size);
  if (const auto text = Transcript::preview(bytes)) {
    const std::string_view line = *text;
    if (line.empty() || !isValidUTF8(line)) std::abort();
    if (line.find('\n') != std::string_view::npos || line.find('\r') != std::string_view::npos) std::abort();
  }
  if (const auto meta = Transcript::codexMeta(bytes)) {
    if (meta->sessionID.empty() || meta->workingDirectory.empty()) std::abort();
    const std::string_view text = textViewOf(bytes);
    if (Transcript::codexMeta(viewOf(text.substr(0, text.find('\n')))) != meta) std::abort();
  }
  return 0;
}
