// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Runtime/StreamSessionAdapter.h>

#include <utility>

#include <QuorlHostCore/Display/StreamSession.h>

namespace quorl {

namespace {

// A picture stream as a connection sees it.
// *Queue*: any; forwards. *Ownership*: holds the session. *Lifetime*: the connection's stream table.
class StreamSessionAdapter final : public ClientStream {
 public:
  explicit StreamSessionAdapter(std::shared_ptr<StreamSession> session) : session_(std::move(session)) {}

  void start() override { session_->start(); }
  void stop() override {
    session_->stop();
    // The session lives until its queue has done what was asked, above all given a window its place back.
    session_->queue().async([session = session_] {});
  }
  void update(const StreamConfig& config) override { session_->update(config); }
  void requestKeyframe() override { session_->requestKeyframe(); }
  void updateAspect(double pointsWide, double pointsHigh) override {
    session_->updateAspect(pointsWide, pointsHigh);
  }
  void setAutoFit(bool enabled) override { session_->setAutoFit(enabled); }
  void setWindowScale(double scale) override { session_->setWindowScale(scale); }
  void raiseForInput() override { session_->raiseForInput(); }
  PointRect currentContentRect() override { return session_->currentContentRect(); }

 private:
  const std::shared_ptr<StreamSession> session_;
};

}  // namespace

ClientStreamFactory streamSessionFactory(const Platform& platform) {
  return [platform](const StartStream& request, std::weak_ptr<StreamOutputSink> sink) {
    return std::make_shared<StreamSessionAdapter>(
        std::make_shared<StreamSession>(request, std::move(sink), platform));
  };
}

}  // namespace quorl
