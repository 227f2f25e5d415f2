// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <QuorlKit/Foundation/Geometry.h>

struct xcb_connection_t;

namespace quorl::test {

/// A plain X client, independent of the code under test: draws, and reads the screen without shared memory.
class TestClient {
 public:
  explicit TestClient(const std::string& display);
  ~TestClient();
  TestClient(const TestClient&) = delete;
  TestClient& operator=(const TestClient&) = delete;

  enum class Managed { no, yes };
  /// A black window that the server was asked to show. A window outside the screen is never drawn.
  std::uint32_t addWindow(const PixelRect& bounds, Managed managed = Managed::no,
                          const std::string& title = "");
  /// A mapped black window that the server has drawn.
  std::uint32_t makeWindow(const PixelRect& bounds, Managed managed = Managed::no,
                           const std::string& title = "");
  void moveResize(std::uint32_t window, const PixelRect& bounds);
  void unmap(std::uint32_t window);
  void map(std::uint32_t window);
  void destroy(std::uint32_t window);
  void raise(std::uint32_t window);
  void lower(std::uint32_t window);
  /// A mapped window of 32 bits a pixel, filled with this colour (0xAARRGGBB, premultiplied).
  std::uint32_t makeTransparentWindow(const PixelRect& bounds, std::uint32_t color);
  /// Makes it a child of another window, or of the root.
  void reparent(std::uint32_t window, std::uint32_t parent, int x, int y);
  void setBorder(std::uint32_t window, int width, std::uint32_t color);
  /// Limits the window to a rectangle of it.
  void setShape(std::uint32_t window, const PixelRect& rect);
  /// Sets a property of 32-bit numbers.
  void setNumbers(std::uint32_t window, const std::string& property, std::uint32_t type,
                  const std::vector<std::uint32_t>& numbers);
  /// Sends the root an event that says that the window was unmapped.
  void claimUnmapped(std::uint32_t window);

  /// The server fills the window with this colour, now and whenever a part of it appears.
  void setBackground(std::uint32_t window, std::uint32_t color);
  /// The server leaves the window to its program.
  void setNoBackground(std::uint32_t window);
  /// `color` is 0xRRGGBB.
  void fill(std::uint32_t window, const PixelRect& rect, std::uint32_t color);
  void fillRoot(const PixelRect& rect, std::uint32_t color) { fill(root_, rect, color); }
  /// Makes a monitor of a part of the root, in place of one of the same name. Other clients see one step. A
  /// monitor at the left edge gets the server's output.
  void setMonitor(const std::string& name, const PixelRect& bounds, bool isPrimary = false);
  /// Motion of a device, not a warp.
  void movePointer(int x, int y);
  /// A warp by a program: no device moves.
  void warpPointer(int x, int y);
  /// The window receives the pointer's motion, and its ancestors do not.
  void takeMotion(std::uint32_t window);
  std::pair<int, int> pointer();
  /// The root's cursor becomes a block of this colour, `side` pixels wide, the hot spot at its top left.
  void setBlockCursor(int side, std::uint32_t color);
  void sync();

  /// Pixels 0xRRGGBB of the root.
  std::vector<std::uint32_t> read(const PixelRect& rect);

  std::uint32_t root() const { return root_; }
  xcb_connection_t* xcb() const { return xcb_; }

 private:
  xcb_connection_t* xcb_;
  std::uint32_t root_ = 0;
  std::uint32_t context_ = 0;
};

}  // namespace quorl::test
