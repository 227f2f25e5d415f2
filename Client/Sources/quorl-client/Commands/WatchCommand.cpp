// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/ViewerLaunch.h>

namespace quorl::client {
namespace {

Outcome<void> runWatch(const Arguments& arguments, CommandContext& context) {
  const auto contents = context.book.load();
  if (!contents) return std::unexpected(contents.error());
  const auto words = viewerArguments(arguments, *contents);
  if (!words) return std::unexpected(words.error());
  return std::unexpected(becomeViewer(*words));
}

}  // namespace

std::vector<Command> watchCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "watch",
       .arguments = "[TARGET]",
       .summary = "see, hear and use a host in a window",
       .details =
           "Needs a desktop and the package quorl-viewer. TARGET is display/2, window/TITLE with the whole\n"
           "title, app/IDENTIFIER, or an address quorl://HOST/TARGET. Without it the window shows what it\n"
           "showed last. A title that is a part of an address has %20 for a blank.\n",
       .options = {{"--window", "ID", "a window by its number"},
                   {"--display", "ID", "a display by its number"},
                   {"--app", "ID", "an application by its identifier"},
                   {"--full-screen", "", "begin in full screen"},
                   {"--mute", "", "begin without sound"}},
       .maximumPositional = 1,
       .examples = {"watch", "watch display/2 --full-screen", "watch window/Notes --host desk.local",
                    "watch --host ssh://ada@desk.local --mute"},
       .run = runWatch});
  return commands;
}

}  // namespace quorl::client
