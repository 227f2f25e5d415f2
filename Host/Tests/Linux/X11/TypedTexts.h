// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

#include <QuorlHostCore/Ports/EventPoster.h>

namespace quorl::test {

/// Posts a text as an input service does: in pieces of at most 20 UTF-16 units, each as a press and a
/// release, each finished before the next.
void type(EventPoster& poster, const std::u16string& text);

/// `count` characters of many scripts, drawn from a seed: Latin, Greek, Cyrillic, CJK, Hangul, mathematics,
/// emoji; a space after each ten or so.
std::u16string randomText(unsigned seed, int count);

std::string utf8Of(const std::u16string& text);

}  // namespace quorl::test
