// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/eventfd.h>
#include <systemd/sd-bus.h>

#include <poll.h>
#include <unistd.h>

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <QuorlUnix/Descriptor.h>

namespace quorl::client::test {

/// One object with one interface on a message bus.
///
/// *Queue*: the methods run on its own thread. *Lifetime*: `handler`, which the methods receive, must outlive
/// it, so make it the handler's last member.
class BusService {
 public:
  struct Identity {
    const char* name;
    const char* path;
    const char* interface;
  };

  BusService(const std::string& address, const Identity& identity, const sd_bus_vtable* methods,
             void* handler) {
    sd_bus_new(&bus_);
    sd_bus_set_address(bus_, address.c_str());
    sd_bus_set_bus_client(bus_, 1);
    EXPECT_GE(sd_bus_start(bus_), 0);
    EXPECT_GE(sd_bus_add_object_vtable(bus_, nullptr, identity.path, identity.interface, methods, handler),
              0);
    EXPECT_GE(sd_bus_request_name(bus_, identity.name, 0), 0);
    thread_ = std::thread([this] { run(); });
  }
  BusService(const BusService&) = delete;
  BusService& operator=(const BusService&) = delete;
  ~BusService() {
    const std::uint64_t one = 1;
    EXPECT_EQ(::write(stop_.get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
    thread_.join();
    sd_bus_flush_close_unref(bus_);
  }

 private:
  void run() {
    for (;;) {
      while (sd_bus_process(bus_, nullptr) > 0) {
      }
      pollfd watched[] = {{stop_.get(), POLLIN, 0},
                          {sd_bus_get_fd(bus_), static_cast<short>(sd_bus_get_events(bus_)), 0}};
      if (::poll(watched, 2, -1) > 0 && watched[0].revents != 0) return;
    }
  }

  sd_bus* bus_ = nullptr;
  Descriptor stop_{::eventfd(0, EFD_CLOEXEC)};
  std::thread thread_;
};

}  // namespace quorl::client::test
