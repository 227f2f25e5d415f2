// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Trust/PairingLimiter.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/SecureRandom.h>

namespace quorl {

enum class PairingVerdict : std::uint8_t {
  lockedOut,  // the proof was not looked at
  wrong,      // counted as a failure
  right,      // the failures are forgotten and the PIN is used up
};

/// The PIN on show, and how often it was guessed wrong.
///
/// *Queue*: "quorl.pairing"; every operation may be called from any thread and waits for it.
/// *Ownership*: shared by the runtime and its connections. *Lifetime*: the runtime's.
class PairingState {
 public:
  using PINHandler = std::function<void(const std::string& pin)>;

  /// With a random PIN.
  PairingState(Scheduler& scheduler, std::shared_ptr<SecureRandom> random);
  /// With a PIN that never changes; any text is taken as it is.
  PairingState(Scheduler& scheduler, std::shared_ptr<SecureRandom> random, std::string fixedPIN);

  std::string pin() const;
  bool isFixed() const { return isFixed_; }

  /// Judges a proof over `nonce` and records the outcome, in one step: of guesses that arrive side by side
  /// none passes the limit, and none of two right ones is served by the same random PIN.
  PairingVerdict attempt(ByteView pinProof, ByteView nonce);

  bool isLockedOut();
  void recordFailure();
  void recordSuccess();
  /// The PIN now in force: a new one, unless it is fixed.
  std::string regenerate();

  /// Hears every new PIN, on the thread of whoever caused it and off the queue.
  void onPINChanged(PINHandler handler);

 private:
  PairingState(Scheduler& scheduler, std::shared_ptr<SecureRandom> random, std::string pin, bool isFixed);
  Date now() const { return queue_.scheduler().date(); }

  const SerialQueue queue_;
  const std::shared_ptr<SecureRandom> random_;
  const bool isFixed_;
  std::string currentPIN_ QUORL_GUARDED_BY(queue_);
  PairingLimiter limiter_ QUORL_GUARDED_BY(queue_);
  PINHandler onPINChanged_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
