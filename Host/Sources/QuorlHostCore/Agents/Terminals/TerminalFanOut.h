// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QuorlHostCore/Agents/Terminals/SinkBacklog.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

/// Sends one terminal's output to the clients that watch it. Each piece is encoded once.
///
/// Terminal frames are never dropped on the way. So for a client that does not keep up with a flood, the
/// alternatives are an unbounded queue or stopping the program. Instead, above the limit of its backlog it is
/// sent nothing more. Once the backlog has drained, the client is shown the terminal again like one that
/// joins: its screen is cleared, then it gets the scrollback (the last quarter of a megabyte) and everything
/// from there on. So the host keeps at most the limit and one scrollback per client, neither other clients
/// nor the program wait, and a client that keeps up loses nothing.
///
/// *Queue*: the given one, on which the terminal's output arrives, so that nothing is sent twice or left out
/// between the first view and what follows.
/// *Blocking*: none.
/// *Ownership*: holds the clients weakly; an expired one is removed at the next piece.
class TerminalFanOut : public std::enable_shared_from_this<TerminalFanOut> {
 public:
  /// The current content of the terminal.
  struct View {
    Bytes scrollback;
    bool isAlternateScreen = false;
    Bytes modes;  // the current ones on the alternate screen, else those at the start of the scrollback
  };
  struct Terminal {
    std::function<View()> view;
    /// Makes a full-screen program repaint its screen.
    std::function<void()> repaint;
  };
  enum class First : std::uint8_t {
    viewNow,       // the client is shown the terminal at once
    viewWhenAsked  // the client is sent nothing before `show`
  };
  using Key = const StreamOutputSink*;

  TerminalFanOut(const UUID& agentID, SerialQueue queue, Terminal terminal);

  const SerialQueue& queue() const { return queue_; }

  // All on the queue.

  /// Adds a client, or replaces its earlier entry.
  void join(const std::shared_ptr<StreamOutputSink>& sink, std::shared_ptr<SinkBacklog> backlog, First first);
  void show(Key key);
  void leave(Key key);
  void deliver(const SharedBytes& output);
  bool isWatched() const;

 private:
  enum class State : std::uint8_t { waiting, live, behind };
  struct Watcher {
    Key key = nullptr;
    std::weak_ptr<StreamOutputSink> sink;
    std::shared_ptr<SinkBacklog> backlog;
    State state = State::waiting;
    Bytes modes;  // sent before the first output
  };

  void present(Watcher& watcher, StreamOutputSink& sink) QUORL_REQUIRES(queue_);
  void send(const Watcher& watcher, StreamOutputSink& sink, SharedBytes bytes) QUORL_REQUIRES(queue_);
  void leaveBehind(Watcher& watcher) QUORL_REQUIRES(queue_);
  void catchUp(Key key) QUORL_REQUIRES(queue_);
  Watcher* find(Key key) QUORL_REQUIRES(queue_);

  const UUID agentID_;
  const SerialQueue queue_;
  const Terminal terminal_;
  std::vector<Watcher> watchers_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
