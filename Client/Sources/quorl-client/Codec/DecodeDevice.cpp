// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Codec/DecodeDevice.h>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace quorl::client {
namespace {

bool hasVideoAcceleration() {
  for (auto type = av_hwdevice_iterate_types(AV_HWDEVICE_TYPE_NONE); type != AV_HWDEVICE_TYPE_NONE;
       type = av_hwdevice_iterate_types(type))
    if (type == AV_HWDEVICE_TYPE_VAAPI) return true;
  return false;
}

}  // namespace

Outcome<std::shared_ptr<DecodeDevice>> DecodeDevice::open(const std::filesystem::path& node) {
  if (!hasVideoAcceleration())
    return failed(ExitCode::failure, "this machine's media library was built without VA-API",
                  "Install libavcodec with VA-API.");
  if (::access(node.c_str(), R_OK | W_OK) != 0) {
    const int error = errno;
    return failed(ExitCode::failure, node.string() + " cannot be opened: " + std::strerror(error),
                  error == EACCES ? "Add this user to the group that owns the device (usually render)." : "");
  }
  AVBufferRef* context = nullptr;
  if (av_hwdevice_ctx_create(&context, AV_HWDEVICE_TYPE_VAAPI, node.c_str(), nullptr, 0) < 0)
    return failed(ExitCode::failure, "no VA-API driver works with " + node.string(),
                  "Install the driver of the graphics card: mesa-va-drivers or intel-media-va-driver.");
  return std::shared_ptr<DecodeDevice>(new DecodeDevice(context));
}

DecodeDevice::~DecodeDevice() {
  av_buffer_unref(&context_);
}

}  // namespace quorl::client
