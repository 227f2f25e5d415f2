// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Text/RegularExpression.h>

#include <unicode/regex.h>
#include <unicode/utext.h>

namespace quorl {

namespace {

// The engine counts steps of its match loop by the thousand; a unit is about a millisecond.
constexpr std::int32_t maxSearchTime = 50;
// Bytes of backtracking state.
constexpr std::int32_t maxSearchState = 1 << 20;

// The text in the engine's form, closed at the end of the scope.
class TextHandle {
 public:
  explicit TextHandle(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    utext_openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
    isOpen_ = U_SUCCESS(status);
  }
  TextHandle(const TextHandle&) = delete;
  TextHandle& operator=(const TextHandle&) = delete;
  ~TextHandle() {
    if (isOpen_) utext_close(&text_);
  }
  UText* get() { return isOpen_ ? &text_ : nullptr; }

 private:
  UText text_ = UTEXT_INITIALIZER;
  bool isOpen_ = false;
};

}  // namespace

struct RegularExpression::Compiled {
  std::unique_ptr<icu::RegexPattern> pattern;
};

namespace {

// One search. It has its own matcher, because a matcher has state and the pattern has none.
class Search {
 public:
  Search(const icu::RegexPattern& pattern, std::string_view text) : text_(text) {
    matcher_.reset(pattern.matcher(status_));
    if (!isUsable()) return;
    matcher_->setTimeLimit(maxSearchTime, status_);
    matcher_->setStackLimit(maxSearchState, status_);
    matcher_->reset(text_.get());
  }

  bool next() {
    if (!isUsable()) return false;
    const bool found = matcher_->find(status_) != 0;
    return found && U_SUCCESS(status_);
  }
  std::int64_t start(int group) { return matcher_->start64(group, status_); }
  std::int64_t end(int group) { return matcher_->end64(group, status_); }
  int groupCount() const { return matcher_->groupCount(); }

 private:
  bool isUsable() { return U_SUCCESS(status_) && matcher_ != nullptr && text_.get() != nullptr; }

  UErrorCode status_ = U_ZERO_ERROR;
  TextHandle text_;
  std::unique_ptr<icu::RegexMatcher> matcher_;
};

std::string_view piece(std::string_view text, std::int64_t start, std::int64_t end) {
  return text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
}

}  // namespace

std::expected<RegularExpression, std::string> RegularExpression::compile(std::string_view pattern,
                                                                         CaseRule rule) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError where{};
  const auto text = icu::UnicodeString::fromUTF8(
      icu::StringPiece(pattern.data(), static_cast<std::int32_t>(pattern.size())));
  const auto flags = static_cast<std::uint32_t>(rule == CaseRule::insensitive ? UREGEX_CASE_INSENSITIVE : 0);
  auto compiled = std::make_shared<Compiled>();
  compiled->pattern.reset(icu::RegexPattern::compile(text, flags, where, status));
  if (U_FAILURE(status)) return std::unexpected(u_errorName(status));
  return RegularExpression(std::move(compiled));
}

std::string RegularExpression::escaped(std::string_view text) {
  constexpr std::string_view meaningful = "\\^$.|?*+()[]{}-&#/";
  std::string result;
  for (const char character : text) {
    if (meaningful.find(character) != std::string_view::npos) result += '\\';
    result += character;
  }
  return result;
}

bool RegularExpression::isFoundIn(std::string_view text) const {
  return Search(*compiled_->pattern, text).next();
}

std::optional<RegularExpression::Match> RegularExpression::firstMatch(std::string_view text) const {
  Search search(*compiled_->pattern, text);
  if (!search.next()) return std::nullopt;
  Match match;
  for (int group = 0; group <= search.groupCount(); ++group) {
    const auto start = search.start(group);
    if (start < 0) {
      match.groups.emplace_back(std::nullopt);
    } else {
      match.groups.emplace_back(piece(text, start, search.end(group)));
    }
  }
  return match;
}

std::string RegularExpression::removedFrom(std::string_view text) const {
  Search search(*compiled_->pattern, text);
  std::string kept;
  std::int64_t from = 0;
  while (search.next()) {
    kept += piece(text, from, search.start(0));
    from = search.end(0);
  }
  kept += piece(text, from, static_cast<std::int64_t>(text.size()));
  return kept;
}

}  // namespace quorl
