// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Files/NameOrder.h>

#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <vector>

#include <QuorlKit/Foundation/ASCII.h>

namespace quorl {

namespace {

constexpr UChar32 replacement = 0xFFFD;

std::vector<UChar> utf16(std::string_view text) {
  std::vector<UChar> units(text.size() + 1);  // never more units than bytes
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(units.data(), static_cast<int32_t>(units.size()), &length, text.data(),
                       static_cast<int32_t>(text.size()), replacement, nullptr, &status);
  units.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
  return units;
}

}  // namespace

void NameOrder::Close::operator()(UCollator* collator) const {
  ucol_close(collator);
}

NameOrder::NameOrder(const char* locale) {
  UErrorCode status = U_ZERO_ERROR;
  collator_.reset(ucol_open(locale, &status));
  if (U_FAILURE(status)) collator_.reset();
  // The second level distinguishes accents, the third upper and lower case.
  if (collator_) ucol_setStrength(collator_.get(), UCOL_SECONDARY);
}

std::string NameOrder::keyOf(std::string_view name) const {
  // Without the data of ICU: the bytes, with ASCII letters in lower case.
  if (!collator_) return loweredASCII(name);
  const std::vector<UChar> units = utf16(name);
  std::string key(units.size() * 4 + 16, '\0');
  for (;;) {
    const auto size = static_cast<std::size_t>(
        ucol_getSortKey(collator_.get(), units.data(), static_cast<int32_t>(units.size()),
                        reinterpret_cast<std::uint8_t*>(key.data()), static_cast<int32_t>(key.size())));
    const bool fits = size <= key.size();
    key.resize(size);
    if (fits) return key;
  }
}

}  // namespace quorl
