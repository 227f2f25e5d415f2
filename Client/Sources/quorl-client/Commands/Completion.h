// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <quorl-client/Commands/Arguments.h>

namespace quorl::client {

/// A word for the place of the cursor, and its meaning.
struct Candidate {
  std::string word;
  std::string meaning;

  bool operator==(const Candidate&) const = default;
};

struct Completion {
  std::vector<Candidate> candidates;
  bool mayBeFile = false;

  bool operator==(const Completion&) const = default;
};

/// Names that are looked up only where a word may be one of them.
struct NameSources {
  std::function<std::vector<Candidate>()> hosts;
  /// Of the host that the words choose: the value of --host, or empty.
  std::function<std::vector<Candidate>(const std::string& host)> agents;
};

/// What the last of `words` may become; it may be empty. The words are those after the program's name.
Completion complete(std::span<const Command> commands, std::span<const std::string_view> words,
                    const NameSources& sources);

/// One candidate a line: the word, a tab, its meaning. Words with blanks or control characters are left out.
/// A line ":files" says that the shell may add the names of files.
std::string completionText(const Completion& completion);

}  // namespace quorl::client
