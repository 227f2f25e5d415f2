// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sound/PulseVolume.h>

#include <optional>

#include <QuorlHostLinux/Sound/PulseHandles.h>

namespace quorl {

namespace {

constexpr const char* defaultOutput = "@DEFAULT_SINK@";

/// One change, from the connection to the server's answer.
class VolumeChange {
 public:
  using Clock = std::chrono::steady_clock;

  VolumeChange(int percent, std::chrono::milliseconds limit)
      : percent_(percent),
        deadline_(Clock::now() + limit),
        context_(loop_ ? pa_context_new(pa_mainloop_get_api(loop_.get()), "Quorl Host") : nullptr) {}

  SystemResult run() {
    if (!context_) return failure("no memory");
    if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return failure();
    const auto isDecided = [this] {
      const auto state = pa_context_get_state(context_.get());
      return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
    };
    if (!wait(isDecided)) return failure("the sound server does not answer");
    if (pa_context_get_state(context_.get()) != PA_CONTEXT_READY) return failure();
    return change();
  }

 private:
  SystemResult change() {
    if (!finish(pa_context_get_sink_info_by_name(context_.get(), defaultOutput, onOutput, this)) || !volume_)
      return failure("there is no output");
    const auto wanted = static_cast<pa_volume_t>(PA_VOLUME_NORM * static_cast<unsigned>(percent_) / 100);
    pa_cvolume_scale(&*volume_, wanted);
    if (!finish(pa_context_set_sink_volume_by_name(context_.get(), defaultOutput, &*volume_, onDone, this)) ||
        !isDone_)
      return failure();
    if (percent_ == 0) return {};
    isDone_ = false;
    if (!finish(pa_context_set_sink_mute_by_name(context_.get(), defaultOutput, 0, onDone, this)) || !isDone_)
      return failure();
    return {};
  }

  SystemResult failure(const char* reason = nullptr) {
    if (reason == nullptr) reason = pa_strerror(pa_context_errno(context_.get()));
    return std::unexpected(SystemFailure{"sound server", reason});
  }

  bool finish(pa_operation* operation) {
    if (operation == nullptr) return false;
    const bool isOver =
        wait([operation] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; });
    if (!isOver) pa_operation_cancel(operation);
    pa_operation_unref(operation);
    return isOver;
  }

  template <class Condition>
  bool wait(Condition condition) {
    while (!condition()) {
      const auto left = std::chrono::ceil<std::chrono::microseconds>(deadline_ - Clock::now());
      if (left.count() <= 0) return false;
      if (pa_mainloop_prepare(loop_.get(), static_cast<int>(left.count())) < 0) return false;
      if (pa_mainloop_poll(loop_.get()) < 0 || pa_mainloop_dispatch(loop_.get()) < 0) return false;
    }
    return true;
  }

  static void onOutput(pa_context*, const pa_sink_info* info, int, void* self) {
    if (info != nullptr) static_cast<VolumeChange*>(self)->volume_ = info->volume;
  }
  static void onDone(pa_context*, int success, void* self) {
    static_cast<VolumeChange*>(self)->isDone_ = success != 0;
  }

  const int percent_;
  const Clock::time_point deadline_;
  std::optional<pa_cvolume> volume_;
  bool isDone_ = false;
  PulseMainloopHandle loop_{pa_mainloop_new()};
  PulseContextHandle context_;
};

}  // namespace

SystemResult PulseVolume::setVolume(int percent) {
  return VolumeChange(percent, limit_).run();
}

}  // namespace quorl
