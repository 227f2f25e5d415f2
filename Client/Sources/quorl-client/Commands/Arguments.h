// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <quorl-client/Base/ClientError.h>

namespace quorl::client {

struct CommandContext;
class Arguments;

/// `valueName` empty: a switch.
struct OptionSpec {
  std::string_view name;
  std::string_view valueName;
  std::string_view help;
};

/// One row of the command table.
struct Command {
  std::string_view name;
  std::string_view arguments;  // as the usage line shows them
  std::string_view summary;    // one line
  std::string_view details;    // shown by help before the options; each paragraph ends in a newline
  std::vector<OptionSpec> options;
  std::size_t minimumPositional = 0;
  std::size_t maximumPositional = 0;
  std::vector<std::string_view> examples;
  Outcome<void> (*run)(const Arguments&, CommandContext&) = nullptr;
};

/// Options of every command.
std::span<const OptionSpec> commonOptions();

/// A parsed command line, checked against its command's row. Pure values.
///
/// Own code: CLI11 reports an unknown option or command only after missing arguments, accepts "nan" as a
/// number and has no `help COMMAND` page; each file that includes it takes over ten seconds to compile.
class Arguments {
 public:
  /// `words`: those after the command's name. Options may be anywhere, as "--name value" or "--name=value";
  /// the last of several counts; "--" ends them. A word such as "-3" is a number.
  static Outcome<Arguments> parse(const Command& command, std::span<const std::string_view> words);

  bool has(std::string_view option) const { return values_.contains(option); }
  std::optional<std::string> text(std::string_view option) const;
  /// All values of a repeatable option, in order.
  std::vector<std::string> texts(std::string_view option) const;
  Outcome<std::int64_t> integer(std::string_view option, std::int64_t fallback, std::int64_t minimum,
                                std::int64_t maximum) const;
  Outcome<double> number(std::string_view option, double fallback, double minimum, double maximum) const;

  const std::vector<std::string>& positional() const { return positional_; }
  Outcome<double> positionalNumber(std::size_t index, std::string_view name) const;

 private:
  std::map<std::string, std::vector<std::string>, std::less<>> values_;
  std::vector<std::string> positional_;
};

/// Nothing unless the whole text is a number. Infinity and NaN are not numbers here.
std::optional<double> parseNumber(std::string_view text);
std::optional<std::int64_t> parseInteger(std::string_view text);

}  // namespace quorl::client
