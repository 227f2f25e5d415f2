// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <pulse/pulseaudio.h>

namespace quorl {

// Owners of the library's objects, for the sources of this folder.

struct PulseCloser {
  void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
  // No callback runs after this: those of the context and the stream are removed first, and a disconnection
  // cancels pending operations.
  void operator()(pa_context* context) const {
    pa_context_set_state_callback(context, nullptr, nullptr);
    pa_context_set_subscribe_callback(context, nullptr, nullptr);
    pa_context_disconnect(context);
    pa_context_unref(context);
  }
  void operator()(pa_stream* stream) const {
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
  }
};

using PulseMainloopHandle = std::unique_ptr<pa_mainloop, PulseCloser>;
using PulseContextHandle = std::unique_ptr<pa_context, PulseCloser>;
using PulseStreamHandle = std::unique_ptr<pa_stream, PulseCloser>;

}  // namespace quorl
