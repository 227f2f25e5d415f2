// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <csignal>

#include <spawn.h>

namespace quorl {

/// Attributes of posix_spawn(3): the child ignores and blocks no signals, whatever its parent does.
///
/// *Queue*: any thread. *Lifetime*: until the process was started.
class SpawnAttributes {
 public:
  /// `flags`: further POSIX_SPAWN_ flags.
  explicit SpawnAttributes(short flags = 0) {
    ::posix_spawnattr_init(&value_);
    sigset_t signals;
    sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&value_, &signals);
    sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&value_, &signals);
    ::posix_spawnattr_setflags(&value_,
                               static_cast<short>(flags | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&value_); }

  const posix_spawnattr_t* get() const { return &value_; }

 private:
  posix_spawnattr_t value_{};
};

}  // namespace quorl
