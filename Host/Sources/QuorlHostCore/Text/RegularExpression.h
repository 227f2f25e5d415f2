// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorl {

enum class CaseRule : std::uint8_t { sensitive, insensitive };

/// A compiled regular expression in the syntax of ICU (Unicode Regular Expressions, UTS #18), over UTF-8. It
/// supports look-behind; "\w" and "\b" follow Unicode; "$" matches at the end of the text or before a final
/// line end. Bytes that are not UTF-8 count as U+FFFD.
///
/// A search is bounded in time and memory. One that reaches a bound finds nothing.
///
/// *Queue*: any thread, several at a time; immutable.
/// *Ownership*: a value; copies share the compiled form.
class RegularExpression {
 public:
  /// Pieces of the searched text: the whole match, then each group. A group that did not take part is absent.
  struct Match {
    std::vector<std::optional<std::string_view>> groups;

    std::string_view whole() const { return groups.front().value_or(std::string_view()); }
  };

  /// Fails with the engine's error text if the pattern is invalid.
  static std::expected<RegularExpression, std::string> compile(std::string_view pattern,
                                                               CaseRule rule = CaseRule::sensitive);

  /// The text with all special characters of a pattern escaped.
  static std::string escaped(std::string_view text);

  bool isFoundIn(std::string_view text) const;
  /// The first match. Its pieces refer to `text`.
  std::optional<Match> firstMatch(std::string_view text) const;
  /// The text with every match removed.
  std::string removedFrom(std::string_view text) const;

 private:
  struct Compiled;
  explicit RegularExpression(std::shared_ptr<const Compiled> compiled) : compiled_(std::move(compiled)) {}

  std::shared_ptr<const Compiled> compiled_;
};

}  // namespace quorl
