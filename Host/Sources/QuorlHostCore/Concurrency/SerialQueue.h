// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Concurrency/ThreadSafety.h>
#include <QuorlHostCore/Concurrency/Timer.h>

namespace quorl {

/// The order of waits: `sync` goes from a lower rank to a higher one only. Queues that never wait for each
/// other may share a rank.
enum class QueueRank : std::uint8_t {
  server = 20,      // the session listener
  registry = 30,    // the agent registry
  connection = 40,  // one client's session
  stream = 50,      // one picture stream
  service = 60,     // providers, injectors, scanners, sessions of agents
  store = 70,       // trust store, pairing, catalog, extras
  adapter = 90,     // an adapter's own queue, which waits for no other
};

/// Runs work one piece at a time, in order, on threads of a `Scheduler`. Every stateful object owns one, and
/// all its mutable fields belong to it.
///
/// A value of this type refers to a queue; copies refer to the same one. Work may hold the last reference to
/// the object that owns the queue, because the queue lives until its work has ended.
///
/// *Queue*: every operation may be called from any thread.
/// *Blocking*: only `sync` waits.
class QUORL_CAPABILITY("queue") SerialQueue {
 public:
  using Work = Scheduler::Work;

  SerialQueue(Scheduler& scheduler, std::string label, QueueRank rank);

  /// Runs `work` later, in the order of the calls.
  void async(Work work) const;

  /// Runs `work` in order, waits for it and returns its value. On an idle queue the work runs on this thread;
  /// on a queue that is scheduled but not running this thread takes over the pending work. So no free pool
  /// thread is ever needed. A wait against the rank order or on the current queue aborts with both labels.
  template <class F>
  auto sync(F&& work) const -> std::invoke_result_t<F&> {
    using Result = std::invoke_result_t<F&>;
    if constexpr (std::is_void_v<Result>) {
      runSync([&] { work(); });
    } else {
      std::optional<Result> result;
      runSync([&] { result.emplace(work()); });
      return std::move(*result);
    }
  }

  /// Runs `work` once, `delay` from now. The work must hold its target weakly.
  [[nodiscard]] Timer after(Duration delay, Work work) const;

  /// Runs `work` `first` from now and then every `interval`. A late run delays the later ones; missed runs
  /// are not made up.
  [[nodiscard]] Timer every(Duration first, Duration interval, std::function<void()> work) const;

  /// True on the thread that is running this queue's work.
  bool isCurrent() const;
  void assertCurrent() const QUORL_ASSERTS(this);

  const std::string& label() const;
  Scheduler& scheduler() const;
  MonotonicTime now() const { return scheduler().now(); }

 private:
  struct Impl;
  void runSync(const std::function<void()>& work) const;

  std::shared_ptr<Impl> impl_;
};

}  // namespace quorl
