// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <filesystem>

#include <fmt/format.h>

#include <QuorlUnix/AtomicFile.h>
#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/MessageExchange.h>
#include <quorl-client/Commands/PasswordPrompt.h>
#include <quorl-client/Commands/TextTable.h>

namespace quorl::client {
namespace {

Outcome<std::vector<UserAccount>> fetchUsers(Session& session, Deadline deadline) {
  return ask<message::UserList>(session, deadline, ControlMessage(message::RequestUserList{}),
                                "the host did not send its users in time");
}

std::string_view stateText(const UserAccount& user) {
  switch (user.sessionState()) {
    case UserAccount::SessionState::active:
      return "active";
    case UserAccount::SessionState::signedInBackground:
      return "signed in";
    case UserAccount::SessionState::signedOut:
      return "signed out";
  }
  return "";
}

Outcome<void> savePictures(const std::vector<UserAccount>& users, const std::string& folder, Output& output) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  std::size_t count = 0;
  for (const UserAccount& user : users) {
    if (!user.avatarPNG) continue;
    const auto path = std::filesystem::path(folder) / fmt::format("{}.png", user.uid);
    const auto written = writeFileAtomically(path.string(), *user.avatarPNG, FileAccess::byUmask);
    if (!written) return cannotWrite(path, written.error().message());
    ++count;
  }
  output.note(fmt::format("{} of {} pictures saved.", count, users.size()));
  return {};
}

Outcome<void> runUsers(const Arguments& arguments, CommandContext& context) {
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto users = fetchUsers(**session, *deadline);
  if (!users) return std::unexpected(users.error());
  closeSession(**session);
  if (const auto folder = arguments.text("--pictures"))
    if (auto saved = savePictures(*users, *folder, context.output); !saved) return saved;
  if (arguments.has("--json")) {
    printRecord(context.output, *users);
    return {};
  }
  if (users->empty()) context.output.note("The host lists no accounts.");
  TextTable table({{"UID", Column::right}, {"USER"}, {"STATE"}, {"NAME"}});
  for (const UserAccount& user : *users)
    table.add({std::to_string(user.uid), printable(user.username), std::string(stateText(user)),
               printable(user.fullName)});
  if (!table.isEmpty())
    for (const auto& line : table.lines()) context.output.line(line);
  return {};
}

Outcome<std::uint32_t> uidOf(const std::string& word, Session& session, Deadline deadline) {
  if (const auto number = parseInteger(word)) {
    if (*number < 0 || *number > UINT32_MAX)
      return failed(ExitCode::usage, fmt::format("{} is not a user identity", word));
    return static_cast<std::uint32_t>(*number);
  }
  const auto users = fetchUsers(session, deadline);
  if (!users) return std::unexpected(users.error());
  const auto found = std::ranges::find(*users, word, &UserAccount::username);
  if (found == users->end())
    return failed(ExitCode::usage, fmt::format("the host has no user '{}'", word),
                  "'quorl_client users' lists them; a user can also be given by the number.");
  return found->uid;
}

Outcome<void> awaitResult(Session& session, Deadline deadline, UserSwitchStatus wanted) {
  const auto result =
      awaitCase<message::UserSwitchResult>(session, deadline, "the host did not report the result in time");
  if (!result) return std::unexpected(result.error());
  if (result->status == wanted) return {};
  return failed(result->status == UserSwitchStatus::notPermitted ? ExitCode::refused : ExitCode::failure,
                "the host could not do it: " +
                    printable(result->message.value_or(std::string(rawValue(result->status)))));
}

Outcome<void> runSwitch(const Arguments& arguments, CommandContext& context) {
  SwitchUserRequest request;
  const auto& user = arguments.positional()[0];
  if (arguments.has("--unlock")) {
    auto password = askPassword(context, fmt::format("Password of {} on the host:", printable(user)));
    if (!password) return std::unexpected(password.error());
    if (!password->isEmpty()) request.unlockPassword = std::move(*password);
  }
  const bool unlocks = request.unlockPassword.has_value();
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto uid = uidOf(user, **session, *deadline);
  if (!uid) return std::unexpected(uid.error());
  request.uid = *uid;
  if (auto sent = (*session)->send(ControlMessage(message::SwitchUser{std::move(request)})); !sent)
    return sent;
  if (auto done = awaitResult(**session, *deadline, UserSwitchStatus::switched); !done) return done;
  context.output.note(fmt::format("The host has switched to {}.", printable(user)));
  if (unlocks) {
    if (auto done = awaitResult(**session, *deadline, UserSwitchStatus::unlockAttempted); !done) return done;
    context.output.note("The password was typed.");
  }
  closeSession(**session);
  return {};
}

Outcome<void> runUnlock(const Arguments& arguments, CommandContext& context) {
  auto password = askPassword(context, "Password of the host's user:");
  if (!password) return std::unexpected(password.error());
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const ControlMessage request(message::UnlockSession{std::move(*password)});
  if (auto sent = (*session)->send(request); !sent) return sent;
  if (auto done = awaitResult(**session, *deadline, UserSwitchStatus::unlockAttempted); !done) return done;
  context.output.note("The password was typed.");
  closeSession(**session);
  return {};
}

Outcome<void> runVerify(const Arguments& arguments, CommandContext& context) {
  const auto& user = arguments.positional()[0];
  auto password = askPassword(context, fmt::format("Password of {} on the host:", printable(user)));
  if (!password) return std::unexpected(password.error());
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const ControlMessage request(message::VerifyCredentials{{user, std::move(*password)}});
  if (auto sent = (*session)->send(request); !sent) return sent;
  const auto result = awaitCase<message::CredentialResult>(**session, *deadline,
                                                           "the host did not check the password in time");
  if (!result) return std::unexpected(result.error());
  closeSession(**session);
  if (!result->valid) return failed(ExitCode::refused, "the password is wrong, or the host cannot check it");
  context.output.line("right");
  return {};
}

}  // namespace

