// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/TextChunks.h>

#include <cstddef>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

// The maximum Unicode text of one keyboard event, in UTF-16 code units.
constexpr std::int32_t maximumUnits = 20;

}  // namespace

struct TextChunks::Text {
  explicit Text(std::string_view utf8)
      : units(icu::UnicodeString::fromUTF8({utf8.data(), static_cast<std::int32_t>(utf8.size())})) {}

  // Opened with the first piece, so that waiting texts cost little besides their characters.
  void findCharacters() {
    if (characters) return;
    UErrorCode status = U_ZERO_ERROR;
    characters.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    QUORL_CHECK(U_SUCCESS(status) && characters, "ICU has no character boundaries");
    characters->setText(units);
    nextEnd = characters->next();
  }

  const icu::UnicodeString units;
  std::unique_ptr<icu::BreakIterator> characters;
  std::int32_t start = 0;    // of the rest
  std::int32_t nextEnd = 0;  // of the first character after `start`
};

TextChunks::TextChunks(std::string_view text) : text_(std::make_unique<Text>(text)) {}
TextChunks::~TextChunks() = default;
TextChunks::TextChunks(TextChunks&& other) noexcept = default;
TextChunks& TextChunks::operator=(TextChunks&& other) noexcept = default;

std::u16string_view TextChunks::rest() const {
  const std::u16string_view all(text_->units.getBuffer(), static_cast<std::size_t>(text_->units.length()));
  return all.substr(static_cast<std::size_t>(text_->start));
}

std::u16string TextChunks::next() {
  text_->findCharacters();
  const std::int32_t start = text_->start;
  std::int32_t end = start;
  while (text_->nextEnd != icu::BreakIterator::DONE &&
         (end == start || text_->nextEnd - start <= maximumUnits)) {
    end = text_->nextEnd;
    text_->nextEnd = text_->characters->next();
  }
  const auto piece = rest().substr(0, static_cast<std::size_t>(end - start));
  text_->start = end;
  return std::u16string(piece);
}

}  // namespace quorl
