// SPDX-License-Identifier: GPL-3.0-or-later
#include "NetworkSpace.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <thread>

namespace quorl::bench {

namespace {

void runOnThread(const std::function<void()>& work) {
  std::exception_ptr failure;
  std::thread([&] {
    try {
      work();
    } catch (...) {
      failure = std::current_exception();
    }
  }).join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace

NetworkSpace::NetworkSpace() {
  runOnThread([this] {
    if (unshare(CLONE_NEWNET) != 0) throw std::runtime_error("cannot create a network namespace");
    descriptor_ = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) throw std::runtime_error("cannot open the network namespace");
  });
  command("ip link set lo up");
}

NetworkSpace::~NetworkSpace() {
  close(descriptor_);
}

void NetworkSpace::run(const std::function<void()>& work) const {
  runOnThread([&] {
    if (setns(descriptor_, CLONE_NEWNET) != 0) throw std::runtime_error("cannot enter a network namespace");
    work();
  });
}

void NetworkSpace::command(const std::string& line) const {
  run([&] {
    if (std::system(line.c_str()) != 0) throw std::runtime_error("failed: " + line);
  });
}

std::string NetworkSpace::path() const {
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(descriptor_);
}

}  // namespace quorl::bench
