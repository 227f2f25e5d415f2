// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include <QuorlHostCore/Ports/Pasteboard.h>

namespace quorl::test {

/// A clipboard whose content a test sets. Answers at once, unless the owner hangs.
///
/// *Queue*: the simulation's one thread.
class FakePasteboard : public Pasteboard {
 public:
  using Content = std::map<PasteboardType, Bytes>;

  bool setChangeHandler(ChangeHandler handler) override {
    if (notifies) changed = std::move(handler);
    return notifies;
  }
  std::int64_t changeCount() override {
    ++counts;
    return count;
  }
  void read(PasteboardType type, std::size_t limit, ReadAnswer answer) override {
    ++reads;
    if (ownerHangs) {
      pending.push_back(std::move(answer));
      return;
    }
    const auto found = content.find(type);
    if (found == content.end()) return answer(std::unexpected(PasteboardFailure::absent));
    if (found->second.size() > limit) return answer(std::unexpected(PasteboardFailure::tooLarge));
    answer(found->second);
  }
  void replace(PasteboardType type, Bytes bytes, CountAnswer answer) override {
    if (serverHangs) return;
    copy({{type, std::move(bytes)}});
    if (replaceIsSlow) {
      replaced.push_back(std::move(answer));
    } else {
      answer(count);
    }
  }

  /// Another program copies.
  void copy(Content copied) {
    content = std::move(copied);
    ++count;
    if (changed) changed();
  }

  /// The adapter gives up on the owner that hangs.
  void giveUp() {
    for (auto& answer : std::exchange(pending, {})) answer(std::unexpected(PasteboardFailure::unreadable));
  }
  /// The answers to slow replacements arrive.
  void finishReplacing() {
    for (auto& answer : std::exchange(replaced, {})) answer(count);
  }

  Content content;
  std::int64_t count = 41;
  int reads = 0;
  int counts = 0;        // how often the count was asked for
  bool notifies = true;  // before the handler is set
  bool ownerHangs = false;
  bool replaceIsSlow = false;  // only its answer
  bool serverHangs = false;    // nothing is replaced
  ChangeHandler changed;
  std::vector<ReadAnswer> pending;
  std::vector<CountAnswer> replaced;
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
