// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <string_view>

#include <QuorlHostCore/Menu/Model/MenuMessages.h>

// The lines between the host and its menu program: what is read is written as a line that reads the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorl;
  const std::string_view line = textViewOf(ByteView(data, size));
  const auto returnsAs = [](const auto& value, auto parse) {
    const std::string text = menuLine(value);
    if (!text.ends_with('\n') || text.find('\n') != text.size() - 1) std::abort();
    if (parse(std::string_view(text).substr(0, text.size() - 1)) != value) std::abort();
  };
  if (const auto action = parseMenuAction(line)) returnsAs(*action, parseMenuAction);
  if (const auto message = parseMenuMessage(line)) returnsAs(*message, parseMenuMessage);
  return 0;
}
