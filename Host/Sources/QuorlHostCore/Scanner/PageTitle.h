// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorl {

/// The text of the first title element of a page: what the case-insensitive expression
/// `<title[^>]*>([^<]*)</title>` finds, without white space at both ends. Nothing if it is empty. Entities
/// are not decoded. Takes time linear in the page's size.
std::optional<std::string> extractTitle(std::string_view page);

}  // namespace quorl
