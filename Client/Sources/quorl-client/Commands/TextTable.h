// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorl::client {

enum class Column : std::uint8_t { left, right };

/// A table of text lines. Every cell is printable already. Columns are as wide as their longest cell, counted
/// in characters; the last one is not padded. Pure.
class TextTable {
 public:
  struct Heading {
    std::string text;
    Column alignment = Column::left;
  };

  explicit TextTable(std::vector<Heading> headings);

  /// As many cells as headings.
  void add(std::vector<std::string> cells);
  bool isEmpty() const { return rows_.size() == 1; }

  /// The headings, then the rows; indented by two blanks.
  std::vector<std::string> lines() const;

 private:
  std::vector<Column> alignments_;
  std::vector<std::vector<std::string>> rows_;  // the first one has the headings
};

}  // namespace quorl::client
