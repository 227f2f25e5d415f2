// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/PageTitle.h>

#include <algorithm>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

bool equalLetters(char left, char right) {
  return loweredASCII(left) == right;
}

// `lowered` in any case, at or after `from`.
std::size_t findLetters(std::string_view text, std::string_view lowered, std::size_t from) {
  const auto found = std::ranges::search(text.substr(from), lowered, equalLetters);
  return found.empty() ? std::string_view::npos
                       : static_cast<std::size_t>(found.begin() - text.substr(from).begin()) + from;
}

bool startsWithLetters(std::string_view text, std::string_view lowered) {
  return text.size() >= lowered.size() &&
         std::ranges::equal(text.substr(0, lowered.size()), lowered, equalLetters);
}

}  // namespace

// Every opening tag before the same '>' ends there and is followed by the same text. So after a mismatch the
// search continues after that '>', and the page is read once. An expression engine would try each of them.
std::optional<std::string> extractTitle(std::string_view page) {
  constexpr std::string_view opening = "<title";
  constexpr std::string_view closing = "</title>";
  for (std::size_t from = 0; from < page.size();) {
    const std::size_t start = findLetters(page, opening, from);
    if (start == std::string_view::npos) return std::nullopt;
    const std::size_t tagEnd = page.find('>', start + opening.size());
    if (tagEnd == std::string_view::npos) return std::nullopt;
    const std::size_t textEnd = page.find('<', tagEnd + 1);
    if (textEnd == std::string_view::npos) return std::nullopt;
    if (startsWithLetters(page.substr(textEnd), closing)) {
      const auto title = trimmedWhiteSpace(page.substr(tagEnd + 1, textEnd - tagEnd - 1));
      return title.empty() ? std::nullopt : std::optional(std::string(title));
    }
    from = tagEnd + 1;
  }
  return std::nullopt;
}

}  // namespace quorl
