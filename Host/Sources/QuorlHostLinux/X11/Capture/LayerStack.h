// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <vector>

#include <QuorlHostLinux/Pictures/DirtyRegion.h>
#include <QuorlHostLinux/X11/Capture/Scene.h>
#include <QuorlHostLinux/X11/Capture/SharedImage.h>
#include <QuorlHostLinux/X11/Capture/WindowLayer.h>

namespace quorl {

/// Keeps an image of some children of the root, drawn over one another and over black, and fetches only what
/// has changed. The server draws them together, if there is more than one; only the result is fetched.
///
/// *Queue*: the connection's thread.
/// *Ownership*: owns the layers, the server's pixmap and the image.
/// *Lifetime*: ends before its connection and the scene.
class LayerStack {
 public:
  LayerStack(X11Connection& connection, Scene& scene) : connection_(connection), scene_(scene) {}
  ~LayerStack();
  LayerStack(const LayerStack&) = delete;
  LayerStack& operator=(const LayerStack&) = delete;

  struct Wanted {
    TopLevel window;
    std::uint32_t visual = 0;
  };
  /// Shows these windows, bottom to top, within `area` of the root. What differs from before becomes dirty.
  /// Waits for the server if a window has a new pixmap.
  std::expected<void, PortError> arrange(const PixelRect& area, std::span<const Wanted> bottomToTop);

  /// Takes a damage event. False for any other event or window.
  bool handle(const void* event);

  /// False until there is an image.
  bool hasImage() const { return image_ != nullptr; }
  /// False until one of the windows has had pixels.
  bool hasPixels() const;
  bool isDirty() const;
  /// Requests the changed pixels and returns where they are, in the image's coordinates. The pixels may
  /// arrive later: the image waits for its rows.
  DirtyRegion refresh();
  /// Waits for all requested pixels.
  std::expected<void, PortError> finish() { return image_->awaitAll(); }

  const PixelRect& area() const { return area_; }
  SharedImage& image() { return *image_; }

 private:
  struct Placed {
    std::unique_ptr<WindowLayer> layer;
    PixelRect place;  // in the image's coordinates; may reach beyond it
    std::uint64_t pixmap = 0;
  };

  Placed placed(const Wanted& wanted);
  std::expected<void, PortError> resize(PixelSize size);
  void markDirty(const PixelRect& place);
  DirtyRegion takeDirt();
  bool isDirect() const;
  void paint(const DirtyRegion& dirty);
  void paintLayer(const Placed& each, const DirtyRegion& dirty);
  void blacken(const DirtyRegion& dirty);
  void limitTo(std::uint32_t region, const Placed& each);
  void dropCanvas();

  X11Connection& connection_;
  Scene& scene_;
  PixelRect area_;
  std::vector<Placed> layers_;  // bottom to top
  DirtyRegion dirty_;           // by other causes than damage
  std::unique_ptr<SharedImage> image_;
  std::uint32_t canvas_ = 0;  // the pixmap where the layers are drawn together; 0: not needed now
  std::uint32_t canvasPicture_ = 0;
};

}  // namespace quorl
