// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Link/DeliveredRate.h>
#include <QuorlHostCore/Link/FileShare.h>
#include <QuorlHostCore/Link/FileTurn.h>
#include <QuorlHostCore/Link/LinkEstimator.h>
#include <QuorlHostCore/Link/PictureBudget.h>
#include <QuorlHostCore/Ports/Network.h>

namespace quorl {

/// Lets one client's streams make their next picture when the link has room for it, and divides the link's
/// rate among them. Files wait here too, by the rules of `FileShare`. It observes the transport when a
/// picture is requested or was sent. While a stream waits, or a burst is being measured, it observes again
/// after the time that the rate predicts. It sets no timer while the link is not the limit.
///
/// *Queue*: operations on any thread. Timers run on the given queue; `whenOpen` runs on any thread, outside
/// all locks.
/// *Blocking*: none.
/// *Ownership*: its connection's; shares the transport.
/// *Lifetime*: after `close` no picture is admitted and no `whenOpen` is called.
class PictureGate : public std::enable_shared_from_this<PictureGate> {
 public:
  PictureGate(SerialQueue queue, std::shared_ptr<NetworkConnection> transport);

  /// The budget of the next picture. Without one, `request.whenOpen` is called once, when there is room. A
  /// later request of the same stream replaces one that waits.
  std::optional<PictureBudget> admit(PictureRequest request);
  /// The turn of the next piece of a file. `whenOpen` is called once if the turn is to wait. Each file asks
  /// for itself.
  FileTurn admitFile(std::function<void()> whenOpen);
  /// Bytes were accepted for the client.
  void accepted(std::size_t bytes);
  /// Accepted bytes will not reach the transport.
  void discarded(std::size_t bytes);
  /// The transport has taken bytes.
  void progressed();

  /// Whether pictures go by datagrams, and whether their pacer has a queue. Their arrival is not known.
  enum class Datagrams : std::uint8_t { unused, flowing, queued };
  void setDatagrams(Datagrams state);

  void close();

  DeliveredRate deliveredRate() const { return deliveredRate_; }
  /// The sum of the rates that this client's streams ask for, in bytes per second.
  double wantedRate() const;

 private:
  struct Stream {
    double wantedRate = 0;
    MonotonicTime wantedAt;
    std::function<void()> whenOpen;
  };
  using Wakers = std::vector<std::function<void()>>;

  // With `mutex_` held.
  void observe(MonotonicTime now);
  void setUnsentLimit();
  void forgetEndedStreams(MonotonicTime now);
  double sumOfWanted() const;
  std::size_t activeStreams(MonotonicTime now) const;
  bool isOpen() const;
  bool isWatching() const;
  FileShare::Link linkForFiles(MonotonicTime now) const;
  std::optional<Duration> nextLook(MonotonicTime now) const;
  Wakers takeWakers();
  void arm();

  void armTimer();
  void look();
  static void wake(const Wakers& wakers);

  const SerialQueue queue_;
  const std::shared_ptr<NetworkConnection> transport_;
  const std::shared_ptr<std::atomic<double>> deliveredRate_ = std::make_shared<std::atomic<double>>(0);

  mutable std::mutex mutex_;  // guards everything below
  LinkEstimator estimator_;
  std::map<std::uint32_t, Stream> streams_;
  FileShare fileShare_;
  Wakers waitingFiles_;
  Datagrams datagrams_ = Datagrams::unused;
  std::size_t unsentLimit_;
  std::optional<MonotonicTime> observedAt_;
  bool isArmed_ = false;
  bool isClosed_ = false;

  Timer timer_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
