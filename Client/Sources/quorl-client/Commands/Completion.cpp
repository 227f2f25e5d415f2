// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/Completion.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include <quorl-client/Base/Printable.h>

namespace quorl::client {
namespace {

// What a name in capitals in a usage line (a slot) means.
enum class Kind : std::uint8_t { none, host, agent, file };

struct NamedKind {
  std::string_view name;
  Kind kind;
};
constexpr std::array kinds{
    NamedKind{"HOST", Kind::host},    NamedKind{"AGENT", Kind::agent}, NamedKind{"FILE", Kind::file},
    NamedKind{"FOLDER", Kind::file},  NamedKind{"DIR", Kind::file},    NamedKind{"OUT.png", Kind::file},
    NamedKind{"OUT.mp4", Kind::file},
};

Kind kindOf(std::string_view slot) {
  while (slot.starts_with('[')) slot.remove_prefix(1);
  while (slot.ends_with(']') || slot.ends_with('.')) slot.remove_suffix(1);
  const auto found = std::ranges::find(kinds, slot, &NamedKind::name);
  return found == kinds.end() ? Kind::none : found->kind;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    if (end > 0) pieces.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return pieces;
}

struct Words {
  std::vector<std::string_view> positional;  // before the last word
  const OptionSpec* awaiting = nullptr;      // the option whose value is the last word
  bool optionsEnded = false;
  std::string host;
};

const OptionSpec* findOption(const Command& command, std::string_view name) {
  for (const auto options : {std::span<const OptionSpec>(command.options), commonOptions()})
    if (const auto found = std::ranges::find(options, name, &OptionSpec::name); found != options.end())
      return &*found;
  return nullptr;
}

Words sort(const Command& command, std::span<const std::string_view> words) {
  Words sorted;
  for (const auto word : words.first(words.size() - 1)) {
    if (sorted.awaiting != nullptr) {
      if (sorted.awaiting->name == "--host") sorted.host = word;
      sorted.awaiting = nullptr;
    } else if (sorted.optionsEnded || !word.starts_with("--")) {
      sorted.positional.push_back(word);
    } else if (word == "--") {
      sorted.optionsEnded = true;
    } else if (word.starts_with("--host=")) {
      sorted.host = word.substr(7);
    } else if (const auto* option = findOption(command, word);
               option != nullptr && !option->valueName.empty()) {
      sorted.awaiting = option;
    }
  }
  return sorted;
}

class Completer {
 public:
  Completer(std::string_view begun, const NameSources& sources) : begun_(begun), sources_(sources) {}

  void offer(std::string_view word, std::string_view meaning) {
    if (word.starts_with(begun_)) result_.candidates.push_back({std::string(word), std::string(meaning)});
  }
  void offer(const std::vector<Candidate>& candidates) {
    for (const auto& candidate : candidates) offer(candidate.word, candidate.meaning);
  }
  void offer(Kind kind, const std::string& host) {
    if (kind == Kind::host) offer(sources_.hosts());
    if (kind == Kind::agent) offer(sources_.agents(host));
    if (kind == Kind::file) result_.mayBeFile = true;
  }
  void offer(std::span<const OptionSpec> options) {
    for (const auto& option : options) offer(option.name, option.help);
  }
  void offerCommands(std::span<const Command> commands) {
    for (const auto& command : commands) offer(command.name, command.summary);
  }
  Completion take() { return std::move(result_); }

 private:
  std::string_view begun_;
  const NameSources& sources_;
  Completion result_;
};

// "[list | add NAME COMMAND | remove ENTRY]": forms that begin with a word, or one form of slots.
void offerPositional(Completer& completer, const Command& command, const Words& words) {
  const std::size_t index = words.positional.size();
  if (index >= command.maximumPositional) return;
  for (const auto form : split(command.arguments, '|')) {
    auto parts = split(form, ' ');
    if (parts.empty()) continue;
    std::string_view first = parts.front();
    while (first.starts_with('[')) first.remove_prefix(1);
    while (first.ends_with(']')) first.remove_suffix(1);
    const bool isWord = !first.empty() && first.front() >= 'a' && first.front() <= 'z';
    if (isWord && index == 0) completer.offer(first, {});
    if (isWord && (index == 0 || words.positional.front() != first)) continue;
    const std::size_t last = parts.size() - 1;
    const bool repeats = parts[last].ends_with("...");
    if (index < parts.size() || repeats) completer.offer(kindOf(parts[std::min(index, last)]), words.host);
  }
}

}  // namespace

Completion complete(std::span<const Command> commands, std::span<const std::string_view> words,
                    const NameSources& sources) {
  if (words.empty()) return {};
  const std::string_view last = words.back();
  Completer completer(last, sources);
  if (words.size() == 1 || words.front() == "help") {
    if (words.size() <= 2) completer.offerCommands(commands);
    if (words.size() == 1) completer.offer("help", "describe a command, with examples");
    return completer.take();
  }
  const auto command = std::ranges::find(commands, words.front(), &Command::name);
  if (command == commands.end()) return {};
  const Words sorted = sort(*command, words.subspan(1));
  if (sorted.awaiting != nullptr) {
    completer.offer(kindOf(sorted.awaiting->valueName), sorted.host);
  } else if (last.starts_with('-') && !sorted.optionsEnded) {
    completer.offer(command->options);
    completer.offer(commonOptions());
  } else {
    offerPositional(completer, *command, sorted);
  }
  return completer.take();
}

std::string completionText(const Completion& completion) {
  std::string text;
  for (const auto& [word, meaning] : completion.candidates) {
    if (word.find(' ') != std::string::npos || printable(word) != word) continue;
    text += word;
    if (!meaning.empty()) text += '\t' + printable(meaning);
    text += '\n';
  }
  if (completion.mayBeFile) text += ":files\n";
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace quorl::client
