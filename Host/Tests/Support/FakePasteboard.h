// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <utility>

#include <QuorlHostCore/Ports/Pasteboard.h>

namespace quorl::test {

/// A clipboard whose content a test sets.
///
/// *Queue*: the simulation's one thread.
class FakePasteboard : public Pasteboard {
 public:
  using Content = std::map<PasteboardType, Bytes>;

  std::int64_t changeCount() override { return count; }
  std::optional<Bytes> read(PasteboardType type, std::size_t limit) override {
    ++reads;
    const auto found = content.find(type);
    if (found == content.end() || found->second.size() > limit) return std::nullopt;
    return found->second;
  }
  std::int64_t replace(PasteboardType type, Bytes bytes) override {
    content = {{type, std::move(bytes)}};
    return ++count;
  }

  /// Another program copies.
  void copy(Content copied) {
    content = std::move(copied);
    ++count;
  }

  Content content;
  std::int64_t count = 41;
  int reads = 0;
};

/// Turns every TIFF into one PNG, unless it has none.
class FakeImageConverter : public ImageConverter {
 public:
  std::optional<Bytes> pngFromTIFF(ByteView tiff) override {
    converted.assign(tiff.begin(), tiff.end());
    return png;
  }

  std::optional<Bytes> png;
  Bytes converted;
};

}  // namespace quorl::test
