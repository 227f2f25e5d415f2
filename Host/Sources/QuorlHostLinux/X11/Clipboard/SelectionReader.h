// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <expected>
#include <map>
#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/Pasteboard.h>
#include <QuorlHostLinux/X11/Clipboard/ClipboardAtoms.h>
#include <QuorlHostLinux/X11/Clipboard/ClipboardLimits.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// Fetches the CLIPBOARD selection from the program that owns it: its list of targets once, then one form at
/// a time, whole or in parts (INCR). Each step has a time limit.
///
/// A transfer that is given up is still fetched, without use, until the owner changes: there are programs
/// that serve nobody else before its end, and that end with an X error when its window vanishes.
///
/// *Queue*: one thread at a time; answers are called on it. Steps wait for the server, never for the owner.
/// *Lifetime*: ends before its connection. Reads that are pending then fail as unreadable.
class SelectionReader {
 public:
  using Time = std::chrono::steady_clock::time_point;

  SelectionReader(X11Connection& connection, const ClipboardAtoms& atoms, const ClipboardLimits& limits);
  ~SelectionReader();
  SelectionReader(const SelectionReader&) = delete;
  SelectionReader& operator=(const SelectionReader&) = delete;

  void read(PasteboardType type, std::size_t limit, Pasteboard::ReadAnswer answer);
  /// Another program owns the selection now. Ends the read that is running.
  void forgetOwner();
  /// Takes an event of the server.
  void take(const void* event);
  /// Ends what has taken too long and starts the next read. Returns when to call again.
  std::optional<Time> turn();

 private:
  using Result = std::expected<Bytes, PasteboardFailure>;
  enum class Phase : std::uint8_t { targets, content, parts };
  enum class Ending : std::uint8_t { clean, abandoned };

  struct Request {
    PasteboardType type;
    std::size_t limit;
    Pasteboard::ReadAnswer answer;
  };
  struct Running {
    Request request;
    Phase phase = Phase::targets;
    std::uint32_t target = 0;
    Time stepEnd;
    Time end;
    Bytes received;
    std::uint32_t type = 0;     // of the first part
    std::size_t discarded = 0;  // of content that is too large
  };
  /// A transfer that was given up.
  struct Abandoned {
    std::uint32_t window;
    std::size_t discarded;
  };
  struct Part {
    std::uint32_t type = 0;
    std::uint8_t format = 0;
    std::size_t size = 0;
  };

  void start(Request request);
  void convert(std::uint32_t target, Phase phase);
  void askForContent();
  void takeAnswer(std::uint32_t target, std::uint32_t property);
  void takeTargets();
  void takeContent();
  void takePart();
  void discardPart(Abandoned& transfer) const;
  bool addPart(const Part& part);
  bool isText(std::uint32_t type) const;
  Result decoded(Bytes content) const;
  Part measureProperty(std::uint32_t window) const;
  Bytes fetchProperty(std::size_t size) const;
  void deleteProperty(std::uint32_t window) const;
  void extendStep();
  void finish(Result result, Ending ending);
  void destroyWindows();

  X11Connection& connection_;
  const ClipboardAtoms& atoms_;
  const ClipboardLimits limits_;
  std::deque<Request> waiting_;
  std::optional<Running> running_;
  std::optional<std::vector<std::uint32_t>> targets_;  // of the present owner, once listed
  std::uint32_t window_ = 0;                           // receives the content; 0: none yet
  std::map<std::uint32_t, std::size_t> tooLarge_;      // limits that the owner's content exceeds, by target
  std::vector<Abandoned> abandoned_;
};

}  // namespace quorl
