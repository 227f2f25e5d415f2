// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/SystemFile.h>

#include <QuorlHostPosix/PosixFileStore.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

std::optional<std::string> systemFileText(const std::string& path) {
  constexpr std::size_t limit = 1'048'576;
  const auto bytes = PosixFileStore().read(path, limit);
  return bytes ? std::optional(textOf(*bytes)) : std::nullopt;
}

std::string trimmedLine(std::string_view text) {
  constexpr std::string_view blank{" \t\r\0", 4};
  const std::string_view line = text.substr(0, text.find('\n'));
  const auto first = line.find_first_not_of(blank);
  if (first == std::string_view::npos) return {};
  return std::string(line.substr(first, line.find_last_not_of(blank) - first + 1));
}

}  // namespace quorl
