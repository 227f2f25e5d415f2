// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/Arguments.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

namespace quorl::client {
namespace {

constexpr std::array common{
    OptionSpec{"--host", "HOST", "name or address[:port] of the host; not needed if only one is paired"},
    OptionSpec{"--timeout", "SECONDS", "how long to wait for the host's answers (default 10)"},
    OptionSpec{"--help", "", "show this text"},
};

const OptionSpec* findOption(const Command& command, std::string_view name) {
  const auto named = [&](const OptionSpec& option) { return option.name == name; };
  if (const auto found = std::ranges::find_if(command.options, named); found != command.options.end())
    return &*found;
  const auto found = std::ranges::find_if(common, named);
  return found != common.end() ? &*found : nullptr;
}

std::unexpected<ClientError> misused(const Command& command, std::string what) {
  return failed(ExitCode::usage, std::move(what), fmt::format("See 'quorl_client help {}'.", command.name));
}

bool isOption(std::string_view word) {
  return word.size() > 1 && word.front() == '-' && !parseNumber(word);
}

}  // namespace

std::span<const OptionSpec> commonOptions() {
  return common;
}

std::optional<double> parseNumber(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

Outcome<Arguments> Arguments::parse(const Command& command, std::span<const std::string_view> words) {
  Arguments result;
  bool optionsEnded = false;
  for (std::size_t index = 0; index < words.size(); ++index) {
    const auto word = words[index];
    if (!optionsEnded && word == "--") {
      optionsEnded = true;
      continue;
    }
    if (optionsEnded || !isOption(word)) {
      result.positional_.emplace_back(word);
      continue;
    }
    const auto equals = word.find('=');
    const auto name = word == "-h" ? std::string_view("--help") : word.substr(0, equals);
    const auto* option = findOption(command, name);
    if (option == nullptr) return misused(command, fmt::format("{} has no option {}", command.name, name));
    std::string value;
    if (option->valueName.empty()) {
      if (equals != std::string_view::npos) return misused(command, fmt::format("{} takes no value", name));
    } else if (equals != std::string_view::npos) {
      value = word.substr(equals + 1);
    } else if (++index < words.size()) {
      value = words[index];
    } else {
      return misused(command, fmt::format("{} needs a value ({})", name, option->valueName));
    }
    result.values_[std::string(name)].push_back(std::move(value));
  }
  // With --help the rest of the command line may be incomplete.
  if (result.has("--help")) return result;
  if (result.positional_.size() < command.minimumPositional)
    return misused(command, fmt::format("{} needs {}", command.name, command.arguments));
  if (result.positional_.size() > command.maximumPositional)
    return misused(command, fmt::format("{} takes no further argument: '{}'", command.name,
                                        result.positional_[command.maximumPositional]));
  return result;
}

std::optional<std::string> Arguments::text(std::string_view option) const {
  const auto found = values_.find(option);
  return found != values_.end() ? std::optional(found->second.back()) : std::nullopt;
}

std::vector<std::string> Arguments::texts(std::string_view option) const {
  const auto found = values_.find(option);
  return found != values_.end() ? found->second : std::vector<std::string>();
}

Outcome<std::int64_t> Arguments::integer(std::string_view option, std::int64_t fallback, std::int64_t minimum,
                                         std::int64_t maximum) const {
  const auto given = text(option);
  if (!given) return fallback;
  const auto value = parseInteger(*given);
  if (!value || *value < minimum || *value > maximum)
    return failed(ExitCode::usage, fmt::format("{} must be a whole number from {} to {}, not '{}'", option,
                                               minimum, maximum, *given));
  return *value;
}

Outcome<double> Arguments::number(std::string_view option, double fallback, double minimum,
                                  double maximum) const {
  const auto given = text(option);
  if (!given) return fallback;
  const auto value = parseNumber(*given);
  if (!value || *value < minimum || *value > maximum)
    return failed(ExitCode::usage, fmt::format("{} must be a number from {} to {}, not '{}'", option, minimum,
                                               maximum, *given));
  return *value;
}

Outcome<double> Arguments::positionalNumber(std::size_t index, std::string_view name) const {
  const auto value = parseNumber(positional_.at(index));
  if (!value)
    return failed(ExitCode::usage, fmt::format("{} must be a number, not '{}'", name, positional_[index]));
  return *value;
}

}  // namespace quorl::client
