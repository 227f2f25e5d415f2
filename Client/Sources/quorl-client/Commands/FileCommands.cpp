// SPDX-License-Identifier: GPL-3.0-or-later
#include <chrono>
#include <ctime>
#include <filesystem>
#include <optional>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/TextTable.h>
#include <quorl-client/Files/FileExchange.h>
#include <quorl-client/Files/TransferText.h>

namespace quorl::client {
namespace {

constexpr auto progressInterval = std::chrono::milliseconds(100);

/// Shows a bar while a file moves.
class ProgressBar {
 public:
  ProgressBar(Output& output, std::string name) : output_(output), name_(std::move(name)) {}

  void operator()(std::uint64_t done, std::uint64_t total) {
    const auto now = Clock::now();
    if (now < nextAt_) return;
    nextAt_ = now + progressInterval;
    output_.progress(progressText(name_, done, total, now - begin_));
  }
  Elapsed elapsed() const { return Clock::now() - begin_; }

 private:
  Output& output_;
  const std::string name_;
  const Clock::time_point begin_ = Clock::now();
  Clock::time_point nextAt_ = begin_;
};

/// A path without "/" or "~" at its start counts from the home folder on the host.
std::string remotePath(const std::string& typed) {
  return typed.empty() || typed[0] == '/' || typed[0] == '~' ? typed : "~/" + typed;
}

Outcome<MoveLimits> limitsOf(const Arguments& arguments) {
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  MoveLimits limits;
  limits.answer = *deadline - Clock::now();
  limits.stall = std::max(limits.stall, limits.answer);
  return limits;
}

/// Moves one file after the other. A file that cannot be moved does not stop the others.
template <class Item, class Move>
Outcome<void> moveAll(const Arguments& arguments, CommandContext& context, std::vector<Item>& items,
                      Move move) {
  std::unique_ptr<Session> session;
  std::size_t failures = 0;
  for (Item& item : items) {
    if (!session) {
      auto opened = openSession(arguments, context);
      if (!opened) return std::unexpected(opened.error());
      session = std::move(*opened);
    }
    const Outcome<void> moved = move(*session, item);
    if (moved) continue;
    if (items.size() == 1 || moved.error().code != ExitCode::failure) return moved;
    context.output.note("quorl_client: " + moved.error().what);
    ++failures;
    // The end of the session also ends the broken transfer at the host.
    session.reset();
  }
  if (session) closeSession(*session);
  if (failures == 0) return {};
  return failed(ExitCode::failure, fmt::format("{} of {} files were not moved", failures, items.size()));
}

Outcome<void> runPush(const Arguments& arguments, CommandContext& context) {
  std::vector<LocalSource> sources;
  for (const std::string& path : arguments.positional()) {
    auto source = LocalSource::open(path);
    if (!source) return std::unexpected(source.error());
    sources.push_back(std::move(*source));
  }
  const auto limits = limitsOf(arguments);
  if (!limits) return std::unexpected(limits.error());
  return moveAll(arguments, context, sources, [&](Session& session, LocalSource& source) -> Outcome<void> {
    const std::string name = printable(source.path().filename().string());
    context.waiter.activity = "sending " + name;
    ProgressBar bar(context.output, name);
    const auto moved = pushFile(session, source, *limits, std::ref(bar));
    if (!moved)
      return failed(moved.error().code, fmt::format("{}: {}", name, moved.error().what),
                    moved.error().advice);
    context.output.line(resultText(name, moved->byteCount, bar.elapsed(), moved->sha256));
    return {};
  });
}

Outcome<void> runPull(const Arguments& arguments, CommandContext& context) {
  const std::filesystem::path folder = arguments.text("--to").value_or(".");
  std::error_code ignored;
  if (!std::filesystem::is_directory(folder, ignored))
    return failed(ExitCode::usage, fmt::format("{} is no folder", printable(folder.string())));
  const auto existing =
      arguments.has("--replace") ? LocalTarget::Existing::replace : LocalTarget::Existing::keep;
  const auto limits = limitsOf(arguments);
  if (!limits) return std::unexpected(limits.error());
  std::vector<std::string> paths = arguments.positional();
  return moveAll(arguments, context, paths, [&](Session& session, const std::string& path) -> Outcome<void> {
    const std::string name = printable(std::filesystem::path(path).filename().string());
    context.waiter.activity = "receiving " + name;
    ProgressBar bar(context.output, name);
    const auto pulled = pullFile(session, remotePath(path), folder, existing, *limits, std::ref(bar));
    if (!pulled)
      return failed(pulled.error().code, fmt::format("{}: {}", name, pulled.error().what),
                    pulled.error().advice);
    context.output.line(resultText(printable(pulled->path.string()), pulled->file.byteCount, bar.elapsed(),
                                   pulled->file.sha256));
    return {};
  });
}

std::string modifiedText(const Date& date) {
  return fmt::format("{:%Y-%m-%d %H:%M}",
                     fmt::localtime(static_cast<std::time_t>(std::clamp(date.secondsSince1970, 0.0, 1e11))));
}

std::string nameOf(const RemoteFileEntry& entry) {
  return printable(entry.name) + (entry.isDirectory ? "/" : "");
}

Outcome<void> runList(const Arguments& arguments, CommandContext& context) {
  const auto& words = arguments.positional();
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto listing = listFolder(**session, words.empty() ? "" : remotePath(words[0]), *deadline);
  if (!listing) return std::unexpected(listing.error());
  closeSession(**session);
  if (arguments.has("--json")) {
    for (const RemoteFileEntry& entry : listing->entries) printRecord(context.output, entry);
  } else if (arguments.has("--long")) {
    TextTable table({{"SIZE", Column::right}, {"MODIFIED"}, {"NAME"}});
    for (const RemoteFileEntry& entry : listing->entries)
      table.add({entry.isDirectory ? "" : byteText(static_cast<double>(entry.byteCount)),
                 modifiedText(entry.modified), nameOf(entry)});
    for (const std::string& line : table.lines()) context.output.line(line);
  } else {
    for (const RemoteFileEntry& entry : listing->entries) context.output.line(nameOf(entry));
  }
  constexpr std::size_t mostEntries = 2'000;
  if (listing->entries.size() == mostEntries)
    context.output.note("The host lists at most 2000 entries of a folder; there may be more.");
  return {};
}

}  // namespace

std::vector<Command> fileCommands() {
  std::vector<Command> commands;
  commands.push_back({.name = "push",
                      .arguments = "FILE...",
                      .summary = "send files into a host's folder for downloads",
                      .details =
                          "Each file appears there when it is whole, under a new name if its own is taken.\n"
                          "The hashes of both ends are compared.\n",
                      .options = {},
                      .minimumPositional = 1,
                      .maximumPositional = 10'000,
                      .examples = {"push report.pdf", "push *.jpg"},
                      .run = runPush});
  commands.push_back({.name = "pull",
                      .arguments = "PATH...",
                      .summary = "fetch files from a host",
                      .details =
                          "A PATH without / or ~ counts from the home folder on the host. Files appear when\n"
                          "they are whole and their hashes match. An existing file is never overwritten\n"
                          "without --replace.\n",
                      .options = {{"--to", "FOLDER", "where the files go (the current folder)"},
                                  {"--replace", "", "replace files of the same name"}},
                      .minimumPositional = 1,
                      .maximumPositional = 10'000,
                      .examples = {"pull Documents/report.pdf", "pull /tmp/build.log --to logs"},
                      .run = runPull});
  commands.push_back({.name = "ls",
                      .arguments = "[PATH]",
                      .summary = "list a folder of a host",
                      .details =
                          "A PATH without / or ~ counts from the home folder on the host, which is also the\n"
                          "default. Clients see the home folder, mounted volumes and the temporary folder.\n"
                          "Control characters in names are escaped; folders end in a slash.\n",
                      .options = {{"--long", "", "with size and time of the last change"},
                                  {"--json", "", "one JSON object a line"}},
                      .minimumPositional = 0,
                      .maximumPositional = 1,
                      .examples = {"ls", "ls --long Documents", "ls /media"},
                      .run = runList});
  return commands;
}

}  // namespace quorl::client