std::vector<Command> userCommands() {
  std::vector<Command> commands;
  commands.push_back({.name = "users",
                      .arguments = "",
                      .summary = "list a host's accounts and who is signed in",
                      .options = {{"--json", "", "print the accounts as JSON, with their pictures"},
                                  {"--pictures", "FOLDER", "save the pictures as FOLDER/UID.png"}},
                      .examples = {"users", "users --pictures /tmp/faces"},
                      .run = runUsers});
  commands.push_back(
      {.name = "switch",
       .arguments = "USER|UID",
       .summary = "give a host's screen to another user",
       .details = "The host that this client is connected to may then release its port, which ends the\n"
                  "connection. A password is never an argument: --unlock asks for it without showing it, or\n"
                  "takes the first line of standard input.\n",
       .options = {{"--unlock", "", "ask for the user's password and have the host type it"}},
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"switch anna", "switch 1001 --unlock"},
       .run = runSwitch});
  commands.push_back({.name = "unlock",
                      .arguments = "",
                      .summary = "type a password into a host's lock screen",
                      .details =
                          "Asks for the password without showing it, or takes the first line of standard\n"
                          "input. The host types it and Return, whether or not its screen is locked, and\n"
                          "does not notice whether it was right.\n",
                      .examples = {"unlock"},
                      .run = runUnlock});
  commands.push_back({.name = "verify",
                      .arguments = "USER",
                      .summary = "check a password of an account of a host",
                      .details =
                          "Asks for the password without showing it, or takes the first line of standard\n"
                          "input. Exit status 4: wrong, or the host cannot check it.\n",
                      .minimumPositional = 1,
                      .maximumPositional = 1,
                      .examples = {"verify anna"},
                      .run = runVerify});
  return commands;
}

}  // namespace quorl::client
