// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <expected>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Clipboard/X11Pasteboard.h>
#include <Support/XServerFixture.h>

namespace quorl::test {

using ReadResult = std::expected<Bytes, PasteboardFailure>;

/// Reads and waits for the answer.
ReadResult readNow(X11Pasteboard& pasteboard, PasteboardType type, std::size_t limit = 64 << 20);
std::string textNow(X11Pasteboard& pasteboard);
/// Replaces the content and waits until it is offered.
std::int64_t replaceNow(X11Pasteboard& pasteboard, PasteboardType type, Bytes content);

/// Bytes without a pattern that a copying error could keep.
Bytes noise(std::size_t size);

/// A display with the clipboard under test, connected.
class ClipboardTest : public ::testing::Test {
 protected:
  std::unique_ptr<X11Pasteboard> makePasteboard(const ClipboardLimits& limits = {}) const;
  /// Runs a program until it owns the clipboard, as the pasteboard sees it.
  HelperProgram copyWith(const std::vector<std::string>& command) const;
  HelperProgram copyTextWithXclip(const std::string& text) const;
  HelperProgram copyFileWithXclip(const std::string& target, const Bytes& content) const;
  std::string writeFile(const std::string& name, ByteView content) const;

  XServer server;
  std::unique_ptr<X11Pasteboard> pasteboard = makePasteboard();
};

}  // namespace quorl::test
