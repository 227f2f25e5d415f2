// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Trust/PairingLimiter.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/SecureRandom.h>

namespace quorl {

enum class PairingVerdict : std::uint8_t {
  lockedOut,  // the proof was not checked
  wrong,      // counted as a failure
  right,      // resets the failures and replaces the PIN
};

/// A PIN that is shown and the guesses of it, for the program that continues this one. A value.
struct PairingSnapshot {
  std::string pin;
  std::vector<Date> recentFailures;
  std::optional<Date> lockedUntil;

  bool operator==(const PairingSnapshot&) const = default;
};

/// The PIN that is shown, and the count of wrong guesses.
///
/// *Queue*: "quorl.pairing"; every operation may be called from any thread.
/// *Blocking*: every operation waits for the queue.
/// *Ownership*: shared by the runtime and its connections.
/// *Lifetime*: the runtime's.
class PairingState {
 public:
  using PINHandler = std::function<void(const std::string& pin)>;

  /// With a random PIN.
  PairingState(Scheduler& scheduler, std::shared_ptr<SecureRandom> random);
  /// With a fixed PIN; any text is accepted.
  PairingState(Scheduler& scheduler, std::shared_ptr<SecureRandom> random, std::string fixedPIN);

  PairingSnapshot snapshot() const;
  /// A fixed PIN stays. Called before the PIN is shown.
  void restore(PairingSnapshot snapshot);

  std::string pin() const;
  bool isFixed() const { return isFixed_; }

  /// Checks a proof over `nonce` and records the outcome in one step: concurrent guesses cannot pass the
  /// limit, and a random PIN serves one right guess only.
  PairingVerdict attempt(ByteView pinProof, ByteView nonce);

  bool isLockedOut();
  void recordFailure();
  void recordSuccess();
  /// Replaces the PIN, unless it is fixed, and returns the one in force.
  std::string regenerate();

  /// Called with every new PIN, on the thread that caused it and not on the queue.
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
