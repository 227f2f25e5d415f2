// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/TextChunks.h>

#include <cstddef>
#include <memory>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

// The limit of the Unicode text of one keyboard event.
constexpr std::size_t maximumUnits = 20;

}  // namespace

std::vector<std::u16string> keyboardTextChunks(std::string_view text) {
  const auto units = icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> characters(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  QUORL_CHECK(U_SUCCESS(status) && characters, "ICU has no character boundaries");
  characters->setText(units);

  std::vector<std::u16string> chunks;
  std::u16string chunk;
  const std::u16string_view all(units.getBuffer(), static_cast<std::size_t>(units.length()));
  std::int32_t start = characters->first();
  for (std::int32_t end = characters->next(); end != icu::BreakIterator::DONE; end = characters->next()) {
    const auto character = all.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
    if (!chunk.empty() && chunk.size() + character.size() > maximumUnits) {
      chunks.push_back(std::move(chunk));
      chunk.clear();
    }
    chunk += character;
    start = end;
  }
  if (!chunk.empty()) chunks.push_back(std::move(chunk));
  return chunks;
}

}  // namespace quorl
