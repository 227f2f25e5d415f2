// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <QuorlHostLinux/X11/Connection/ConnectionCut.h>
#include <QuorlHostLinux/X11/Connection/X11Loop.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>
#include <QuorlHostLinux/X11/Windows/FormerStates.h>

namespace quorl {

/// A connection for questions about windows and for changes to them, shared by the adapters of windows and of
/// running applications.
///
/// *Queue*: any thread; questions run on the session's own thread, one at a time.
/// *Blocking*: `ask` waits for the answer, at most `answerLimit`. While the server does not answer, further
/// questions fail at once.
/// *Ownership*: owns a thread and its connection, which is made by the first question.
/// *Lifetime*: destruction ends the connection even if the server does not answer. No call may run during it.
class WindowSession final : public X11Loop::Client {
 public:
  static constexpr std::chrono::seconds answerLimit{2};

  explicit WindowSession(X11DisplayName displayName);
  ~WindowSession() override;
  WindowSession(const WindowSession&) = delete;
  WindowSession& operator=(const WindowSession&) = delete;

  /// Absent when there is no display or no answer in time. A question that has not begun by then never runs;
  /// one that has may still run after the call, so it captures values, and of pointers the session alone.
  template <class Question>
  auto ask(Question question) -> std::optional<std::invoke_result_t<Question, X11Connection&>> {
    using Answer = std::invoke_result_t<Question, X11Connection&>;
    const auto kept = std::make_shared<Kept<Answer>>();
    run(kept, [kept, question = std::move(question)](X11Connection& connection) mutable {
      Answer answer = question(connection);
      // A reply that is absent because the server has gone is no answer.
      if (!connection.isAlive()) return;
      const std::scoped_lock lock(kept->mutex);
      kept->answer = std::move(answer);
    });
    const std::scoped_lock lock(kept->mutex);
    return std::move(kept->answer);
  }

  /// The monitors, kept until the server reports a change. On the session's thread, inside a question.
  const std::vector<Monitor>& monitors(X11Connection& connection);

  FormerStates& formerStates() { return formerStates_; }

  /// The server's events that a question has selected, counted.
  std::uint64_t eventCount();
  /// Waits until there are more than `seen` events, or until `end`.
  void waitForEvent(std::uint64_t seen, SteadyTime end);

 private:
  struct Wait {
    std::mutex mutex;
    std::condition_variable changed;
    bool isDone = false;
    bool isGivenUp = false;
  };
  template <class Answer>
  struct Kept : Wait {
    std::optional<Answer> answer;
  };
  /// Ends the wait of a question, also of one that is dropped without running.
  class Ending;

  void run(const std::shared_ptr<Wait>& wait, std::move_only_function<void(X11Connection&)> question);
  bool isStalled() const;

  void connected(X11Connection& connection) override;
  void handle(const void* event) override;
  std::optional<SteadyTime> turn() override { return std::nullopt; }
  void lost() override;

  std::atomic<SteadyTime::rep> runningSince_{0};  // 0: no question runs
  ConnectionCut cut_;

  FormerStates formerStates_;

  std::mutex eventMutex_;
  std::condition_variable eventArrived_;
  std::uint64_t eventCount_ = 0;  // guarded by eventMutex_

  // The session's thread.
  bool areMonitorsKnown_ = false;
  std::vector<Monitor> monitors_;
  X11Connection* connection_ = nullptr;

  std::unique_ptr<X11Loop> loop_;
};

}  // namespace quorl
