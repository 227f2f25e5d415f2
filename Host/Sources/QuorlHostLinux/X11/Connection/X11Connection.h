// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/Geometry.h>

struct xcb_connection_t;

namespace quorl {

/// Returns the name of the display, or nothing when there is none. Called for each attempt to connect, so
/// that a display that appears later is found.
using X11DisplayName = std::function<std::optional<std::string>()>;

/// The display that the environment names in `DISPLAY`.
X11DisplayName displayNameFromEnvironment();

struct X11Extension {
  bool present = false;
  std::uint8_t firstEvent = 0;
  std::uint8_t majorOpcode = 0;
};

/// The extensions of the server. `present` includes the version we need.
struct X11Extensions {
  X11Extension randr;      // 1.5: monitors
  X11Extension shm;        // 1.2: segments passed as descriptors
  X11Extension damage;     // 1.1
  X11Extension xfixes;     // 5.0
  X11Extension composite;  // 0.4
  X11Extension xtest;      // 2.2
  X11Extension xkb;        // 1.0
  X11Extension xinput;     // 2.2: raw events
  X11Extension resource;   // 1.2: process ids
};

/// One connection to an X server, with its extensions, root and atoms, which are read once.
///
/// *Queue*: one thread at a time.
/// *Ownership*: owns the connection and its descriptor (close-on-exec).
/// *Lifetime*: may still be used after the server has gone: requests do nothing and replies are absent. It
/// does not reconnect.
class X11Connection {
 public:
  /// Waits for the server's setup and its extensions.
  static std::expected<std::unique_ptr<X11Connection>, PortError> open(const X11DisplayName& name);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  xcb_connection_t* xcb() const { return xcb_; }
  std::uint32_t root() const { return root_; }
  const X11Extensions& extensions() const { return extensions_; }

  int descriptor() const;
  bool isAlive() const;

  /// Adds or removes events of the root that this connection receives (core event masks). Others stay.
  void selectRootEvents(std::uint32_t mask);
  void unselectRootEvents(std::uint32_t mask);

  /// The size of the root now; 0 x 0 when the server has gone.
  PixelSize rootSize() const;

  /// Interned once. 0 when the server has gone.
  std::uint32_t atom(const std::string& name);

  /// True when 32-bit pixels of the root are stored as blue, green, red, unused.
  bool hasBGRXPixels() const { return hasBGRXPixels_; }

 private:
  explicit X11Connection(xcb_connection_t* xcb) : xcb_(xcb) {}
  void readScreen(int number);
  void readExtensions();

  xcb_connection_t* xcb_;
  std::uint32_t root_ = 0;
  std::uint32_t rootEvents_ = 0;
  bool hasBGRXPixels_ = false;
  X11Extensions extensions_;
  std::map<std::string, std::uint32_t> atoms_;
};

}  // namespace quorl
