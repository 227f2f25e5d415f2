// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/TextTable.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include <QuorlKit/Foundation/Check.h>

namespace quorl::client {
namespace {

std::size_t characterCount(std::string_view text) {
  // Every byte of UTF-8 but the continuation bytes begins a character.
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

}  // namespace

TextTable::TextTable(std::vector<Heading> headings) {
  rows_.emplace_back();
  for (Heading& heading : headings) {
    alignments_.push_back(heading.alignment);
    rows_.front().push_back(std::move(heading.text));
  }
}

void TextTable::add(std::vector<std::string> cells) {
  QUORL_CHECK(cells.size() == alignments_.size(), "a row has a cell for each heading");
  rows_.push_back(std::move(cells));
}

std::vector<std::string> TextTable::lines() const {
  std::vector<std::size_t> widths(alignments_.size());
  for (const auto& row : rows_)
    for (std::size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], characterCount(row[column]));
  std::vector<std::string> lines;
  for (const auto& row : rows_) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      const std::string padding(widths[column] - characterCount(row[column]), ' ');
      const bool isLast = column + 1 == row.size();
      line += "  ";
      if (alignments_[column] == Column::right) line += padding;
      line += row[column];
      if (alignments_[column] == Column::left && !isLast) line += padding;
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace quorl::client
