// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include <QuorlKit/Models/Models.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Hosts/HostBook.h>
#include <quorl-client/Hosts/ViewerAddress.h>

namespace quorl::viewer {

/// The command line of the viewer. Also what a second viewer of a host sends to the first one.
struct ViewerOptions {
  std::string host;                          // empty: the only paired one, or a person chooses
  bool mayPair = false;                      // the host came from an address, which may name an unknown one
  std::optional<StreamTarget> target;        // by its number
  std::optional<client::ViewTarget> wanted;  // without a number; neither: what was watched last
  bool isFullScreen = false;
  bool isMuted = false;
  bool wantsHosts = false;    // the list of hosts, also if only one is paired
  bool wantsDialogs = false;  // errors in a window, for starts without a terminal
  bool wantsHelp = false;
  bool wantsVersion = false;

  /// Fails with `usage`. Never takes a word for a path or a command.
  static client::Outcome<ViewerOptions> parse(std::span<const std::string> words);
};

/// The host that the options name, or the only paired one. Nothing: a person has to choose.
client::Outcome<std::optional<client::PairedHost>> chosenHost(const ViewerOptions& options,
                                                              const client::HostBookContents& contents);

/// The text of --help.
std::string viewerHelp();

/// Whether --dialogs is among words that need not be right.
bool wantsDialogs(std::span<const std::string> words);

/// Words that `ViewerOptions::parse` reads, without `mayPair`, --dialogs, --help and --version.
std::vector<std::string> wordsOf(const ViewerOptions& options);

}  // namespace quorl::viewer
