// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <string_view>

#include <QuorlHostCore/Agents/Discovery/ProcessDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/ProjectPath.h>
#include <QuorlHostLinux/Agents/KittyText.h>
#include <QuorlHostLinux/Agents/ProcText.h>
#include <QuorlHostLinux/Agents/ScreenText.h>
#include <QuorlHostLinux/Agents/TmuxText.h>
#include <QuorlHostMac/Agents/ProcessParsers.h>
#include <QuorlKit/Foundation/UTF8.h>

// Command lines, process names and the output of tools about them are chosen by any user who starts a
// process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorl;
  const ByteView bytes(data, size);
  const std::string_view text = textViewOf(bytes);
  for (const auto& row : ProcessParsers::parseProcesses(bytes))
    if (row.tty.empty() || row.command.empty()) std::abort();
  ProcessParsers::parseExecutables(bytes);
  ProcessParsers::parseWorkingDirectories(bytes);
  ProcessDiscovery::classify(text, std::nullopt);
  ProcText::parseStat(text);
  if (!isValidUTF8(ProcText::commandLine(text))) std::abort();
  for (const auto& [tty, pane] : TmuxText::parsePanes(text))
    if (!tty.starts_with("/dev/") || !pane.id.starts_with('%') || pane.pid < 1) std::abort();
  if (!isValidUTF8(screenText(text, 8))) std::abort();
  if (const auto socket = KittyText::socketIn(text); socket && socket->size() < 2) std::abort();
  if (const auto reply = KittyText::parseReply(text); reply && !isValidUTF8(reply->data)) std::abort();
  for (const auto& window : KittyText::parseWindows(text).value_or(std::vector<KittyText::Window>()))
    if (window.id < 1 || window.pid < 1) std::abort();
  // Every folder exists, which makes the deepest search.
  const auto always = [](const std::string&) { return true; };
  if (!decodeProjectPath(text.substr(0, 255), {.exists = always, .isDirectory = always}).starts_with('/'))
    std::abort();
  return 0;
}
