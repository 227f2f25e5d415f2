// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

struct xcb_connection_t;
struct xcb_selection_request_event_t;

namespace quorl::test {

/// A program that owns the CLIPBOARD selection and answers as a script says, well or badly.
///
/// *Queue*: its script runs on its own thread; the rest from the test's.
/// *Lifetime*: owns the selection when constructed. Destruction closes its connection.
class ScriptedOwner {
 public:
  struct Reply {
    std::string type;
    Bytes bytes;
    int format = 8;
    bool isSilent = false;                    // no answer at all
    bool isRefused = false;                   // property None
    bool isElsewhere = false;                 // names another property than the requested one
    std::vector<Bytes> parts;                 // sent by INCR, when there are any
    bool isEndless = false;                   // repeats the last part for ever
    std::uint32_t announced = 0;              // the size that INCR announces
    std::size_t partsBeforeDeath = SIZE_MAX;  // closes the connection then
    std::size_t partsBeforeSilence = SIZE_MAX;
    std::string laterType;  // of the parts after the first
  };
  /// By target. TARGETS is answered with the others unless it has an entry.
  using Script = std::map<std::string, Reply>;

  ScriptedOwner(const std::string& display, Script script);
  ~ScriptedOwner();
  ScriptedOwner(const ScriptedOwner&) = delete;
  ScriptedOwner& operator=(const ScriptedOwner&) = delete;

  int requests() const { return requests_; }
  std::uint64_t partsSent() const { return partsSent_; }
  bool ownsSelection() const { return owns_; }

 private:
  struct Transfer {
    std::uint32_t window;
    std::uint32_t property;
    Reply reply;
    std::size_t sent = 0;
  };

  void run();
  void answer(const xcb_selection_request_event_t& request);
  void sendPart(Transfer& transfer);
  std::uint32_t atom(const std::string& name);

  xcb_connection_t* xcb_;
  Script script_;
  std::uint32_t window_ = 0;
  std::vector<Transfer> transfers_;
  std::atomic<int> requests_{0};
  std::atomic<std::uint64_t> partsSent_{0};
  std::atomic<bool> owns_{true};
  std::atomic<bool> isEnding_{false};
  std::thread thread_;
};

}  // namespace quorl::test
