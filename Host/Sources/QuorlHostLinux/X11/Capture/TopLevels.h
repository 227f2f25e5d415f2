// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include <QuorlHostLinux/X11/Capture/WindowOwner.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// A child of the root.
struct TopLevel {
  std::uint32_t window = 0;
  PixelRect bounds;  // on the root, borders included
  int borderWidth = 0;
  bool isMapped = false;
  std::uint64_t pixmap = 0;  // differs after each map and each change of size: the server makes a new pixmap
};

/// The children of the root in their stacking order, kept up to date by the server's events.
///
/// *Queue*: the connection's thread.
/// *Lifetime*: ends before its connection.
class TopLevels {
 public:
  /// Waits for the server.
  explicit TopLevels(X11Connection& connection);
  ~TopLevels();
  TopLevels(const TopLevels&) = delete;
  TopLevels& operator=(const TopLevels&) = delete;

  /// Takes any event of the server.
  void handle(const void* event);

  /// Increases with every change.
  std::uint64_t generation() const { return generation_; }
  /// Increases when windows come, go, are mapped or unmapped, or when the window manager changes its list of
  /// them; not when they move. Never 0.
  std::uint64_t membership() const { return membership_; }
  const std::vector<TopLevel>& bottomToTop() const { return stack_; }
  const TopLevel* find(std::uint32_t window) const;
  /// Waits for the server at the first call after a map. Null when the window is gone.
  const WindowOwner* owner(std::uint32_t window);
  /// The mapped windows over this one that hide parts of it, bottom to top. Waits for the server as `owner`.
  std::vector<TopLevel> covers(std::uint32_t window);
  /// Among the windows whose owner was read; else null.
  const ClientWindow* findClient(std::uint32_t client) const;

 private:
  std::vector<TopLevel>::iterator position(std::uint32_t window);
  void read();
  void add(TopLevel added);
  void remove(std::uint32_t window);
  void reparent(std::uint32_t window, std::uint32_t parent);
  void setMapped(std::uint32_t window, bool isMapped);
  void configure(std::uint32_t window, const PixelRect& bounds, int borderWidth);
  void restack(std::uint32_t window, std::uint32_t below);
  void raiseOrLower(std::uint32_t window, bool isRaised);
  void rootPropertyChanged(std::uint32_t property);
  void membershipChanged();

  X11Connection& connection_;
  std::uint32_t firstEvent_ = 0;  // the sequence number from which events are news
  std::vector<TopLevel> stack_;
  std::map<std::uint32_t, WindowOwner> owners_;
  std::uint64_t generation_ = 1;
  std::uint64_t membership_ = 1;
  std::uint64_t lastPixmap_ = 0;
};

}  // namespace quorl
