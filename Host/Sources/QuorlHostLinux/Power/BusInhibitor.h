// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <QuorlHostLinux/System/BusLoop.h>

namespace quorl {

/// Holds one inhibitor of a D-Bus service, and takes it again after the service or the bus has restarted.
///
/// *Queue*: the owner's; `take` and `drop` run on a thread of this object.
/// *Blocking*: construction and destruction wait for the service, for a few seconds at most.
/// *Ownership*: owns a connection and its thread.
/// *Lifetime*: destruction releases the inhibitor. So does the end of the process, by the end of the
/// connection.
class BusInhibitor {
 public:
  struct Service {
    BusPointer (*open)() = nullptr;
    std::string name;                   // on the bus
    std::function<bool(sd_bus*)> take;  // false if the service refuses or is absent
    std::function<void(sd_bus*)> drop;  // the bus may be nullptr
  };

  explicit BusInhibitor(Service service);
  BusInhibitor(const BusInhibitor&) = delete;
  BusInhibitor& operator=(const BusInhibitor&) = delete;
  ~BusInhibitor();

  /// Whether the inhibitor could be taken at the construction.
  bool wasTaken() const { return wasTaken_; }

 private:
  static int onOwnerChanged(sd_bus_message* message, void* self, sd_bus_error* error);
  void connected(sd_bus* bus);

  const Service service_;
  bool wasTaken_ = false;
  // On the loop's thread.
  bool isHeld_ = false;
  // Last, so that its thread ends before the members it uses.
  BusLoop loop_;
};

}  // namespace quorl
