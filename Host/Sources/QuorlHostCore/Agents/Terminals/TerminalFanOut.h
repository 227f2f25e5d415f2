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
/// A client that does not keep up with a flood is left behind rather than waited for: terminal frames are
/// never dropped on the way, so all that could be done for it otherwise is to queue without bound or to stop
/// the program. Above its backlog's limit it is sent nothing more; once it has drained it is shown the
/// terminal afresh, as somebody who joins is: its screen is cleared, then comes the scrollback, which holds
/// the last quarter of a megabyte, and from there on everything. So the host keeps at most the limit and one
/// scrollback for a client, no other client waits, the program never does, and a client that keeps up loses
/// not a byte.
///
/// *Queue*: the one given, on which the terminal's output comes; so nothing is sent twice or left out between
/// what a client is shown at first and what follows. *Ownership*: holds the clients weakly; one that has gone
/// is forgotten at the next piece.
class TerminalFanOut : public std::enable_shared_from_this<TerminalFanOut> {
 public:
  /// What the terminal shows now.
  struct View {
    Bytes scrollback;
    bool isAlternateScreen = false;
    Bytes modes;  // of now on the alternate screen, else those in which the scrollback begins
  };
  struct Terminal {
    std::function<View()> view;
    /// Makes a full-screen program paint its screen anew.
    std::function<void()> repaint;
  };
  enum class First : std::uint8_t {
    viewNow,       // the client is shown the terminal at once
    viewWhenAsked  // it is sent nothing before `show`
  };
  using Key = const StreamOutputSink*;

  TerminalFanOut(const UUID& agentID, SerialQueue queue, Terminal terminal);

  const SerialQueue& queue() const { return queue_; }

  // All on the queue.

  /// Takes the place of an earlier entry of the same client.
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
    Bytes modes;  // to go in front of the first output
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
