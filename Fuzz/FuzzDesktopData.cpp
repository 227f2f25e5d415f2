// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostLinux/Applications/ApplicationNames.h>
#include <QuorlHostLinux/Applications/DesktopFile.h>
#include <QuorlHostLinux/Icons/IconImage.h>
#include <QuorlHostLinux/Icons/IconTheme.h>
#include <QuorlHostLinux/Icons/WindowIcon.h>
#include <QuorlHostLinux/X11/Displays/DisplayFactsReader.h>
#include <QuorlHostLinux/X11/Displays/WorkAreas.h>
#include <QuorlHostLinux/X11/Windows/WindowFrame.h>
#include <QuorlHostLinux/X11/Windows/WindowProperties.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace {

using namespace quorl;
using Numbers = std::vector<std::uint32_t>;

void readTexts(std::string_view text) {
  const std::string copy(text);
  for (const auto& title : {boundedTitle(copy, ""), boundedTitle("", copy)})
    if (title.size() > 1'024 || !isValidUTF8(title)) std::abort();
  const WindowClass windowClass = parseWindowClass(copy);
  if (!isValidUTF8(windowClass.name) || !isValidUTF8(windowClass.instance)) std::abort();
  for (const auto& directory : parseIconThemeIndex(text).directories)
    if (directory.path.starts_with('/') || directory.path == "..") std::abort();
  parseDesktopFile(text);
  launchingDesktopFile(copy, 1);
}

void readIcons(ByteView bytes, const Numbers& numbers) {
  if (const auto image = decodePNG(bytes); image && !encodePNG(scaledToSquare(*image, 48))) std::abort();
  const auto read = [&numbers](std::uint32_t offset, std::uint32_t count) -> Numbers {
    if (offset >= numbers.size()) return {};
    const auto first = numbers.begin() + offset;
    return {first, first + std::min<std::ptrdiff_t>(count, numbers.end() - first)};
  };
  const auto icon = bestWindowIcon(numbers.size(), read, 48);
  if (icon && scaledToSquare(*icon, 48).size != PixelSize{48, 48}) std::abort();
}

void readNumbers(const Numbers& numbers) {
  constexpr PixelRect monitor{800, 0, 800, 900};
  for (const auto& struts : {strutsOf(numbers, {}), strutsOf({}, numbers)}) {
    const PixelRect free = freeArea(monitor, {1'600, 900}, struts);
    if (free.isEmpty() || !monitor.contains(free)) std::abort();
  }
  const PixelRect client{10, 30, 100, 80};
  const PixelRect frame{9, 10, 102, 101};
  const auto extents = frameExtentsOf(numbers);
  for (const bool isViewable : {false, true})
    if (outlineOf({client, frame, true, isViewable, extents, extents}).visible.isEmpty()) std::abort();
}

}  // namespace

// Properties of windows, icon files, desktop files and the data of monitors are made by other programs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView bytes(data, size);
  Numbers numbers(size / 4);
  if (!numbers.empty()) std::memcpy(numbers.data(), data, numbers.size() * 4);
  readTexts(textViewOf(bytes));
  readIcons(bytes, numbers);
  readNumbers(numbers);
  monitorNameOf(bytes);
  return 0;
}
