// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>

#include <quorl-client/Base/ClientError.h>

struct AVBufferRef;

namespace quorl::client {

/// A device that decodes video, used through VA-API.
///
/// *Queue*: any. *Ownership*: shared with the decoders that use it.
class DecodeDevice {
 public:
  /// `node` is a render node, such as /dev/dri/renderD128. An error names what is missing.
  /// *Blocking*: loads and starts a driver, some ten milliseconds.
  static Outcome<std::shared_ptr<DecodeDevice>> open(const std::filesystem::path& node);
  ~DecodeDevice();
  DecodeDevice(const DecodeDevice&) = delete;
  DecodeDevice& operator=(const DecodeDevice&) = delete;

  AVBufferRef* context() const { return context_; }

 private:
  explicit DecodeDevice(AVBufferRef* context) : context_(context) {}

  AVBufferRef* context_;
};

}  // namespace quorl::client
