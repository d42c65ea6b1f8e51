#include "agent/control/RingDump.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Fendrel/RingReader.h"
#include "Fendrel/TraceHandle.h"
#include "agent/control/Words.h"

namespace OrviaL3Agent::Control {
namespace {

class RingDump final : public Job {
 public:
  RingDump(std::vector<std::byte> image, std::function<void()> wake)
      : image_(std::move(image)), wake_(std::move(wake)), thread_([this] { read(); }) {}
  ~RingDump() override {
    {
      std::scoped_lock const lock(mutex_);
      isGivenUp_ = true;
    }
    isTaken_.notify_all();
    thread_.join();
  }
  RingDump(RingDump const&) = delete;
  RingDump& operator=(RingDump const&) = delete;

  bool runSlice(Answer& answer) override {
    SliceTime const time;
    while (!time.isOver()) {
      std::optional<std::string> const line = take();
      if (!line) return isThrough(answer);
      answer.line(*line);
    }
    return false;
  }

  [[nodiscard]] bool busy() const override {
    std::scoped_lock const lock(mutex_);
    return !lines_.empty() || summary_;
  }

 private:
  // Lines that wait for the loop; the thread waits for it with more than these.
  static constexpr std::size_t kMostLines = 4096;
  struct GivenUp {};

  // The thread's.
  void read() {
    Fendrel::RingSummary summary;
    try {
      summary =
          Fendrel::RingReader::readImage(image_, [this](std::string_view line) { add(line); });
    } catch (GivenUp const&) {
      return;
    } catch (std::exception const& error) {
      summary.error = error.what();
    }
    {
      std::scoped_lock const lock(mutex_);
      summary_ = std::move(summary);
    }
    wakeLoop();
  }
  void add(std::string_view line) {
    bool isFirst = false;
    {
      std::unique_lock lock(mutex_);
      isTaken_.wait(lock, [this] { return isGivenUp_ || lines_.size() < kMostLines; });
      if (isGivenUp_) throw GivenUp();
      isFirst = lines_.empty();
      lines_.emplace_back(line);
    }
    // With lines before this one the job is busy already.
    if (isFirst) wakeLoop();
  }
  void wakeLoop() const {
    if (wake_) wake_();
  }

  std::optional<std::string> take() {
    std::optional<std::string> line;
    {
      std::scoped_lock const lock(mutex_);
      if (lines_.empty()) return line;
      line = std::move(lines_.front());
      lines_.pop_front();
    }
    isTaken_.notify_one();
    return line;
  }
  // There is no line now.
  bool isThrough(Answer& answer) {
    std::scoped_lock const lock(mutex_);
    if (!summary_ || !lines_.empty()) return false;
    if (summary_->dropped > 0) {
      answer.line(fmt::format("({} records were dropped while it was written)", summary_->dropped));
    }
    if (!summary_->error.empty()) throw std::runtime_error(summary_->error);
    return true;
  }

  std::vector<std::byte> const image_;
  std::function<void()> const wake_;
  mutable std::mutex mutex_;
  std::condition_variable isTaken_;
  std::deque<std::string> lines_;
  std::optional<Fendrel::RingSummary> summary_;
  bool isGivenUp_ = false;
  std::thread thread_;  // the last: it uses all of the above
};

}  // namespace

std::unique_ptr<Job> ringDump(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 0, 0, "ring dump");
  Fendrel::TraceFile const* const ring = Fendrel::defaultFendrelFile();
  if (ring == nullptr) throw RequestError("there is no ring: the agent runs without --ring");
  return std::make_unique<RingDump>(ring->image(), context.wake);
}

}  // namespace OrviaL3Agent::Control
